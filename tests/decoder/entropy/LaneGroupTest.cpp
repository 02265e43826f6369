#include "LaneGroup.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EmulatedLaneScan.h"
#include "GuardedBytes.h"
#include "RandomComponents.h"
#include "RaveloDecoderInterface.h"

namespace {

// What the lanes were given, and how many components went elsewhere.
std::vector<ComponentScan> s_inLanes;
unsigned int s_numOthers = 0;

void recordedLanes(LaneScanJob const& job) {
    for (unsigned int i = 0; i < job.count; ++i)
        s_inLanes.push_back(*job.scans[i]);
    emulatedScanInLanesScattering(job);
}

void countedOther(ComponentScan& scan) {
    ++s_numOthers;
    scan.succeeded = scanComponentPlainly<OptimizationTarget::AVX2>(scan);
}

constexpr OtherScans kOthers = {countedOther, scanComponentPlainly<OptimizationTarget::AVX2>,
                                scanPairsPlainly<OptimizationTarget::AVX2>};

class LaneGroupTest : public testing::Test {
protected:
    void SetUp() override {
        if (RaveloDecoderInterface::GetMaxOptType() == 0)
            GTEST_SKIP() << "This processor cannot run the AVX2 target.";
        s_inLanes.clear();
        s_numOthers = 0;
    }

    // A scan of bytes that end at unmapped memory, without a byte after its range.
    ComponentScan& add(std::vector<std::uint8_t> const& bytes) {
        m_held.push_back(std::make_unique<GuardedBytes>(bytes));
        ComponentScan scan;
        scan.range = m_held.back()->bits();
        scan.coefficients = m_values.data() + m_scans.size() * kElements;
        scan.numBlocks = kNumBlocks;
        scan.log2NumBlocks = std::countr_zero(kNumBlocks);
        m_scans.push_back(scan);
        return m_scans.back();
    }

    bool scanGroup() {
        return scanGroupInLanes(recordedLanes, kOthers, m_scans.data(), static_cast<unsigned int>(m_scans.size()));
    }

    void expectPlainResults() {
        for (ComponentScan const& scan : m_scans) {
            ComponentScan plain = scan;
            std::vector<std::int16_t> values(64 * kNumBlocks);
            plain.coefficients = values.data();
            const bool succeeded = scanComponentPlainly<OptimizationTarget::AVX2>(plain);
            EXPECT_EQ(scan.succeeded, succeeded);
            EXPECT_TRUE(!succeeded || std::equal(values.begin(), values.end(), scan.coefficients));
        }
    }

    static constexpr std::uint32_t kNumBlocks = 4;
    static constexpr std::size_t kElements = 64 * kNumBlocks + kScanPadding;

    Random m_random = seeded(2320);
    std::vector<std::unique_ptr<GuardedBytes>> m_held;
    std::vector<std::int16_t> m_values = std::vector<std::int16_t>(kMaxLaneScans * kElements);
    std::vector<ComponentScan> m_scans;
};

std::vector<std::uint8_t> shortComponent(Random& random, std::uint32_t numBlocks) {
    std::vector<std::uint8_t> bytes = validComponent(random, numBlocks).bytes();
    bytes.resize(std::min<std::size_t>(bytes.size(), 900));
    return bytes;
}

} // namespace

TEST_F(LaneGroupTest, TooFewComponentsAreNotTouched) {
    for (unsigned int i = 0; i + 1 < kFewestLaneScans; ++i)
        add(shortComponent(m_random, kNumBlocks));
    EXPECT_FALSE(scanGroup());
    EXPECT_TRUE(s_inLanes.empty());
    EXPECT_EQ(s_numOthers, 0u);
}

TEST_F(LaneGroupTest, TheLongestRangesComeFirst) {
    for (unsigned int i = 0; i < kMaxLaneScans; ++i) {
        std::vector<std::uint8_t> bytes = shortComponent(m_random, kNumBlocks);
        bytes.resize(1 + randomBelow(m_random, 2000));
        bytes.insert(bytes.end(), kLaneOverread, 0xFF);
        ComponentScan& scan = add(bytes);
        scan.range.size -= kLaneOverread;
        scan.bytesAfterRange = kLaneOverread;
    }
    ASSERT_TRUE(scanGroup());
    ASSERT_EQ(s_inLanes.size(), kMaxLaneScans);
    for (std::size_t i = 1; i < s_inLanes.size(); ++i)
        EXPECT_LT(s_inLanes[i].range.size, s_inLanes[i - 1].range.size + 2048 / 32);
    EXPECT_EQ(s_numOthers, 0u);
    expectPlainResults();
}

TEST_F(LaneGroupTest, RangesThatEndWithTheDataAreCopiedOrReadElsewhere) {
    for (unsigned int i = 0; i < 40; ++i) {
        const unsigned int numAfter = i < 20 ? 8 + i : i % 8;
        std::vector<std::uint8_t> bytes = shortComponent(m_random, kNumBlocks);
        bytes.insert(bytes.end(), numAfter, 0xFF);
        ComponentScan& scan = add(bytes);
        scan.range.size -= numAfter;
        scan.bytesAfterRange = numAfter;
    }
    ASSERT_TRUE(scanGroup());
    EXPECT_LT(s_inLanes.size(), 40u);
    EXPECT_EQ(s_inLanes.size() + s_numOthers, 40u);
    unsigned int numCopied = 0;
    for (ComponentScan const& scan : s_inLanes) {
        const bool isOriginal = std::any_of(m_scans.begin(), m_scans.end(), [&](ComponentScan const& original) {
            return original.range.data == scan.range.data;
        });
        numCopied += isOriginal ? 0 : 1;
        EXPECT_TRUE(!isOriginal || scan.bytesAfterRange >= kLaneOverread);
    }
    EXPECT_GT(numCopied, 0u);
    expectPlainResults();
}

TEST_F(LaneGroupTest, EmptyRangesAtTheEndOfTheDataFail) {
    for (unsigned int i = 0; i < 20; ++i) {
        std::vector<std::uint8_t> bytes = i < 17 ? shortComponent(m_random, kNumBlocks) : std::vector<std::uint8_t>();
        bytes.insert(bytes.end(), i < 17 ? kLaneOverread : 0, 0xFF);
        ComponentScan& scan = add(bytes);
        scan.bytesAfterRange = i < 17 ? kLaneOverread : 0;
        scan.range.size -= scan.bytesAfterRange;
    }
    ASSERT_TRUE(scanGroup());
    EXPECT_FALSE(m_scans.back().succeeded);
    expectPlainResults();
}

TEST_F(LaneGroupTest, RangesAndMemoryOutOfReachAreReadElsewhere) {
    for (unsigned int i = 0; i < 14; ++i) {
        std::vector<std::uint8_t> bytes = shortComponent(m_random, kNumBlocks);
        bytes.insert(bytes.end(), kLaneOverread, 0xFF);
        ComponentScan& scan = add(bytes);
        scan.bytesAfterRange = kLaneOverread;
        scan.range.size -= kLaneOverread;
    }
    // A range of zeros that is mapped and never touched to its end.
    const std::size_t numBytes = kMaxLaneRangeBytes + 1;
    const std::unique_ptr<std::uint8_t[], decltype(&std::free)> zeros(
        static_cast<std::uint8_t*>(std::calloc(numBytes + kLaneOverread, 1)), &std::free);
    ASSERT_NE(zeros, nullptr);
    m_scans[3].range = {zeros.get(), numBytes};
    ASSERT_TRUE(scanGroup());
    EXPECT_EQ(s_numOthers, 1u);
    EXPECT_EQ(s_inLanes.size(), 13u);
    expectPlainResults();
}
