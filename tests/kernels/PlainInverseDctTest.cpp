#include "PlainInverseDct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "KernelTestSupport.h"
#include "LiteralInverseDct.h"
#include "Random.h"

namespace {

Block16 plain8x8(Block16 const& block) {
    Block16 out = {};
    plain_dct_8x8_inv_a10_16s(block.data(), out.data());
    return out;
}

std::array<std::int16_t, 16> plain4x4(Block16 const& block) {
    std::array<std::int16_t, 16> out = {};
    plain_dct_8x8To4x4_inv_16s(block.data(), out.data());
    return out;
}

std::array<std::int16_t, 4> plain2x2(Block16 const& block) {
    std::array<std::int16_t, 4> out = {};
    plain_dct_8x8To2x2_inv_16s(block.data(), out.data());
    return out;
}

BlockFloat plainFloat(BlockFloat const& block) {
    BlockFloat out = {};
    plain_dct_8x8_inv_32f(block.data(), out.data());
    return out;
}

template <typename Array>
void expectAll(Array const& samples, typename Array::value_type expected) {
    for (const auto sample : samples)
        EXPECT_EQ(sample, expected);
}

double norm(BlockFloat const& block) {
    double sum = 0.0;
    for (const float coefficient : block)
        sum += double{coefficient} * coefficient;
    return std::sqrt(sum);
}

// A block whose samples stay inside what all three fixed-point transforms hold, which is least at quarter size.
Block16 moderateBlock(Random& generator) {
    std::uniform_int_distribution<int> coefficient(-150, 150);
    Block16 block = {};
    for (int i = 0; i < 64; ++i)
        block[i] = static_cast<std::int16_t>(coefficient(generator) / (1 + i / 8 + i % 8));
    block[0] = static_cast<std::int16_t>(8 * coefficient(generator));
    return block;
}

template <std::size_t count>
double largestError(std::array<std::int16_t, count> const& found, BlockDouble const& exact) {
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        largest = std::max(largest, std::abs(found[i] - exact[i]));
    return largest;
}

} // namespace

TEST(PlainInverseDctTest, AnAllZeroBlockGivesZeroEverywhere) {
    expectAll(plain8x8(Block16{}), 0);
    expectAll(plain4x4(Block16{}), 0);
    expectAll(plain2x2(Block16{}), 0);
    expectAll(plainFloat(BlockFloat{}), 0.0f);
}

TEST(PlainInverseDctTest, ADcOf800Gives100InEverySample) {
    expectAll(plain8x8(blockWithDc(800)), 100);
    expectAll(plain4x4(blockWithDc(800)), 100);
    expectAll(plain2x2(blockWithDc(800)), 100);
    expectAll(plainFloat(BlockFloat{800.0f}), 100.0f);
}

TEST(PlainInverseDctTest, TheLargestDcGivesTheLargestSamples) {
    expectAll(plain8x8(blockWithDc(32767)), 1023);
    expectAll(plain4x4(blockWithDc(32767)), 511);
    expectAll(plain2x2(blockWithDc(32767)), 255);
}

TEST(PlainInverseDctTest, TheSmallestDcGivesTheSmallestSamples) {
    expectAll(plain8x8(blockWithDc(-32768)), -1024);
    expectAll(plain4x4(blockWithDc(-32768)), -512);
    expectAll(plain2x2(blockWithDc(-32768)), -256);
}

TEST(PlainInverseDctTest, AFloatDcIsDividedByEightExactly) {
    for (const float dc : {1.0f, 0.1f, -3.7f, 32767.0f, 1.0e9f, 1.1754944e-30f})
        expectAll(plainFloat(BlockFloat{dc}), dc * 0.125f);
}

TEST(PlainInverseDctTest, TheFixedPointTransformsFollowTheirFormulasBitForBit) {
    Random generator = seeded(20260);
    for (Block16 const& block : trialBlocks(generator, 3000)) {
        ASSERT_EQ(plain8x8(block), literalInverse8x8(block));
        ASSERT_EQ(plain4x4(block), literalInverse8x8To4x4(block));
        ASSERT_EQ(plain2x2(block), literalInverse8x8To2x2(block));
    }
}

TEST(PlainInverseDctTest, TheFloatTransformFollowsItsFormulaBitForBit) {
    Random generator = seeded(20260);
    for (const int limit : {10, 10000, 10000000}) {
        for (BlockFloat const& block : trialFloatBlocks(generator, limit, 1000))
            ASSERT_EQ(plainFloat(block), literalInverse8x8Float(block));
    }
}

TEST(PlainInverseDctTest, RowSumsWrapInsteadOfClipping) {
    // A row of 20000 sums to 3.4e9 at its first sample, which wraps to a negative number.
    Block16 block = {};
    for (int column = 0; column < 8; ++column)
        block[8 + column] = 20000;
    EXPECT_EQ(plain8x8(block), literalInverse8x8(block, RowSums::Wrap));
    EXPECT_NE(plain8x8(block), literalInverse8x8(block, RowSums::Clip));

    Block16 extremes = {};
    bool wrapShowsAt4x4 = false;
    bool wrapShowsAt2x2 = false;
    Random generator = seeded(20260);
    for (int trial = 0; trial < 1000; ++trial) {
        for (std::int16_t& coefficient : extremes)
            coefficient = generator() % 2 == 0 ? INT16_MIN : INT16_MAX;
        ASSERT_EQ(plain4x4(extremes), literalInverse8x8To4x4(extremes, RowSums::Wrap));
        ASSERT_EQ(plain2x2(extremes), literalInverse8x8To2x2(extremes, RowSums::Wrap));
        wrapShowsAt4x4 |= plain4x4(extremes) != literalInverse8x8To4x4(extremes, RowSums::Clip);
        wrapShowsAt2x2 |= plain2x2(extremes) != literalInverse8x8To2x2(extremes, RowSums::Clip);
    }
    EXPECT_TRUE(wrapShowsAt4x4);
    EXPECT_FALSE(wrapShowsAt2x2) << "the weights of the quarter size sum to less than 2^31 / 32768";
}

TEST(PlainInverseDctTest, RowFourAndColumnFourHaveNoWeightAtHalfSize) {
    Random generator = seeded(20260);
    for (Block16 const& block : trialBlocks(generator, 100)) {
        Block16 changed = block;
        for (int i = 0; i < 8; ++i) {
            changed[8 * 4 + i] = static_cast<std::int16_t>(generator() & 0xFFFF);
            changed[8 * i + 4] = static_cast<std::int16_t>(generator() & 0xFFFF);
        }
        ASSERT_EQ(plain4x4(changed), plain4x4(block));
    }
}

TEST(PlainInverseDctTest, EvenRowsAndColumnsButTheFirstHaveNoWeightAtQuarterSize) {
    Random generator = seeded(20260);
    for (Block16 const& block : trialBlocks(generator, 100)) {
        Block16 changed = block;
        for (const int even : {2, 4, 6}) {
            for (int i = 0; i < 8; ++i) {
                changed[8 * even + i] = static_cast<std::int16_t>(generator() & 0xFFFF);
                changed[8 * i + even] = static_cast<std::int16_t>(generator() & 0xFFFF);
            }
        }
        ASSERT_EQ(plain2x2(changed), plain2x2(block));
    }
}

TEST(PlainInverseDctTest, OutputsStayInTheirRanges) {
    Random generator = seeded(20260);
    for (Block16 const& block : trialBlocks(generator, 1000)) {
        const auto full = plain8x8(block);
        const auto half = plain4x4(block);
        const auto quarter = plain2x2(block);
        EXPECT_GE(*std::min_element(full.begin(), full.end()), -1024);
        EXPECT_LE(*std::max_element(full.begin(), full.end()), 1023);
        EXPECT_GE(*std::min_element(half.begin(), half.end()), -512);
        EXPECT_LE(*std::max_element(half.begin(), half.end()), 511);
        EXPECT_GE(*std::min_element(quarter.begin(), quarter.end()), -256);
        EXPECT_LE(*std::max_element(quarter.begin(), quarter.end()), 255);
    }
}

TEST(PlainInverseDctTest, TheFloatTransformIsTheOrthonormalOneWithinItsRoundings) {
    // A sample comes out of 13 roundings one after the other, of values that the norm of the block bounds. Each errs by
    // half a unit in the last place at most, 2^-24 of its value, and their signs differ, so they add up to less than
    // two.
    const double unit = std::ldexp(1.0, -24);
    Random generator = seeded(20260);
    double largest = 0.0;
    for (BlockFloat const& block : trialFloatBlocks(generator, 10000, numRounds(3000))) {
        const BlockFloat found = plainFloat(block);
        BlockDouble source = {};
        std::copy(block.begin(), block.end(), source.begin());
        const BlockDouble exact = exactInverse8x8(source);
        for (int i = 0; i < 64; ++i) {
            largest = std::max(largest, std::abs(found[i] - exact[i]) / (unit * std::max(norm(block), 1.0)));
        }
    }
    EXPECT_LE(largest, 2.0);
    std::cout << "largest error: " << largest << " units of 2^-24 of the block's norm\n";
}

TEST(PlainInverseDctTest, TheFixedPointTransformsAreWithinOneOfTheExactOnes) {
    // Half a unit of the last rounding, and less than as much from all that went before.
    Random generator = seeded(20260);
    double largest = 0.0;
    for (std::uint32_t trial = 0; trial < numRounds(5000); ++trial) {
        const Block16 block = moderateBlock(generator);
        BlockDouble source = {};
        std::copy(block.begin(), block.end(), source.begin());
        const BlockDouble exact = exactInverse8x8(source);
        largest = std::max(largest, largestError(plain8x8(block), exact));
        largest = std::max(largest, largestError(plain4x4(block), groupMeans(exact, 2)));
        largest = std::max(largest, largestError(plain2x2(block), groupMeans(exact, 4)));
    }
    EXPECT_LE(largest, 1.0);
    std::cout << "largest error: " << largest << "\n";
}

TEST(PlainInverseDctTest, BatchesEqualSingleBlocks) {
    Random generator = seeded(20260);
    const std::vector<Block16> blocks = trialBlocks(generator, 5);
    std::vector<float> matrix(64);
    for (float& factor : matrix)
        factor = 0.125f * static_cast<float>(generator() % 32513);
    for (Block16 const& block : blocks) {
        BlockFloat dequantised = {};
        for (int i = 0; i < 64; ++i)
            dequantised[i] = static_cast<float>(block[i]) * matrix[i];
        BlockFloat fromBatch = {};
        plain_inverse8x8Blocks(block.data(), matrix.data(), fromBatch.data(), 1);
        ASSERT_EQ(fromBatch, plainFloat(dequantised));

        std::array<std::int16_t, 16> half = {};
        plain_inverse4x4Corners(block.data(), half.data(), 1);
        ASSERT_EQ(half, plain4x4(extendedCorner(block.data(), 4)));
        std::array<std::int16_t, 4> quarter = {};
        plain_inverse2x2Corners(block.data(), quarter.data(), 1);
        ASSERT_EQ(quarter, plain2x2(extendedCorner(block.data(), 2)));
    }
}
