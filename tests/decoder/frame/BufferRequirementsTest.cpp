#include "BufferRequirements.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "FrameMaker.h"
#include "GuardedBytes.h"

namespace {

BufferRequirements requirementsOf(std::uint32_t width, std::uint32_t height, std::uint32_t chroma_format,
                                  std::uint32_t bitDepth, std::uint32_t downSampleFactor,
                                  std::uint32_t interlace_mode = 0) {
    std::vector<std::uint8_t> header(26, 0);
    header[16] = static_cast<std::uint8_t>(width >> 8);
    header[17] = static_cast<std::uint8_t>(width & 0xFF);
    header[18] = static_cast<std::uint8_t>(height >> 8);
    header[19] = static_cast<std::uint8_t>(height & 0xFF);
    header[20] = static_cast<std::uint8_t>(chroma_format << 6 | interlace_mode << 2);
    const GuardedBytes held(header);
    return bufferRequirements(held.bits(), bitDepth, downSampleFactor);
}

} // namespace

TEST(BufferRequirementsTest, AtFullSizeBothStridesAreTheBytesOfALine) {
    const BufferRequirements r = requirementsOf(1001, 77, 2, 8, 0);
    EXPECT_EQ(r.leastStride, 2002u);
    EXPECT_EQ(r.safeStride, 2002u);
    EXPECT_EQ(r.lines, 77u);
    EXPECT_EQ(r.bytes, 2002u * 77);
}

TEST(BufferRequirementsTest, DeepSamplesTakeTwoBytesAnd444TakesFourSamples) {
    for (const std::uint32_t bitDepth : {10u, 15u, 16u}) {
        EXPECT_EQ(requirementsOf(33, 5, 2, bitDepth, 0).leastStride, 33u * 4);
        EXPECT_EQ(requirementsOf(33, 5, 3, bitDepth, 0).leastStride, 33u * 8);
    }
    EXPECT_EQ(requirementsOf(33, 5, 3, 8, 0).leastStride, 33u * 4);
    EXPECT_EQ(requirementsOf(33, 5, 1, 8, 0).leastStride, 33u * 2);
}

TEST(BufferRequirementsTest, AWidthOf1000AtHalfSizeAccepts500ColumnsAndIsSafeWith504) {
    const BufferRequirements r = requirementsOf(1000, 64, 3, 8, 1);
    EXPECT_EQ(r.leastStride, 500u * 4);
    EXPECT_EQ(r.safeStride, 504u * 4);
    EXPECT_EQ(r.lines, 32u);
    EXPECT_EQ(r.bytes, 504u * 4 * 32);
}

TEST(BufferRequirementsTest, AWidthOfWholeMacroblocksHasOneStrideAtEveryReduction) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const BufferRequirements r = requirementsOf(640, 480, 2, 8, factor);
        EXPECT_EQ(r.leastStride, (640u >> factor) * 2);
        EXPECT_EQ(r.safeStride, r.leastStride);
        EXPECT_EQ(r.lines, 480u >> factor);
    }
}

TEST(BufferRequirementsTest, ReductionsBeyondFourNeedTheLinesOfTheirSizeAlone) {
    const BufferRequirements r = requirementsOf(640, 480, 2, 8, 5);
    EXPECT_EQ(r.leastStride, 640u / 32 * 2);
    EXPECT_EQ(r.safeStride, r.leastStride);
    EXPECT_EQ(r.lines, 15u);
}

TEST(BufferRequirementsTest, DeepReducedOutputNeedsTheFullWidthInMacroblocks) {
    for (std::uint32_t factor = 1; factor <= 3; ++factor) {
        const BufferRequirements r = requirementsOf(50, 40, 3, 16, factor);
        EXPECT_EQ(r.leastStride, (50u >> factor) * 8);
        EXPECT_EQ(r.safeStride, 64u * 8);
    }
}

TEST(BufferRequirementsTest, EighthSizeOf422ReachesTheFirstLineOfEveryMacroblockRow) {
    // Seventeen lines: two at eighth size, and the second macroblock row starts at line 2.
    EXPECT_EQ(requirementsOf(64, 17, 2, 8, 3).lines, 3u);
    EXPECT_EQ(requirementsOf(64, 16, 2, 8, 3).lines, 2u);
    EXPECT_EQ(requirementsOf(64, 1, 2, 8, 3).lines, 1u);
    EXPECT_EQ(requirementsOf(64, 17, 3, 8, 3).lines, 2u);
    // Fields of 9 and 8 lines: one row each, on lines 0 and 1.
    EXPECT_EQ(requirementsOf(64, 17, 2, 8, 3, 1).lines, 2u);
    // Fields of 17 lines each: the second row starts on line 4 of the even and line 5 of the odd field.
    EXPECT_EQ(requirementsOf(64, 34, 2, 8, 3, 2).lines, 6u);
    EXPECT_EQ(requirementsOf(64, 34, 2, 8, 3, 3).lines, 5u);
}

TEST(BufferRequirementsTest, AnEmptyOrShortFrameNeedsNothing) {
    const BufferRequirements none = bufferRequirements(Bitstream{}, 8, 0);
    EXPECT_EQ(none.leastStride, 0u);
    EXPECT_EQ(none.safeStride, 0u);
    EXPECT_EQ(none.lines, 0u);
    EXPECT_EQ(none.bytes, 0u);
    EXPECT_EQ(requirementsOf(0, 100, 2, 8, 3).bytes, 0u);
}

TEST(BufferRequirementsTest, TheGreatestFrameDoesNotWrap) {
    const BufferRequirements r = requirementsOf(65535, 65535, 3, 16, 0);
    EXPECT_EQ(r.safeStride, std::uint64_t{65535} * 8);
    EXPECT_EQ(r.bytes, std::uint64_t{65535} * 8 * 65535);
}
