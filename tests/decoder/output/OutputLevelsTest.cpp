#include "OutputLevels.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

PixelBuffer bufferOf(std::uint32_t bitDepth, ColorCoding colorCoding = ColorCoding_YCbCr,
                     std::uint32_t matrix_coefficients = 1, std::uint64_t frameHeight = 1080) {
    PixelBuffer buffer;
    buffer.bitDepth = bitDepth;
    buffer.colorCoding = colorCoding;
    buffer.matrix_coefficients = matrix_coefficients;
    buffer.frameHeight = frameHeight;
    return buffer;
}

struct MatrixRow {
    float cbToGreen, cbToBlue, crToRed, crToGreen;
};

constexpr MatrixRow kRow709 = {-0.18732427f, 1.8556f, 1.5748f, -0.46812427f};
constexpr MatrixRow kRow601 = {-0.3441363f, 1.772f, 1.402f, -0.7141363f};
constexpr MatrixRow kRow2020 = {-0.16455312f, 1.8814f, 1.4746f, -0.57135314f};

void expectRow(OutputLevels const& levels, MatrixRow const& row) {
    EXPECT_EQ(levels.cbToGreen, row.cbToGreen);
    EXPECT_EQ(levels.cbToBlue, row.cbToBlue);
    EXPECT_EQ(levels.crToRed, row.crToRed);
    EXPECT_EQ(levels.crToGreen, row.crToGreen);
}

std::string failureOf(std::uint32_t bitDepth) {
    try {
        outputLevels(bufferOf(bitDepth));
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(OutputLevelsTest, EachDepthHasItsMaximumAndScales) {
    struct {
        std::uint32_t bitDepth;
        std::int32_t maxValue;
        float sampleScale, alpha8Scale, alpha16Scale;
    } const table[] = {
        {8, 255, 0.5f, 1.0f, 0.0038910506f},
        {10, 1023, 2.0f, 4.0117645f, 0.01560998f},
        {15, 32768, 64.001953125f, 128.50197f, 0.50000763f},
        {16, 65535, 128.0f, 257.0f, 1.0f},
    };
    for (auto const& row : table) {
        const OutputLevels levels = outputLevels(bufferOf(row.bitDepth));
        EXPECT_EQ(levels.minValue, 0);
        EXPECT_EQ(levels.maxValue, row.maxValue);
        EXPECT_EQ(levels.sampleScale, row.sampleScale);
        EXPECT_EQ(levels.alpha8Scale, row.alpha8Scale);
        EXPECT_EQ(levels.alpha16Scale, row.alpha16Scale);
        EXPECT_EQ(maximumCode(row.bitDepth), row.maxValue);
    }
}

TEST(OutputLevelsTest, FifteenBitsHaveTheMaximum32768AndAScaleOfOneMore) {
    EXPECT_EQ(maximumCode(15), 0x8000);
    EXPECT_EQ(outputLevels(bufferOf(15)).sampleScale, 32769.0f / 512.0f);
}

TEST(OutputLevelsTest, AnyOtherDepthThrowsTheFixedText) {
    for (std::uint32_t bitDepth = 0; bitDepth < 40; ++bitDepth) {
        const bool known = bitDepth == 8 || bitDepth == 10 || bitDepth == 15 || bitDepth == 16;
        EXPECT_EQ(failureOf(bitDepth), known ? "" : "Unsupported bit depth in PixelBuffer") << bitDepth;
    }
    EXPECT_EQ(failureOf(0xFFFFFFFF), "Unsupported bit depth in PixelBuffer");
}

TEST(OutputLevelsTest, FullRangeRgbRunsFromZeroToTheMaximum) {
    for (const std::uint32_t bitDepth : kBitDepths) {
        const OutputLevels levels = outputLevels(bufferOf(bitDepth, ColorCoding_RGBFull));
        EXPECT_EQ(levels.rgbScale, static_cast<float>(levels.maxValue));
        EXPECT_EQ(levels.rgbOffset, 0.0f);
    }
}

TEST(OutputLevelsTest, VideoRangeRgbHasTheBlackAndWhiteOfEachDepth) {
    struct {
        std::uint32_t bitDepth;
        double scale, offset;
    } const table[] = {{8, 219, 16}, {10, 876, 64}, {15, 28032.85546875, 2048.0625}, {16, 56064, 4096}};
    for (auto const& row : table) {
        const OutputLevels levels = outputLevels(bufferOf(row.bitDepth, ColorCoding_RGBVideo));
        EXPECT_EQ(levels.rgbScale, static_cast<float>(row.scale));
        EXPECT_EQ(levels.rgbOffset, static_cast<float>(row.offset));
    }
}

TEST(OutputLevelsTest, YCbCrHasNoRgbLevelsAndAMatrixOfZeros) {
    const OutputLevels levels = outputLevels(bufferOf(8));
    EXPECT_EQ(levels.rgbScale, 0.0f);
    EXPECT_EQ(levels.rgbOffset, 0.0f);
    expectRow(levels, {0, 0, 0, 0});
}

TEST(OutputLevelsTest, CodingsAboveTwoHaveAMatrixAndLevelsOfZero) {
    for (const std::uint32_t coding : {3u, 4u, 0xFFFFFFFFu}) {
        const OutputLevels levels = outputLevels(bufferOf(10, static_cast<ColorCoding>(coding), 9));
        EXPECT_EQ(levels.rgbScale, 0.0f);
        EXPECT_EQ(levels.rgbOffset, 0.0f);
        expectRow(levels, kRow2020);
    }
}

TEST(OutputLevelsTest, MatrixCoefficientsOneSixAndNineNameTheirMatrixAtAnyHeight) {
    for (const std::uint64_t height : {1u, 576u, 577u, 4320u}) {
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, 1, height)), kRow709);
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBVideo, 6, height)), kRow601);
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, 9, height)), kRow2020);
    }
}

TEST(OutputLevelsTest, OtherMatrixCoefficientsGoByTheHeightOfTheFrame) {
    for (const std::uint32_t matrix : {0u, 2u, 3u, 4u, 5u, 7u, 8u, 10u, 255u}) {
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, matrix, 576)), kRow601);
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, matrix, 577)), kRow709);
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, matrix, 1)), kRow601);
        expectRow(outputLevels(bufferOf(8, ColorCoding_RGBFull, matrix, 65535)), kRow709);
    }
}

TEST(OutputLevelsTest, AReducedPictureGoesByTheFullHeightOfTheFrame) {
    PixelBuffer buffer = bufferOf(8, ColorCoding_RGBFull, 2, 577);
    buffer.height = 72;
    buffer.downSampleFactor = 3;
    expectRow(outputLevels(buffer), kRow709);
}
