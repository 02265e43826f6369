#include "Block.h"

#include <set>

#include <gtest/gtest.h>

#include "ProcessorDispatch.h"

namespace {

constexpr std::uint32_t kProgressive[8][8] = {
    {0, 1, 4, 5, 16, 17, 21, 22},     {2, 3, 6, 7, 18, 20, 23, 28},     {8, 9, 12, 13, 19, 24, 27, 29},
    {10, 11, 14, 15, 25, 26, 30, 31}, {32, 33, 37, 38, 45, 46, 53, 54}, {34, 36, 39, 44, 47, 52, 55, 60},
    {35, 40, 43, 48, 51, 56, 59, 61}, {41, 42, 49, 50, 57, 58, 62, 63},
};

constexpr std::uint32_t kInterlaced[8][8] = {
    {0, 2, 8, 10, 32, 34, 35, 41},    {1, 3, 9, 11, 33, 36, 40, 42},    {4, 6, 12, 14, 37, 39, 43, 49},
    {5, 7, 13, 15, 38, 44, 48, 50},   {16, 18, 19, 25, 45, 47, 51, 57}, {17, 20, 24, 26, 46, 52, 56, 58},
    {21, 23, 27, 30, 53, 55, 59, 62}, {22, 28, 29, 31, 54, 60, 61, 63},
};

} // namespace

TEST(BlockTest, ProgressiveScanPatternHasTheValuesOfTheFormat) {
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(progressiveScanPattern[i], kProgressive[i / 8][i % 8]) << "row " << i / 8 << " column " << i % 8;
}

TEST(BlockTest, InterlacedScanPatternHasTheValuesOfTheFormat) {
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(interlacedScanPattern[i], kInterlaced[i / 8][i % 8]) << "row " << i / 8 << " column " << i % 8;
}

TEST(BlockTest, InterlacedScanPatternIsTheTransposeOfTheProgressiveOne) {
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(interlacedScanPattern[i], progressiveScanPattern[i % 8 * 8 + i / 8]);
}

TEST(BlockTest, BothScanPatternsArePermutations) {
    for (const std::uint32_t* pattern : {progressiveScanPattern, interlacedScanPattern}) {
        const std::set<std::uint32_t> entries(pattern, pattern + 64);
        EXPECT_EQ(entries.size(), 64u);
        EXPECT_EQ(*entries.rbegin(), 63u);
    }
}

TEST(BlockTest, TheFirstScanIndicesFillTheCornersOfReducedDecodes) {
    for (const std::uint32_t* pattern : {progressiveScanPattern, interlacedScanPattern}) {
        for (std::uint32_t i = 0; i < 64; ++i) {
            EXPECT_EQ(pattern[i] < 4, i / 8 < 2 && i % 8 < 2);
            EXPECT_EQ(pattern[i] < 16, i / 8 < 4 && i % 8 < 4);
        }
    }
}

TEST(BlockTest, TheTransformVariantIsChosenWhenTheLibraryIsLoaded) {
    // The index is -1 until the selection, which nothing in this program runs by itself.
    EXPECT_GE(ippJumpIndexForMergedLibs, 0);
    EXPECT_LE(ippJumpIndexForMergedLibs, 3);
}
