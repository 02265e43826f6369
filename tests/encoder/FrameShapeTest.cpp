#include "FrameShape.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::uint32_t> rowOf(std::uint32_t widthInMb, std::uint32_t log2SliceSize) {
    FrameShape shape;
    shape.horizontal_size = widthInMb * 16;
    shape.log2_slice_size_in_mb = log2SliceSize;
    return shape.sliceSizesInMb();
}

void expectLines(std::uint32_t interlace_mode, std::uint32_t pictureIndex, std::uint32_t height,
                 std::uint32_t firstLine) {
    FrameShape shape;
    shape.vertical_size = 1081;
    shape.interlace_mode = interlace_mode;
    const PictureLines lines = shape.pictureLines(pictureIndex);
    EXPECT_EQ(lines.height, height);
    EXPECT_EQ(lines.firstLine, firstLine);
    EXPECT_EQ(lines.lineStep, interlace_mode == 0 ? 1u : 2u);
}

} // namespace

TEST(FrameShapeTest, ARowHoldsFullSlicesAndThenOneOfEachSmallerPower) {
    using Sizes = std::vector<std::uint32_t>;
    EXPECT_EQ(rowOf(45, 3), (Sizes{8, 8, 8, 8, 8, 4, 1}));
    EXPECT_EQ(rowOf(7, 2), (Sizes{4, 2, 1}));
    EXPECT_EQ(rowOf(120, 3), Sizes(15, 8));
    EXPECT_EQ(rowOf(1, 3), (Sizes{1}));
    EXPECT_EQ(rowOf(3, 0), (Sizes{1, 1, 1}));
}

TEST(FrameShapeTest, EvenLinesHaveOneMoreInAnOddHeight) {
    expectLines(0, 0, 1081, 0);
    expectLines(1, 0, 541, 0);
    expectLines(1, 1, 540, 1);
    expectLines(2, 0, 540, 1);
    expectLines(2, 1, 541, 0);
    expectLines(3, 0, 540, 0);
}

TEST(FrameShapeTest, ModesOneAndTwoHaveTwoPictures) {
    FrameShape shape;
    const std::uint32_t counts[4] = {1, 2, 2, 1};
    for (shape.interlace_mode = 0; shape.interlace_mode < 4; ++shape.interlace_mode)
        EXPECT_EQ(shape.numPictures(), counts[shape.interlace_mode]);
}

TEST(FrameShapeTest, TheLastMacroblockRowHasAlphaForItsRealLinesOnly) {
    FrameShape shape;
    shape.horizontal_size = 33;
    shape.vertical_size = 19;
    shape.log2_slice_size_in_mb = 1;
    shape.alphaBits = 8;
    const std::vector<SliceShape> slices = shape.slices();
    ASSERT_EQ(slices.size(), 4u);
    EXPECT_EQ(slices[0].alphaSamples, 2u * 16 * 16);
    EXPECT_EQ(slices[1].alphaSamples, 1u * 16 * 16);
    EXPECT_EQ(slices[2].alphaSamples, 2u * 16 * 3);
    EXPECT_EQ(slices[3].alphaSamples, 1u * 16 * 3);
    EXPECT_EQ(slices[3].firstMb, 2u);
}

TEST(FrameShapeTest, ChromaHasTwoOrFourBlocksAMacroblock) {
    FrameShape shape;
    shape.horizontal_size = 64;
    shape.vertical_size = 16;
    EXPECT_EQ(shape.slices().at(0).lumaBlocks, 16u);
    EXPECT_EQ(shape.slices().at(0).chromaBlocks, 8u);
    shape.chromaFormat = ChromaFormat::C444;
    EXPECT_EQ(shape.slices().at(0).chromaBlocks, 16u);
}

TEST(FrameShapeTest, AFieldWithoutLinesHasNoSlices) {
    FrameShape shape;
    shape.horizontal_size = 16;
    shape.vertical_size = 1;
    shape.interlace_mode = 3;
    EXPECT_TRUE(shape.slices().empty());
    shape.interlace_mode = 2;
    ASSERT_EQ(shape.slices().size(), 1u);
    EXPECT_EQ(shape.slices()[0].pictureIndex, 1u);
}
