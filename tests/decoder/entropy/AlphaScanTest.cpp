#include "AlphaScan.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "AlphaLaneReaders.h"
#include "AlphaVLCStream.h"
#include "DecoderTargets.h"
#include "FrameMaker.h"
#include "GuardedBytes.h"
#include "Random.h"

namespace {

constexpr std::size_t kMostPlanes = 24;
constexpr std::uint16_t kUntouched = 0xA5C3;
constexpr std::uint32_t kMostSamples = 2048;

// A plane as it is coded: its bytes and how many samples are read from them.
struct CodedPlane {
    std::vector<std::uint8_t> bytes;
    std::uint32_t numSamples;
};

template <class On>
class AlphaScanTest : public TargetTest<On> {
protected:
    // Compares planes that are decoded together with AlphaVLCStream, sample by sample, by each reader of the target.
    // Every range ends where unmapped memory begins.
    testing::AssertionResult readAsTheyAreDefined(std::vector<CodedPlane> const& coded, unsigned int alphaBits) {
        std::vector<Bitstream> ranges;
        std::vector<std::vector<std::uint16_t>> expected;
        for (CodedPlane const& plane : coded) {
            ranges.push_back(m_held[ranges.size()].hold(plane.bytes));
            expected.emplace_back(plane.numSamples);
            AlphaVLCStream<On::target>(ranges.back(), alphaBits).fillSamples(expected.back().data(), plane.numSamples);
        }
        testing::AssertionResult result = equalsExpected(ranges, expected, alphaBits, nullptr);
        if (On::target == OptimizationTarget::Baseline)
            return result;
        for (AlphaLaneFunction* const inLanes : alphaLaneReaders())
            result = result ? equalsExpected(ranges, expected, alphaBits, inLanes) : result;
        return result;
    }

    // The planes in turn until there are enough for lanes.
    static testing::AssertionResult equalsExpected(std::vector<Bitstream> const& ranges,
                                                   std::vector<std::vector<std::uint16_t>> const& expected,
                                                   unsigned int alphaBits, AlphaLaneFunction* inLanes) {
        const std::size_t least = inLanes == nullptr || ranges.empty() ? 0 : 8;
        const std::size_t count = std::max(ranges.size(), least);
        std::vector<AlphaPlane> planes;
        std::vector<std::vector<std::uint16_t>> samples(count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t source = i % ranges.size();
            const auto numSamples = static_cast<std::uint32_t>(expected[source].size());
            samples[i].assign(numSamples + kAlphaPadding + 1, kUntouched);
            // As many coded bytes as make lanes the faster choice.
            planes.push_back({ranges[source], samples[i].data(), numSamples, 1u << 16});
        }
        scanAlphaPlanes<On::target>(planes.data(), static_cast<unsigned int>(count), alphaBits, inLanes);
        for (std::size_t i = 0; i < count; ++i) {
            std::vector<std::uint16_t> const& of = expected[i % ranges.size()];
            if (!std::equal(of.begin(), of.end(), samples[i].begin()))
                return testing::AssertionFailure() << "plane " << i << " of " << count << " differs";
            if (samples[i].back() != kUntouched)
                return testing::AssertionFailure() << "plane " << i << " is written beyond its padding";
        }
        return testing::AssertionSuccess();
    }

    GuardedBytes m_held[kMostPlanes];
};

TYPED_TEST_SUITE(AlphaScanTest, BothTargets, TargetNames);

// A plane whose steps have about the size of `spread` and whose values last for up to `longestRun` samples.
std::vector<std::uint16_t> randomPlane(Random& random, std::uint32_t alphaBits, std::uint32_t numSamples,
                                       std::uint32_t spread, std::uint32_t longestRun) {
    const std::uint32_t mask = alphaBits == 8 ? 0xFFu : 0xFFFFu;
    std::vector<std::uint16_t> plane;
    std::uint32_t value = random();
    while (plane.size() < numSamples) {
        value += randomBelow(random, 2 * spread + 1) - spread;
        for (std::uint32_t run = 1 + randomBelow(random, longestRun); run > 0 && plane.size() < numSamples; --run)
            plane.push_back(static_cast<std::uint16_t>(value & mask));
    }
    return plane;
}

CodedPlane randomCodedPlane(Random& random, std::uint32_t alphaBits) {
    const std::uint32_t numSamples = 1 + randomBelow(random, kMostSamples);
    const std::uint32_t spread = 1u << randomBelow(random, alphaBits);
    const std::uint32_t longestRun = randomBelow(random, 2) == 0 ? 1 : 1u << randomBelow(random, 12);
    const auto plane = randomPlane(random, alphaBits, numSamples, spread, longestRun);
    return {encodedAlpha(plane, alphaBits, randomBelow(random, 4) == 0, randomBelow(random, 4) == 0), numSamples};
}

// Cuts, lengthens or changes what was coded, or asks for another number of samples.
void damage(Random& random, CodedPlane& coded) {
    switch (randomBelow(random, 5)) {
    case 0:
        coded.bytes.resize(randomBelow(random, static_cast<std::uint32_t>(coded.bytes.size()) + 1));
        break;
    case 1:
        for (std::uint8_t& byte : coded.bytes)
            byte = static_cast<std::uint8_t>(randomBelow(random, 40) == 0 ? random() : byte);
        break;
    case 2:
        for (std::uint8_t& byte : coded.bytes)
            byte = static_cast<std::uint8_t>(random());
        break;
    case 3:
        coded.numSamples = randomBelow(random, kMostSamples + 1);
        break;
    default:
        break;
    }
}

} // namespace

TYPED_TEST(AlphaScanTest, PlanesReadTogetherHaveTheSamplesOfThePlainReader) {
    Random random = seeded(2601);
    for (std::uint32_t round = 0; round < numRounds(1500); ++round) {
        const std::uint32_t alphaBits = 8 + 8 * randomBelow(random, 2);
        std::vector<CodedPlane> coded(1 + randomBelow(random, kMostPlanes));
        for (CodedPlane& plane : coded)
            plane = randomCodedPlane(random, alphaBits);
        ASSERT_TRUE(this->readAsTheyAreDefined(coded, alphaBits)) << round;
    }
}

TYPED_TEST(AlphaScanTest, DamagedPlanesHaveTheSamplesOfThePlainReader) {
    Random random = seeded(2602);
    for (std::uint32_t round = 0; round < numRounds(3000); ++round) {
        const std::uint32_t alphaBits = 8 + 8 * randomBelow(random, 2);
        std::vector<CodedPlane> coded(1 + randomBelow(random, kMostPlanes));
        for (CodedPlane& plane : coded) {
            plane = randomCodedPlane(random, alphaBits);
            damage(random, plane);
        }
        ASSERT_TRUE(this->readAsTheyAreDefined(coded, alphaBits)) << round;
    }
}

TYPED_TEST(AlphaScanTest, EveryPlaceWhereARangeMayEndGivesTheSamplesOfThePlainReader) {
    Random random = seeded(2603);
    for (const std::uint32_t alphaBits : {8u, 16u}) {
        for (const std::uint32_t longestRun : {1u, 4u, 300u}) {
            const auto plane = randomPlane(random, alphaBits, 256, alphaBits == 8 ? 12 : 90, longestRun);
            const auto bytes = encodedAlpha(plane, alphaBits, false, false);
            for (std::size_t length = 0; length <= bytes.size(); ++length) {
                const CodedPlane cut{{bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)}, 256};
                ASSERT_TRUE(this->readAsTheyAreDefined({cut, {bytes, 256}}, alphaBits)) << length;
            }
        }
    }
}

TYPED_TEST(AlphaScanTest, EveryNumberOfSamplesIsFilledAndNoMoreThanThePadding) {
    Random random = seeded(2604);
    for (const std::uint32_t alphaBits : {8u, 16u}) {
        const auto bytes = encodedAlpha(randomPlane(random, alphaBits, 400, 50, 20), alphaBits, false, false);
        for (std::uint32_t numSamples = 0; numSamples <= 400; ++numSamples)
            ASSERT_TRUE(this->readAsTheyAreDefined({{bytes, numSamples}}, alphaBits)) << numSamples;
    }
}

TYPED_TEST(AlphaScanTest, TailsOfEachSingleBitGiveTheSamplesOfThePlainReader) {
    for (const std::uint32_t alphaBits : {8u, 16u}) {
        for (std::size_t numBytes = 1; numBytes <= 24; ++numBytes) {
            for (std::size_t bit = 0; bit < 8 * numBytes; ++bit) {
                std::vector<std::uint8_t> zeros(numBytes), ones(numBytes, 0xFF);
                zeros[bit / 8] = static_cast<std::uint8_t>(1u << (bit % 8));
                ones[bit / 8] = static_cast<std::uint8_t>(~(1u << (bit % 8)));
                ASSERT_TRUE(this->readAsTheyAreDefined({{zeros, 100}, {ones, 100}}, alphaBits))
                    << numBytes << " " << bit;
            }
        }
    }
}

TYPED_TEST(AlphaScanTest, NoPlaneIsReadWithoutHarm) {
    EXPECT_TRUE(this->readAsTheyAreDefined({}, 8));
    EXPECT_TRUE(this->readAsTheyAreDefined({}, 16));
}
