#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "AlphaScan.h"
#include "RaveloDecoderInterface.h"

// Few planes, or planes of runs, are read faster without lanes.
TEST(AlphaLanesTest, ManyPlanesOfSingleSamplesAreReadInLanes) {
    static unsigned int numPlanes = 0;
    AlphaLaneFunction* const counting = [](AlphaLaneJob const& job) { numPlanes += job.count; };
    if (RaveloDecoderInterface::GetMaxOptType() == 0)
        GTEST_SKIP() << "This processor cannot run the AVX2 target.";
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
