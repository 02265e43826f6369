#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "AlphaLaneReaders.h"
#include "AlphaScan.h"
#include "AlphaVLCStream.h"
#include "FrameMaker.h"
#include "RaveloDecoderInterface.h"

namespace {

class AlphaLanesTest : public testing::Test {
protected:
    void SetUp() override {
        if (RaveloDecoderInterface::GetMaxOptType() == 0)
            GTEST_SKIP() << "This processor cannot run the AVX2 target.";
    }
};

// What a lane reader has called.
struct Calls {
    unsigned int pairs = 0;
    unsigned int planesHandedOver = 0;
};

// Reads `count` copies of a plane with one of the lane readers, whatever their form, and counts what it calls.
class CountedRead {
public:
    explicit CountedRead(AlphaLaneFunction* reader) {
        s_reader = reader;
        s_calls = Calls();
    }

    Calls calls(std::vector<std::uint8_t> const& bytes, std::uint32_t numSamples, unsigned int count) {
        m_samples.assign(count, std::vector<std::uint16_t>(numSamples + kAlphaPadding));
        std::vector<AlphaPlane> planes;
        for (auto& samples : m_samples)
            planes.push_back({{bytes.data(), bytes.size()}, samples.data(), numSamples, 1u << 16});
        scanAlphaPlanes<OptimizationTarget::AVX2>(planes.data(), count, 16, passOn);
        return s_calls;
    }

    std::vector<std::vector<std::uint16_t>> const& samples() const { return m_samples; }

private:
    static void passOn(AlphaLaneJob const& job) {
        s_job = job;
        AlphaLaneJob counted = job;
        counted.readPair = [](AlphaLane& lane) {
            ++s_calls.pairs;
            return s_job.readPair(lane);
        };
        counted.readRest = [](AlphaLane const* begun, unsigned int numBegun, AlphaPlane const* planes,
                              unsigned int numPlanes) {
            s_calls.planesHandedOver += numBegun + numPlanes;
            s_job.readRest(begun, numBegun, planes, numPlanes);
        };
        s_reader(counted);
    }

    static inline AlphaLaneFunction* s_reader;
    static inline AlphaLaneJob s_job;
    static inline Calls s_calls;

    std::vector<std::vector<std::uint16_t>> m_samples;
};

// A plane whose values last for `run` samples up to `firstSingle`, and for one after it.
std::vector<std::uint16_t> planeOfRuns(std::uint32_t numSamples, std::uint32_t run, std::uint32_t firstSingle) {
    std::vector<std::uint16_t> plane(numSamples);
    for (std::uint32_t i = 0; i < numSamples; ++i)
        plane[i] = static_cast<std::uint16_t>(i < firstSingle ? i / run : i);
    return plane;
}

} // namespace

// Few planes, or planes of runs, are read faster without lanes.
TEST_F(AlphaLanesTest, ManyPlanesOfSingleSamplesAreReadInLanes) {
    static unsigned int numPlanes = 0;
    AlphaLaneFunction* const counting = [](AlphaLaneJob const& job) { numPlanes += job.count; };
    std::vector<std::uint16_t> samples(100 + kAlphaPadding);
    const std::vector<std::uint8_t> bytes(200);
    for (const std::uint32_t codedBytes : {0u, 20u, 62u, 63u, 200u}) {
        for (const unsigned int count : {1u, 7u, 8u, 16u}) {
            const std::vector<AlphaPlane> planes(count,
                                                 {{bytes.data(), bytes.size()}, samples.data(), 100, codedBytes});
            numPlanes = 0;
            scanAlphaPlanes<OptimizationTarget::AVX2>(planes.data(), count, 16, counting);
            EXPECT_EQ(numPlanes, count >= 8 && codedBytes >= 63 ? count : 0u) << codedBytes << " bytes";
        }
    }
}

// The bits of a sample do not tell short runs from single samples. What the lanes lose with them has a limit: they
// leave all planes to the other scan, those that are not begun included.
TEST_F(AlphaLanesTest, PlanesOfShortRunsAreHandedOver) {
    for (AlphaLaneFunction* const reader : alphaLaneReaders()) {
        for (const unsigned int count : {8u, 16u, 20u}) {
            for (const std::uint32_t run : {2u, 4u}) {
                const auto plane = planeOfRuns(2048, run, 2048);
                CountedRead read(reader);
                const Calls calls = read.calls(encodedAlpha(plane, 16, false, false), 2048, count);
                EXPECT_EQ(calls.planesHandedOver, count) << run;
                EXPECT_LT(calls.pairs, 128 * count) << run;
                for (auto const& samples : read.samples())
                    EXPECT_TRUE(std::equal(plane.begin(), plane.end(), samples.begin())) << run;
            }
        }
    }
}

// Neither the flat part of a matte nor the pairs that each plane ends with count.
TEST_F(AlphaLanesTest, PlanesOfLongRunsAndSingleSamplesStayInLanes) {
    for (AlphaLaneFunction* const reader : alphaLaneReaders()) {
        for (const std::uint32_t firstSingle : {0u, 1000u}) {
            const auto plane = planeOfRuns(2048, 100, firstSingle);
            CountedRead read(reader);
            const Calls calls = read.calls(encodedAlpha(plane, 16, false, false), 2048, 20);
            EXPECT_EQ(calls.planesHandedOver, 0u) << firstSingle;
            for (auto const& samples : read.samples())
                EXPECT_TRUE(std::equal(plane.begin(), plane.end(), samples.begin())) << firstSingle;
        }
    }
}
