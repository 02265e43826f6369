#include "BlockGather.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "Block.h"
#include "DecoderAccess.h"
#include "DecoderTargets.h"
#include "Random.h"

namespace {

template <class On>
class BlockGatherTest : public TargetTest<On> {
protected:
    // Gathers a component of values that identify their place, from memory without a byte to spare.
    void checkGather(std::uint32_t numBlocks, int size, std::uint32_t kept, const std::uint32_t* pattern) {
        const std::uint32_t numValues = numBlocks * kept;
        const auto coefficients = std::make_unique<std::int16_t[]>(numValues + kScanPadding);
        for (std::uint32_t i = 0; i < numValues; ++i)
            coefficients[i] = static_cast<std::int16_t>(i * 31 + 7);
        ComponentScan scan;
        scan.coefficients = coefficients.get();
        scan.numBlocks = numBlocks;
        scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
        scan.keptCoefficients = kept;

        const std::size_t numGathered = static_cast<std::size_t>(size * size) * numBlocks;
        const auto blocks = std::make_unique<std::int16_t[]>(numGathered + kGatherPadding);
        std::fill_n(blocks.get(), numGathered + kGatherPadding, std::int16_t{-3});
        gatherCorners<On::target>(size, scan, pattern, blocks.get());
        // Whole blocks are stored one by one, so there is nothing after the last.
        const std::size_t numUntouched = size == 8 ? kGatherPadding : 0;
        for (std::size_t k = 0; k < numUntouched; ++k)
            ASSERT_EQ(blocks[numGathered + k], -3) << numBlocks << " blocks";
        const auto byDefinition = std::make_unique<std::int16_t[]>(numGathered);
        gatherCornersPlainly<On::target>(size, scan, pattern, byDefinition.get());
        ASSERT_TRUE(std::equal(byDefinition.get(), byDefinition.get() + numGathered, blocks.get()));
        std::size_t i = 0;
        for (std::uint32_t block = 0; block < numBlocks; ++block) {
            for (int row = 0; row < size; ++row) {
                for (int column = 0; column < size; ++column, ++i) {
                    const std::uint32_t scanIndex = pattern[8 * row + column];
                    ASSERT_EQ(blocks[i], static_cast<std::int16_t>((scanIndex * numBlocks + block) * 31 + 7))
                        << numBlocks << " blocks, size " << size << ", block " << block << " row " << row << " column "
                        << column;
                }
            }
        }
    }

    std::int16_t converted(std::int16_t coefficient, float factor, int size = 4) {
        std::vector<std::int16_t> corner(static_cast<std::size_t>(size * size));
        corner[1] = coefficient;
        float matrix[64] = {};
        matrix[1] = factor;
        dequantizeCornersOfSize<On::target>(size, corner.data(), matrix, 1);
        return corner[1];
    }
};

TYPED_TEST_SUITE(BlockGatherTest, BothTargets, TargetNames);

// The conversion of each target, from its words: Baseline cuts towards zero and keeps the low 16 bits; AVX2 rounds to
// nearest, ties to even, and saturates.
std::int16_t expectedConversion(bool isAvx2, float value) {
    if (!isAvx2)
        return static_cast<std::int16_t>(static_cast<std::int64_t>(value) & 0xFFFF);
    const double rounded = std::nearbyint(static_cast<double>(value));
    return static_cast<std::int16_t>(std::min(32767.0, std::max(-32768.0, rounded)));
}

} // namespace

TYPED_TEST(BlockGatherTest, EveryCornerOfEveryComponentSizeComesOutInRasterOrder) {
    for (const std::uint32_t* pattern : {progressiveScanPattern, interlacedScanPattern}) {
        for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2) {
            this->checkGather(numBlocks, 8, 64, pattern);
            this->checkGather(numBlocks, 4, 16, pattern);
            this->checkGather(numBlocks, 2, 4, pattern);
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

TYPED_TEST(BlockGatherTest, DequantisedValuesRoundByTheRuleOfTheTarget) {
    EXPECT_EQ(this->converted(7, 0.5f), this->isAvx2 ? 4 : 3);     // 3.5
    EXPECT_EQ(this->converted(-37, 0.1f), this->isAvx2 ? -4 : -3); // -3.7
    EXPECT_EQ(this->converted(5, 0.5f), 2);                        // 2.5, a tie to even and a cut alike
    EXPECT_EQ(this->converted(3, 0.5f), this->isAvx2 ? 2 : 1);     // 1.5
    EXPECT_EQ(this->converted(-3, 0.5f), this->isAvx2 ? -2 : -1);
    EXPECT_EQ(this->converted(-5, 0.5f), -2);
}

TYPED_TEST(BlockGatherTest, DequantisedValuesOutside16BitsWrapOnBaselineAndSaturateOnAvx2) {
    EXPECT_EQ(this->converted(20000, 2.0f), this->isAvx2 ? 32767 : -25536); // 40000
    EXPECT_EQ(this->converted(-20000, 2.0f), this->isAvx2 ? -32768 : 25536);
    EXPECT_EQ(this->converted(16384, 2.0f), this->isAvx2 ? 32767 : -32768); // 32768
    EXPECT_EQ(this->converted(-16384, 2.0f), -32768);
    EXPECT_EQ(this->converted(32767, 1.0f), 32767);
    EXPECT_EQ(this->converted(32767, 636.0f * 31.875f),
              this->isAvx2 ? 32767 : expectedConversion(false, 32767 * 20272.5f));
    EXPECT_EQ(this->converted(-32768, 636.0f * 31.875f),
              this->isAvx2 ? -32768 : expectedConversion(false, -32768 * 20272.5f));
}

TYPED_TEST(BlockGatherTest, EveryCornerEntryIsMultipliedByItsOwnMatrixEntry) {
    Random random = seeded(3201);
    for (int round = 0; round < 400; ++round) {
        const int size = randomBelow(random, 2) == 0 ? 4 : 2;
        const std::uint32_t numBlocks = 1 + randomBelow(random, 64);
        const std::size_t perBlock = static_cast<std::size_t>(size * size);
        // The blocks stand in front of the padding that a gather leaves.
        const auto corners = std::make_unique<std::int16_t[]>(perBlock * numBlocks + kGatherPadding);
        float matrix[64];
        const std::uint32_t scale = 1 + randomBelow(random, 636);
        for (float& entry : matrix)
            entry = static_cast<float>(randomBelow(random, 256) * scale) * 0.125f;
        std::vector<std::int16_t> expected;
        for (std::size_t i = 0; i < perBlock * numBlocks; ++i) {
            const std::uint32_t range = 1u << (1 + randomBelow(random, 16));
            corners[i] =
                static_cast<std::int16_t>(static_cast<int>(randomBelow(random, range)) - static_cast<int>(range / 2));
            const std::size_t row = i % perBlock / static_cast<std::size_t>(size);
            const std::size_t column = i % static_cast<std::size_t>(size);
            const float product = static_cast<float>(corners[i]) * matrix[8 * row + column];
            expected.push_back(expectedConversion(this->isAvx2, product));
        }
        dequantizeCornersOfSize<TypeParam::target>(size, corners.get(), matrix, numBlocks);
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(corners[i], expected[i]) << "size " << size << ", value " << i;
    }
}
