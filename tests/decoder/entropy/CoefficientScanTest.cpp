#include "CoefficientScan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"
#include "RandomComponents.h"
#include "SlowScan.h"
#include "SymbolWriter.h"

namespace {

constexpr std::uint32_t kLastPosition = 64; // times the number of blocks

// One component's scan with memory of its own: coefficients without a byte to spare, so that the sanitizers see a
// store beyond the padding.
class Component {
public:
    Component(Bitstream const& range, std::uint32_t numBlocks, std::uint32_t kept, bool dcOnly)
        : m_values(std::make_unique<std::int16_t[]>(numBlocks * kept + kScanPadding)) {
        std::fill_n(m_values.get(), numBlocks * kept + kScanPadding, std::int16_t{0x5A5A});
        m_scan.range = range;
        m_scan.coefficients = m_values.get();
        m_scan.numBlocks = numBlocks;
        m_scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
        m_scan.keptCoefficients = kept;
        m_scan.dcOnly = dcOnly;
    }

    ComponentScan& scan() { return m_scan; }
    std::uint32_t numValues() const { return m_scan.numBlocks * m_scan.keptCoefficients; }
    std::vector<std::int16_t> values() const { return {m_values.get(), m_values.get() + numValues()}; }
    std::int16_t at(std::uint32_t block, std::uint32_t scanIndex) const {
        return m_values[scanIndex * m_scan.numBlocks + block];
    }

private:
    std::unique_ptr<std::int16_t[]> m_values;
    ComponentScan m_scan;
};

// A read that wraps the bit count in the last bytes of the range leaves the DCs after it open. A scan that goes on to
// the other coefficients fails then; one that stops after the DCs may succeed with any values.
template <OptimizationTarget target>
bool isOpen(std::vector<std::uint8_t> const& bytes, ComponentScan const& scan) {
    return scan.dcOnly && slowScanCoefficients(bytes, scan.numBlocks, 1, target).wrapped;
}

template <class On>
class CoefficientScanTest : public TargetTest<On> {
protected:
    // Runs both the scan and its definition over a range, expects them to agree, and returns the result.
    struct Result {
        bool succeeded;
        std::vector<std::int16_t> values;
    };

    Result scanned(std::vector<std::uint8_t> const& bytes, std::uint32_t numBlocks, std::uint32_t kept = 64) {
        const Bitstream range = m_held.hold(bytes);
        Component plain(range, numBlocks, kept, kept == 1);
        const bool expected = scanComponentPlainly<On::target>(plain.scan());
        const Result result{expected, plain.values()};
        // Slices have two blocks of a component at least, and the scan of several components knows no fewer.
        if (numBlocks == 1 || isOpen<On::target>(bytes, plain.scan()))
            return result;
        Component fast(range, numBlocks, kept, kept == 1);
        scanComponents<On::target>(&fast.scan(), 1);
        EXPECT_EQ(fast.scan().succeeded, expected);
        EXPECT_TRUE(!expected || fast.values() == result.values);
        return result;
    }

    // In block order, through the form that Slice::scanned_coefficients uses.
    Result scannedIntoBlocks(std::vector<std::uint8_t> const& bytes, std::uint32_t numBlocks, std::uint32_t kept = 64) {
        Component component(m_held.hold(bytes), numBlocks, kept, kept == 1);
        const bool succeeded = scanComponentIntoBlocks<On::target>(component.scan());
        return {succeeded, component.values()};
    }

    GuardedBytes m_held;
};

TYPED_TEST_SUITE(CoefficientScanTest, BothTargets, TargetNames);

// DCs of zero for all blocks: the start of most components below.
SymbolWriter withDcs(std::uint32_t numBlocks) {
    SymbolWriter writer;
    writer.firstDc(0);
    for (std::uint32_t block = 1; block < numBlocks; ++block)
        writer.dcDifference(0);
    return writer;
}

std::vector<std::int16_t> inFrequencyOrder(std::vector<std::int16_t> const& blocks, std::uint32_t numBlocks) {
    const std::size_t kept = blocks.size() / numBlocks;
    std::vector<std::int16_t> values(blocks.size());
    for (std::size_t i = 0; i < blocks.size(); ++i)
        values[i % kept * numBlocks + i / kept] = blocks[i];
    return values;
}

std::size_t numNonZero(std::vector<std::int16_t> const& values) {
    return values.size() - static_cast<std::size_t>(std::count(values.begin(), values.end(), std::int16_t{0}));
}

} // namespace

// --- rules of the scan -----------------------------------------------------------------------------------------------

TYPED_TEST(CoefficientScanTest, RunsCountPositionsAcrossBlocks) {
    SymbolWriter writer = withDcs(4);
    writer.triple(0, 11);
    writer.triple(2, -12);
    writer.triple(1, 13);
    writer.triple(5, -14);
    const auto blocks = this->scannedIntoBlocks(writer.bytes(), 4);
    ASSERT_TRUE(blocks.succeeded);
    EXPECT_EQ(blocks.values[1], 11);
    EXPECT_EQ(blocks.values[193], -12);
    EXPECT_EQ(blocks.values[66], 13);
    EXPECT_EQ(blocks.values[195], -14);
    EXPECT_EQ(numNonZero(blocks.values), 4u);
    const auto frequencies = this->scanned(writer.bytes(), 4);
    ASSERT_TRUE(frequencies.succeeded);
    for (const std::uint32_t position : {4u, 7u, 9u, 15u})
        EXPECT_NE(frequencies.values[position], 0) << position;
    EXPECT_EQ(numNonZero(frequencies.values), 4u);
}

TYPED_TEST(CoefficientScanTest, ReducedScansKeepTheFirstScanIndicesAndDropTheOthers) {
    SymbolWriter writer = withDcs(4);
    writer.triple(0, 11);
    writer.triple(2, -12);
    writer.triple(1, 13);
    writer.triple(5, -14);
    writer.triple(0, 500);  // position 16, scan index 4
    writer.triple(47, 600); // position 64, scan index 16
    const auto quarter = this->scannedIntoBlocks(writer.bytes(), 4, 4);
    ASSERT_TRUE(quarter.succeeded);
    EXPECT_EQ(quarter.values, (std::vector<std::int16_t>{0, 11, 0, 0, 0, 0, 13, 0, 0, 0, 0, 0, 0, -12, 0, -14}));
    const auto half = this->scannedIntoBlocks(writer.bytes(), 4, 16);
    ASSERT_TRUE(half.succeeded);
    EXPECT_EQ(half.values[4], 500);
    EXPECT_EQ(numNonZero(half.values), 5u);
    EXPECT_TRUE(this->scanned(writer.bytes(), 4, 4).succeeded);
    EXPECT_TRUE(this->scanned(writer.bytes(), 4, 16).succeeded);
}

TYPED_TEST(CoefficientScanTest, DroppedLevelsStillSelectTheNextCodebook) {
    SymbolWriter writer = withDcs(2);
    writer.triple(20, 900); // scan index 11, dropped at quarter size
    writer.triple(3, 7);
    writer.triple(0, -1);
    EXPECT_TRUE(this->scanned(writer.bytes(), 2, 4).succeeded);
    EXPECT_TRUE(this->scanned(writer.bytes(), 2, 16).succeeded);
}

TYPED_TEST(CoefficientScanTest, AComponentOfDcsAloneSucceedsWithAnyTailOfAtMost64ZeroBits) {
    for (std::uint32_t numBlocks = 1; numBlocks <= 32; numBlocks *= 2) {
        SymbolWriter writer;
        writer.firstDc(300);
        for (std::uint32_t block = 1; block < numBlocks; ++block)
            writer.dcDifference(block % 3 == 0 ? -200 : 150);
        const std::uint64_t symbolBits = writer.numBits();
        std::vector<std::uint8_t> bytes = writer.bytes();
        for (; 8 * bytes.size() - symbolBits <= 80; bytes.push_back(0)) {
            const auto result = this->scannedIntoBlocks(bytes, numBlocks);
            ASSERT_EQ(result.succeeded, 8 * bytes.size() - symbolBits <= 64) << numBlocks;
            std::int32_t sum = 300;
            for (std::uint32_t block = 0; block < numBlocks; ++block) {
                if (block > 0)
                    sum += block % 3 == 0 ? -200 : 150;
                ASSERT_EQ(result.values[64 * block], sum);
                for (int i = 1; i < 64; ++i)
                    ASSERT_EQ(result.values[64 * block + static_cast<std::size_t>(i)], 0);
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, AnEighthSizeScanSucceedsWhateverFollowsTheDcs) {
    SymbolWriter writer;
    writer.firstDc(-77);
    for (int block = 1; block < 8; ++block)
        writer.dcDifference(block);
    const std::uint64_t dcBits = writer.numBits();
    writer.zeros(200); // no code at all
    writer.bits(~std::uint64_t{0}, 64);
    const auto result = this->scanned(writer.bytes(), 8, 1);
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.values, (std::vector<std::int16_t>{-77, -76, -74, -71, -67, -62, -56, -49}));
    EXPECT_FALSE(this->scanned(writer.bytes(), 8, 64).succeeded);
    // The same DCs right up to the end of the range.
    std::vector<std::uint8_t> bytes(writer.bytes().begin(),
                                    writer.bytes().begin() + static_cast<std::ptrdiff_t>((dcBits + 7) / 8));
    EXPECT_EQ(this->scanned(bytes, 8, 1).values, result.values);
}

TYPED_TEST(CoefficientScanTest, MoreThan64ZeroBitsAfterTheLastSymbolFailAtEveryBitOffset) {
    // The padding symbols move the end of the data through all places in a word.
    for (std::uint32_t filler = 0; filler < 70; ++filler) {
        for (std::uint32_t tail = 0; tail <= 70; ++tail) {
            SymbolWriter writer = withDcs(2);
            for (std::uint32_t i = 0; i < filler; ++i)
                writer.triple(0, 1);
            const std::uint64_t symbolBits = writer.numBits();
            writer.zeros(tail);
            const std::uint64_t zeroBits = 8 * writer.bytes().size() - symbolBits;
            ASSERT_EQ(this->scanned(writer.bytes(), 2).succeeded, zeroBits <= 64)
                << filler << " symbols, " << zeroBits << " zero bits";
        }
    }
}

// The reader of the last bytes counts the bits that its word holds; a wrong count overlooks a bit that is still to
// come.
TYPED_TEST(CoefficientScanTest, ASingleOneBitInATailOfZerosEqualsTheModel) {
    constexpr std::uint32_t kLongestTail = 140;
    for (std::uint32_t filler = 0; filler <= 45; ++filler) {
        SymbolWriter writer = withDcs(2);
        for (std::uint32_t i = 0; i < filler; ++i)
            writer.triple(0, 1);
        const std::uint64_t symbolBits = writer.numBits();
        // Tails that end in the same byte are one tail.
        for (std::uint64_t numBytes = (symbolBits + 7) / 8; 8 * numBytes < symbolBits + kLongestTail + 8; ++numBytes) {
            std::vector<std::uint8_t> bytes = writer.bytes();
            bytes.resize(numBytes);
            for (std::uint64_t place = symbolBits; place < 8 * numBytes; ++place) {
                const auto one = static_cast<std::uint8_t>(0x80u >> place % 8);
                bytes[place / 8] |= one;
                const SlowScanResult model = slowScanCoefficients(bytes, 2, 64, TypeParam::target);
                const auto result = this->scanned(bytes, 2);
                ASSERT_EQ(result.succeeded, model.ok) << filler << " symbols, bit " << place << " of " << 8 * numBytes;
                ASSERT_TRUE(!model.ok || result.values == inFrequencyOrder(model.coefficients, 2));
                bytes[place / 8] ^= one;
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, ARunMayLandOnTheLastPositionAndNotAfterIt) {
    for (std::uint32_t numBlocks = 1; numBlocks <= 32; numBlocks *= 2) {
        const std::uint32_t numAc = numBlocks * kLastPosition - numBlocks;
        for (const std::uint32_t kept : {64u, 16u, 4u}) {
            SymbolWriter last = withDcs(numBlocks);
            last.triple(numAc - 1, 5);
            const auto result = this->scanned(last.bytes(), numBlocks, kept);
            EXPECT_TRUE(result.succeeded) << numBlocks;
            EXPECT_EQ(result.values.back(), kept == 64 ? 5 : 0);
            for (const std::uint32_t beyond : {0u, 1u, 2u, 3u, 7u, 8u, 63u, 64u, 255u, 1000u, 65535u, 1u << 20}) {
                SymbolWriter writer = withDcs(numBlocks);
                writer.triple(numAc + beyond, 5);
                EXPECT_FALSE(this->scanned(writer.bytes(), numBlocks, kept).succeeded) << numBlocks << " " << beyond;
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, AnySymbolAfterTheLastPositionFails) {
    for (std::uint32_t numBlocks = 1; numBlocks <= 32; numBlocks *= 2) {
        for (const std::uint32_t run : {0u, 1u, 5u, 100u}) {
            SymbolWriter writer = withDcs(numBlocks);
            writer.triple(numBlocks * 63 - 1, 3);
            writer.triple(run, 1);
            EXPECT_FALSE(this->scanned(writer.bytes(), numBlocks).succeeded) << numBlocks << " " << run;
        }
    }
}

TYPED_TEST(CoefficientScanTest, ASequenceOfRunsPastTheEndFailsAtEachDistance) {
    for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2) {
        for (std::uint32_t symbols = 1; symbols < 20; ++symbols) {
            for (std::int64_t beyond = -3; beyond < 20; ++beyond) {
                const std::int64_t left = std::int64_t{63} * numBlocks - symbols;
                if (left - 1 + beyond < 0)
                    continue;
                SymbolWriter writer = withDcs(numBlocks);
                for (std::uint32_t i = 0; i < symbols; ++i)
                    writer.triple(0, -2);
                writer.triple(static_cast<std::uint32_t>(left - 1 + beyond), 1);
                ASSERT_EQ(this->scanned(writer.bytes(), numBlocks).succeeded, beyond <= 0)
                    << numBlocks << " " << beyond;
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, ALevelOf32767IsStoredAndOneOf32768Wraps) {
    for (const std::uint32_t sign : {0u, 1u}) {
        for (const std::uint32_t absLevelMinus1 : {32766u, 32767u, 32768u, 65534u, 65535u, 1u << 20}) {
            SymbolWriter writer = withDcs(2);
            writer.run(0);
            writer.level(absLevelMinus1);
            writer.sign(sign);
            const std::uint32_t magnitude = absLevelMinus1 + 1;
            const auto result = this->scanned(writer.bytes(), 2);
            ASSERT_TRUE(result.succeeded);
            EXPECT_EQ(result.values[2], static_cast<std::int16_t>(sign != 0 ? 0u - magnitude : magnitude));
        }
    }
    SymbolWriter writer = withDcs(2);
    writer.triple(0, 32767);
    writer.run(0);
    writer.level(32767);
    writer.sign(0);
    const auto result = this->scanned(writer.bytes(), 2);
    EXPECT_EQ(result.values[2], 32767);
    EXPECT_EQ(result.values[3], -32768);
}

TYPED_TEST(CoefficientScanTest, EveryLevelTo32767ReadsBackWithBothSigns) {
    // Sixty-three levels of a block at a time, in an order that uses every codebook before every size.
    Random random = seeded(2301);
    std::vector<std::int16_t> levels;
    for (int level = 1; level <= 32767; level += level < 600 ? 1 : 37)
        levels.insert(levels.end(), {static_cast<std::int16_t>(level), static_cast<std::int16_t>(-level)});
    std::shuffle(levels.begin(), levels.end(), random);
    for (std::size_t first = 0; first < levels.size(); first += 126) {
        SymbolWriter writer = withDcs(2);
        for (std::size_t i = first; i < std::min(first + 126, levels.size()); ++i)
            writer.triple(0, levels[i]);
        const auto result = this->scanned(writer.bytes(), 2);
        ASSERT_TRUE(result.succeeded);
        for (std::size_t i = first; i < std::min(first + 126, levels.size()); ++i)
            ASSERT_EQ(result.values[2 + i - first], levels[i]);
    }
}

TYPED_TEST(CoefficientScanTest, EveryRunToTheLastPositionReadsBackAfterEveryRunBook) {
    for (std::uint32_t before = 0; before < 17; ++before) {
        for (std::uint32_t run = 0; run + before + 2 < 63 * 32; run += run < 130 ? 1 : 61) {
            SymbolWriter writer = withDcs(32);
            writer.triple(before, 1);
            writer.triple(run, -9);
            const auto result = this->scanned(writer.bytes(), 32);
            ASSERT_TRUE(result.succeeded) << before << " " << run;
            ASSERT_EQ(result.values[32 + before], 1);
            ASSERT_EQ(result.values[32 + before + 1 + run], -9);
        }
    }
}

TYPED_TEST(CoefficientScanTest, TheSumOfDcsWrapsInTheStoredValueOnly) {
    SymbolWriter writer;
    writer.firstDc(32760);
    writer.dcDifference(10);    // 32770 is stored as -32766
    writer.dcDifference(-20);   // 32750 again
    writer.dcDifference(65536); // the low half is the same
    const auto result = this->scanned(writer.bytes(), 4);
    ASSERT_TRUE(result.succeeded);
    EXPECT_EQ(result.values[0], 32760);
    EXPECT_EQ(result.values[1], -32766);
    EXPECT_EQ(result.values[2], 32750);
    EXPECT_EQ(result.values[3], 32750);
}

TYPED_TEST(CoefficientScanTest, OneBlockIsAValidComponent) {
    SymbolWriter writer;
    writer.firstDc(5);
    writer.triple(0, 3);
    writer.triple(10, -4);
    writer.triple(50, 9);
    Component component(this->m_held.hold(writer.bytes()), 1, 64, false);
    ASSERT_TRUE(scanComponentPlainly<TypeParam::target>(component.scan()));
    EXPECT_EQ(component.at(0, 0), 5);
    EXPECT_EQ(component.at(0, 1), 3);
    EXPECT_EQ(component.at(0, 12), -4);
    EXPECT_EQ(component.at(0, 63), 9);
}

TYPED_TEST(CoefficientScanTest, AnEmptyRangeFailsWhateverBytesFollowIt) {
    const std::vector<std::uint8_t> following(64, 0xFF);
    for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2) {
        for (const std::uint32_t kept : {64u, 16u, 4u, 1u}) {
            Component component(Bitstream{following.data(), 0}, numBlocks, kept, kept == 1);
            scanComponents<TypeParam::target>(&component.scan(), 1);
            EXPECT_FALSE(component.scan().succeeded);
            EXPECT_FALSE(this->scanned({}, numBlocks, kept).succeeded);
        }
    }
}

TYPED_TEST(CoefficientScanTest, AFailedDcCodeFailsTheScanAndTheOtherDcsAreReadOn) {
    // The failing code takes 31 zeros on Baseline and nothing on AVX2.
    SymbolWriter writer;
    writer.firstDc(9);
    writer.zeros(31);
    writer.bits(0xFFFFFFFF, 32);
    writer.bits(0xFFFFFFFF, 32);
    EXPECT_FALSE(this->scanned(writer.bytes(), 8).succeeded);
    EXPECT_FALSE(this->scanned(writer.bytes(), 8, 1).succeeded);
}

TYPED_TEST(CoefficientScanTest, AFailedRunAndAFailedLevelFailTheScan) {
    for (const bool inRun : {true, false}) {
        for (const std::uint32_t zeros : {31u, 32u, 40u, 64u}) {
            for (const std::uint32_t tail : {0u, 30u, 100u}) {
                SymbolWriter writer = withDcs(4);
                writer.triple(1, 4);
                if (!inRun)
                    writer.run(3);
                writer.prefix(zeros);
                writer.bits(~std::uint64_t{0}, tail % 64);
                EXPECT_FALSE(this->scanned(writer.bytes(), 4).succeeded) << inRun << zeros;
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, ARangeThatEndsBetweenSymbolsSucceedsWithWhatItHas) {
    SymbolWriter writer = withDcs(2);
    std::vector<std::uint64_t> ends;
    for (int i = 0; i < 60; ++i) {
        writer.triple(1, i + 1);
        ends.push_back(writer.numBits());
    }
    for (std::size_t i = 0; i < ends.size(); ++i) {
        if (ends[i] % 8 != 0)
            continue;
        std::vector<std::uint8_t> bytes(writer.bytes().begin(),
                                        writer.bytes().begin() + static_cast<std::ptrdiff_t>(ends[i] / 8));
        const auto result = this->scanned(bytes, 2);
        EXPECT_TRUE(result.succeeded);
        EXPECT_EQ(numNonZero(result.values), i + 1);
    }
}

TYPED_TEST(CoefficientScanTest, ASuffixThatWrapsTheCountInTheLastPartialWordFailsTheScan) {
    // `lead` bytes of symbols, then a code whose suffix is longer than all that is left of the range.
    for (std::uint32_t filler = 0; filler < 60; ++filler) {
        for (std::uint32_t q = 9; q < 29; ++q) {
            for (const bool inRun : {true, false}) {
                SymbolWriter writer = withDcs(2);
                for (std::uint32_t i = 0; i < filler; ++i)
                    writer.triple(0, 1);
                if (!inRun)
                    writer.run(1);
                writer.prefix(q);
                // The range ends in the middle of the suffix; whether the count wraps depends on where words begin.
                for (const std::size_t keptBytes : {writer.bytes().size(), writer.bytes().size() + 1}) {
                    std::vector<std::uint8_t> bytes = writer.bytes();
                    bytes.resize(keptBytes, 0xFF);
                    const SlowScanResult model = slowScanCoefficients(bytes, 2, 64, TypeParam::target);
                    const bool succeeded = this->scanned(bytes, 2).succeeded;
                    ASSERT_EQ(succeeded, model.ok);
                    ASSERT_TRUE(!model.wrapped || !succeeded);
                }
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, PrefixesOf28To32ZerosDecodeOrFailByTheTargetAtEveryBitOffset) {
    for (std::uint32_t filler = 0; filler < 40; ++filler) {
        for (std::uint32_t zeros = 26; zeros <= 33; ++zeros) {
            for (int place = 0; place < 3; ++place) {
                SymbolWriter writer = withDcs(2);
                for (std::uint32_t i = 0; i < filler; ++i)
                    writer.triple(0, i % 2 == 0 ? 1 : 2);
                if (place == 1)
                    writer.run(0);
                writer.prefix(zeros);
                // Suffixes of a level that wraps to small numbers, or of a run that is much too long.
                writer.bits(3, 40);
                writer.bits(0xFFFF, 16);
                if (place == 2)
                    writer.zeros(64);
                const SlowScanResult model = slowScanCoefficients(writer.bytes(), 2, 64, TypeParam::target);
                ASSERT_EQ(this->scanned(writer.bytes(), 2).succeeded, model.ok) << filler << " " << zeros;
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, FirstDcsOfEveryPrefixDecodeOrFailByTheTarget) {
    for (std::uint32_t zeros = 0; zeros <= 33; ++zeros) {
        SymbolWriter writer;
        writer.prefix(zeros);
        writer.bits(0x155555555555, 45);
        writer.zeros(20);
        for (const std::uint32_t kept : {64u, 1u})
            for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2)
                this->scanned(writer.bytes(), numBlocks, kept);
        const auto dcs = this->scanned(writer.bytes(), 2, 1);
        EXPECT_EQ(dcs.succeeded, slowScanCoefficients(writer.bytes(), 2, 1, TypeParam::target).ok) << zeros;
        EXPECT_TRUE(dcs.succeeded || zeros >= (this->isAvx2 ? 30u : 31u));
    }
}

// --- the scan against its definition and the definition against the slow model ---------------------------------------

namespace {

// Memory for one range: exact on the heap, at a guard page, or followed by other bytes.
class RangeMemory {
public:
    Bitstream place(std::vector<std::uint8_t> const& bytes, Random& random) {
        const std::uint32_t kind = randomBelow(random, 3);
        if (kind == 0)
            return m_guarded.hold(bytes);
        const std::size_t numFollowing = kind == 1 ? 0 : 1 + randomBelow(random, 100);
        m_heap = std::make_unique<std::uint8_t[]>(bytes.size() + numFollowing);
        std::copy(bytes.begin(), bytes.end(), m_heap.get());
        for (std::size_t i = 0; i < numFollowing; ++i)
            m_heap[bytes.size() + i] = static_cast<std::uint8_t>(random() | random());
        return {m_heap.get(), bytes.size()};
    }

private:
    GuardedBytes m_guarded;
    std::unique_ptr<std::uint8_t[]> m_heap;
};

struct Tally {
    std::uint32_t succeeded = 0;
    std::uint32_t failed = 0;
};

// Scans up to twelve components in one call and compares each with the definition.
template <OptimizationTarget target>
void checkMix(Random& random, std::vector<RangeMemory>& memory, Tally& tally, std::uint32_t contents) {
    const std::uint32_t count = 1 + randomBelow(random, 12);
    std::vector<std::vector<std::uint8_t>> ranges;
    std::vector<Component> fast;
    std::vector<Component> plain;
    std::vector<ComponentScan> scans;
    // Most calls keep whole blocks of all components, in others every component has a reduction of its own.
    const bool keepsAll = randomBelow(random, 3) != 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t numBlocks = 2u << randomBelow(random, 5);
        const std::uint32_t kept = keepsAll ? 64u : 64u >> 2 * randomBelow(random, 4);
        const auto content = static_cast<ComponentContent>(randomBelow(random, contents));
        ranges.push_back(randomRange(random, content, numBlocks));
        const Bitstream range = memory[i].place(ranges.back(), random);
        fast.emplace_back(range, numBlocks, kept, kept == 1);
        plain.emplace_back(range, numBlocks, kept, kept == 1);
        scans.push_back(fast.back().scan());
    }
    scanComponents<target>(scans.data(), count);
    for (std::uint32_t i = 0; i < count; ++i) {
        ComponentScan const& scan = plain[i].scan();
        if (isOpen<target>(ranges[i], scan))
            continue;
        const bool expected = scanComponentPlainly<target>(scan);
        ASSERT_EQ(scans[i].succeeded, expected)
            << "component " << i << " of " << count << ", " << scan.numBlocks << " blocks, kept "
            << scan.keptCoefficients << ", " << ranges[i].size() << " bytes";
        ASSERT_TRUE(!expected || fast[i].values() == plain[i].values())
            << "component " << i << ", " << scan.numBlocks << " blocks";
        ++(expected ? tally.succeeded : tally.failed);
    }
}

template <OptimizationTarget target>
void checkMixes(std::uint32_t seed, std::uint32_t rounds, std::uint32_t contents) {
    Random random = seeded(seed);
    std::vector<RangeMemory> memory(12);
    Tally tally;
    for (std::uint32_t round = 0; round < rounds && !testing::Test::HasFatalFailure(); ++round)
        checkMix<target>(random, memory, tally, contents);
    EXPECT_GT(tally.succeeded, rounds);
    EXPECT_TRUE(contents == 1 || tally.failed > rounds);
}

} // namespace

TYPED_TEST(CoefficientScanTest, AnyMixOfValidComponentsEqualsTheDefinition) {
    checkMixes<TypeParam::target>(2302, numRounds(1200), 1);
}

TYPED_TEST(CoefficientScanTest, AnyMixOfValidAndDamagedComponentsEqualsTheDefinition) {
    checkMixes<TypeParam::target>(2303, numRounds(4000), kNumComponentContents);
}

TYPED_TEST(CoefficientScanTest, EveryTruncationOfAComponentEqualsTheDefinition) {
    Random random = seeded(2304);
    for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2) {
        for (int round = 0; round < 3; ++round) {
            std::vector<std::uint8_t> bytes = validComponent(random, numBlocks).bytes();
            bytes.resize(std::min<std::size_t>(bytes.size(), 700));
            for (; !bytes.empty(); bytes.pop_back()) {
                for (const std::uint32_t kept : {64u, 4u, 1u})
                    this->scanned(bytes, numBlocks, kept);
                ASSERT_FALSE(testing::Test::HasFailure()) << numBlocks << " blocks, " << bytes.size() << " bytes";
            }
        }
    }
}

TYPED_TEST(CoefficientScanTest, AFailingComponentLeavesItsNeighboursAlone) {
    SymbolWriter good = withDcs(8);
    good.triple(3, 21);
    good.triple(100, -22);
    const std::vector<std::uint8_t> bad(40, 0);
    GuardedBytes heldGood(good.bytes());
    GuardedBytes heldBad(bad);
    for (std::uint32_t failing = 0; failing < 4096; failing = failing * 2 + 1) {
        std::vector<Component> components;
        std::vector<ComponentScan> scans;
        for (std::uint32_t i = 0; i < 12; ++i) {
            const bool fails = (failing >> i & 1) != 0;
            components.emplace_back((fails ? heldBad : heldGood).bits(), 8, 64, false);
            scans.push_back(components.back().scan());
        }
        scanComponents<TypeParam::target>(scans.data(), 12);
        for (std::uint32_t i = 0; i < 12; ++i) {
            const bool fails = (failing >> i & 1) != 0;
            ASSERT_EQ(scans[i].succeeded, !fails);
            if (fails)
                continue;
            EXPECT_EQ(components[i].values()[8 + 3], 21);
            EXPECT_EQ(components[i].values()[8 + 3 + 1 + 100], -22);
            EXPECT_EQ(numNonZero(components[i].values()), 2u);
        }
    }
}

TYPED_TEST(CoefficientScanTest, NoComponentIsAValidCall) {
    scanComponents<TypeParam::target>(nullptr, 0);
}

TYPED_TEST(CoefficientScanTest, TheDefinitionEqualsTheSlowModelOnAnyBytes) {
    Random random = seeded(2305);
    std::uint32_t numWrapped = 0;
    for (std::uint32_t round = 0; round < numRounds(12000); ++round) {
        const std::uint32_t numBlocks = 1u << randomBelow(random, 6);
        const std::uint32_t kept = 64u >> 2 * randomBelow(random, 4);
        const std::vector<std::uint8_t> bytes = randomRange(
            random, static_cast<ComponentContent>(randomBelow(random, kNumComponentContents)), std::max(numBlocks, 2u));
        const SlowScanResult model = slowScanCoefficients(bytes, numBlocks, kept, TypeParam::target);
        Component component(this->m_held.hold(bytes), numBlocks, kept, kept == 1);
        const bool succeeded = scanComponentPlainly<TypeParam::target>(component.scan());
        numWrapped += model.wrapped ? 1 : 0;
        // After a wrapped count the values of DCs are open; a scan that goes on to the ACs fails.
        if (model.wrapped && kept == 1)
            continue;
        ASSERT_EQ(succeeded, model.ok) << numBlocks << " blocks, kept " << kept;
        ASSERT_TRUE(!succeeded || component.values() == inFrequencyOrder(model.coefficients, numBlocks));
        const auto blocks = this->scannedIntoBlocks(bytes, numBlocks, kept);
        ASSERT_EQ(blocks.succeeded, succeeded);
        ASSERT_TRUE(!succeeded || blocks.values == model.coefficients);
    }
    EXPECT_GT(numWrapped, numRounds(50));
}
