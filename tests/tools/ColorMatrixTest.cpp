#include "ColorMatrix.h"

#include <gtest/gtest.h>

TEST(ColorMatrixTest, CoefficientsAddUpToOne) {
    for (const std::uint32_t matrix_coefficients : {1u, 6u, 9u}) {
        const LumaWeights weights = lumaWeights(matrix_coefficients, 1080);
        EXPECT_DOUBLE_EQ(weights.red + weights.green + weights.blue, 1.0);
    }
}

TEST(ColorMatrixTest, HeightDecidesWhereNoMatrixIsNamed) {
    EXPECT_EQ(lumaWeights(2, 576).red, lumaWeights(6, 1080).red);
    EXPECT_EQ(lumaWeights(2, 577).red, lumaWeights(1, 100).red);
    EXPECT_EQ(defaultMatrixCoefficients(576), 6u);
    EXPECT_EQ(defaultMatrixCoefficients(577), 1u);
}

TEST(ColorMatrixTest, WhiteAndBlackHaveNoChroma) {
    const ColorMatrix matrix(lumaWeights(1, 1080));
    for (const float level : {0.0f, 0.25f, 1.0f}) {
        const ColorMatrix::Triple sample = matrix.toYCbCr(level, level, level);
        EXPECT_NEAR(sample.first, level, 1e-6f);
        EXPECT_NEAR(sample.second, 0.0f, 1e-6f);
        EXPECT_NEAR(sample.third, 0.0f, 1e-6f);
    }
}

TEST(ColorMatrixTest, PrimariesReachTheEndsOfTheirChroma) {
    const ColorMatrix matrix(lumaWeights(6, 480));
    EXPECT_NEAR(matrix.toYCbCr(0, 0, 1).second, 0.5f, 1e-6f);
    EXPECT_NEAR(matrix.toYCbCr(1, 0, 0).third, 0.5f, 1e-6f);
    EXPECT_NEAR(matrix.toYCbCr(1, 1, 0).second, -0.5f, 1e-6f);
}

TEST(ColorMatrixTest, TheTwoDirectionsUndoEachOther) {
    for (const std::uint32_t matrix_coefficients : {1u, 6u, 9u}) {
        const ColorMatrix matrix(lumaWeights(matrix_coefficients, 1080));
        for (int i = 0; i < 125; ++i) {
            const float red = static_cast<float>(i % 5) / 4;
            const float green = static_cast<float>(i / 5 % 5) / 4;
            const float blue = static_cast<float>(i / 25) / 4;
            const ColorMatrix::Triple sample = matrix.toYCbCr(red, green, blue);
            const ColorMatrix::Triple back = matrix.toRgb(sample.first, sample.second, sample.third);
            EXPECT_NEAR(back.first, red, 2e-6f);
            EXPECT_NEAR(back.second, green, 2e-6f);
            EXPECT_NEAR(back.third, blue, 2e-6f);
        }
    }
}

TEST(ColorMatrixTest, StudioRangePutsBlackAndWhiteAtTheirCodes) {
    const StudioRange range(256);
    EXPECT_FLOAT_EQ(range.codeOfLuma(0), 16);
    EXPECT_FLOAT_EQ(range.codeOfLuma(1), 235);
    EXPECT_FLOAT_EQ(range.codeOfChroma(-0.5f), 16);
    EXPECT_FLOAT_EQ(range.codeOfChroma(0.5f), 240);
    EXPECT_FLOAT_EQ(range.lumaOf(235), 1);
    EXPECT_FLOAT_EQ(range.chromaOf(240), 0.5f);
}
