#include "KernelVariants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "KernelTestSupport.h"
#include "LiteralInverseDct.h"
#include "PlainInverseDct.h"
#include "Random.h"

namespace {

using KernelVariantsTest = EveryVariant;

INSTANTIATE_TEST_SUITE_P(Every, KernelVariantsTest, testing::ValuesIn(kKernelVariants), variantTestName);
INSTANTIATE_TEST_SUITE_P(Emulated, KernelVariantsTest, testing::ValuesIn(emulatedVariants()), variantTestName);

std::vector<KernelVariant> plainVariants() {
    std::vector<KernelVariant> plain;
    for (KernelVariant const& variant : kKernelVariants) {
        if (!variant.isFused)
            plain.push_back(variant);
    }
    return plain;
}

class PlainArithmeticVariantsTest : public EveryVariant {};

INSTANTIATE_TEST_SUITE_P(Every, PlainArithmeticVariantsTest, testing::ValuesIn(plainVariants()), variantTestName);

BlockFloat inverse(KernelVariant const& variant, BlockFloat const& block) {
    BlockFloat out = {};
    EXPECT_EQ(variant.inverse8x8Float(block.data(), out.data()), 0);
    return out;
}

BlockFloat plainInverse(BlockFloat const& block) {
    BlockFloat out = {};
    plain_dct_8x8_inv_32f(block.data(), out.data());
    return out;
}

// Equality of bits, which distinguishes the two zeros.
bool sameBits(BlockFloat const& a, BlockFloat const& b) {
    return std::memcmp(a.data(), b.data(), sizeof a) == 0;
}

double largestDifference(BlockFloat const& a, BlockFloat const& b) {
    double largest = 0.0;
    for (int i = 0; i < 64; ++i)
        largest = std::max(largest, std::abs(double{a[i]} - double{b[i]}));
    return largest;
}

} // namespace

TEST_P(KernelVariantsTest, FixedPointTransformsGiveThePlainBits) {
    Random generator = seeded(20260);
    for (Block16 const& block : trialBlocks(generator, numRounds(5000))) {
        Block16 full = {};
        ASSERT_EQ(GetParam().inverse8x8(block.data(), full.data()), 0);
        ASSERT_EQ(full, literalInverse8x8(block));
        std::array<std::int16_t, 16> half = {};
        ASSERT_EQ(GetParam().inverse8x8To4x4(block.data(), half.data()), 0);
        ASSERT_EQ(half, literalInverse8x8To4x4(block));
        std::array<std::int16_t, 4> quarter = {};
        ASSERT_EQ(GetParam().inverse8x8To2x2(block.data(), quarter.data()), 0);
        ASSERT_EQ(quarter, literalInverse8x8To2x2(block));
    }
}

TEST_P(PlainArithmeticVariantsTest, TheFloatTransformGivesThePlainBits) {
    Random generator = seeded(20260);
    for (const int limit : {10, 10000, 10000000}) {
        for (BlockFloat const& block : trialFloatBlocks(generator, limit, numRounds(3000)))
            ASSERT_TRUE(sameBits(inverse(GetParam(), block), plainInverse(block)));
    }
}

TEST_P(KernelVariantsTest, TheFloatTransformIsWithinFourThousandthsOfThePlainOne) {
    // Two units in the last place of samples up to 32768, for coefficients of ordinary range.
    Random generator = seeded(20260);
    double largest = 0.0;
    for (BlockFloat const& block : trialFloatBlocks(generator, 10000, numRounds(10000)))
        largest = std::max(largest, largestDifference(inverse(GetParam(), block), plainInverse(block)));
    EXPECT_LE(largest, 0.004);
    std::cout << "largest difference: " << largest << "\n";
}

TEST_P(KernelVariantsTest, AFloatDcIsDividedByEightExactly) {
    for (const float dc : {800.0f, 0.1f, -3.7f, 32767.0f, -1.0e9f}) {
        for (const float sample : inverse(GetParam(), BlockFloat{dc}))
            EXPECT_EQ(sample, dc * 0.125f);
    }
}

TEST_P(KernelVariantsTest, AnAllZeroBlockGivesPositiveZeros) {
    EXPECT_TRUE(sameBits(inverse(GetParam(), BlockFloat{}), BlockFloat{}));
}

TEST_P(KernelVariantsTest, NullPointersAreRefusedAndNothingIsWritten) {
    const BlockFloat source = {1.0f};
    BlockFloat samples;
    samples.fill(7.0f);
    const BlockFloat untouched = samples;
    EXPECT_EQ(GetParam().inverse8x8Float(nullptr, samples.data()), -8);
    EXPECT_EQ(GetParam().inverse8x8Float(source.data(), nullptr), -8);
    EXPECT_EQ(GetParam().inverse8x8Float(nullptr, nullptr), -8);
    EXPECT_EQ(samples, untouched);

    const Block16 source16 = blockWithDc(800);
    Block16 samples16;
    samples16.fill(7);
    const Block16 untouched16 = samples16;
    for (const auto entry : {GetParam().inverse8x8, GetParam().inverse8x8To4x4, GetParam().inverse8x8To2x2}) {
        EXPECT_EQ(entry(nullptr, samples16.data()), -8);
        EXPECT_EQ(entry(source16.data(), nullptr), -8);
        EXPECT_EQ(entry(nullptr, nullptr), -8);
        EXPECT_EQ(samples16, untouched16);
    }
}

TEST_P(KernelVariantsTest, AlignmentIsOfNoConsequenceAndNothingBesideIsWritten) {
    Random generator = seeded(20260);
    const BlockFloat block = trialFloatBlocks(generator, 1000, 1)[0];
    const BlockFloat expected = inverse(GetParam(), block);
    for (std::size_t shift = 0; shift < 16; ++shift) {
        std::vector<float> source(64 + 16, -1.0f);
        std::vector<float> samples(64 + 17, 7.0f);
        std::copy(block.begin(), block.end(), source.begin() + static_cast<std::ptrdiff_t>(shift));
        ASSERT_EQ(GetParam().inverse8x8Float(source.data() + shift, samples.data() + shift), 0);
        for (std::size_t i = 0; i < samples.size(); ++i)
            ASSERT_EQ(samples[i], i >= shift && i < shift + 64 ? expected[i - shift] : 7.0f) << shift << ", " << i;
    }
}

TEST_P(KernelVariantsTest, FixedPointTransformsWriteExactlyTheirSamples) {
    const Block16 block = blockWithDc(800);
    const struct {
        int (*entry)(const std::int16_t*, std::int16_t*);
        std::size_t numSamples;
    } entries[] = {{GetParam().inverse8x8, 64}, {GetParam().inverse8x8To4x4, 16}, {GetParam().inverse8x8To2x2, 4}};
    for (auto const& [entry, numSamples] : entries) {
        for (std::size_t shift = 0; shift < 8; ++shift) {
            std::vector<std::int16_t> source(64 + 8, 0);
            std::copy(block.begin(), block.end(), source.begin() + static_cast<std::ptrdiff_t>(shift));
            std::vector<std::int16_t> samples(64 + 9, 7);
            ASSERT_EQ(entry(source.data() + shift, samples.data() + shift), 0);
            for (std::size_t i = 0; i < samples.size(); ++i)
                ASSERT_EQ(samples[i], i >= shift && i < shift + numSamples ? 100 : 7) << numSamples << ", " << i;
        }
    }
}

TEST_P(KernelVariantsTest, FloatBatchesEqualSingleBlocksBitForBit) {
    Random generator = seeded(20260);
    const std::vector<Block16> blocks = trialBlocks(generator, 40);
    for (std::size_t numBlocks = 0; numBlocks <= 19; ++numBlocks) {
        for (std::size_t first = 0; first + numBlocks <= blocks.size(); first += 20) {
            BlockFloat matrix = {};
            for (float& factor : matrix)
                factor = 0.125f * static_cast<float>(generator() % 256 * (generator() % 637));
            std::vector<std::int16_t> coefficients;
            for (std::size_t block = first; block < first + numBlocks; ++block)
                coefficients.insert(coefficients.end(), blocks[block].begin(), blocks[block].end());
            std::vector<float> samples(64 * numBlocks + 1, 7.0f);
            GetParam().inverse8x8Blocks(coefficients.data(), matrix.data(), samples.data(), numBlocks);
            ASSERT_EQ(samples.back(), 7.0f);
            for (std::size_t block = 0; block < numBlocks; ++block) {
                BlockFloat dequantised = {};
                for (int i = 0; i < 64; ++i)
                    dequantised[i] = static_cast<float>(blocks[first + block][i]) * matrix[i];
                BlockFloat found = {};
                std::copy_n(samples.data() + 64 * block, 64, found.data());
                ASSERT_TRUE(sameBits(found, inverse(GetParam(), dequantised))) << block << " of " << numBlocks;
            }
        }
    }
}

TEST_P(KernelVariantsTest, CornerBatchesEqualSingleBlocksBitForBit) {
    Random generator = seeded(20260);
    const struct {
        void (*batch)(const std::int16_t*, std::int16_t*, std::size_t);
        int (*single)(const std::int16_t*, std::int16_t*);
        int side;
    } sizes[] = {{GetParam().inverse4x4Corners, GetParam().inverse8x8To4x4, 4},
                 {GetParam().inverse2x2Corners, GetParam().inverse8x8To2x2, 2}};
    for (auto const& [batch, single, side] : sizes) {
        const auto perBlock = static_cast<std::size_t>(side * side);
        for (std::size_t numBlocks = 0; numBlocks <= 35; ++numBlocks) {
            for (Block16 const& seed : trialBlocks(generator, 2)) {
                std::vector<std::int16_t> corners(perBlock * numBlocks);
                for (std::size_t i = 0; i < corners.size(); ++i)
                    corners[i] = static_cast<std::int16_t>(seed[i % 64] ^ static_cast<std::int16_t>(i / 64));
                std::vector<std::int16_t> samples(corners.size() + 1, 7);
                batch(corners.data(), samples.data(), numBlocks);
                ASSERT_EQ(samples.back(), 7);
                for (std::size_t block = 0; block < numBlocks; ++block) {
                    std::array<std::int16_t, 16> expected = {};
                    single(extendedCorner(corners.data() + perBlock * block, side).data(), expected.data());
                    ASSERT_TRUE(
                        std::equal(expected.begin(), expected.begin() + side * side, samples.data() + perBlock * block))
                        << side << ": " << block << " of " << numBlocks;
                }
            }
        }
    }
}

namespace {

void checkSameBits(KernelVariant const& l9, KernelVariant const& k0) {
    if (!isRunnable(l9) || !isRunnable(k0))
        GTEST_SKIP() << "this processor cannot run both " << l9.name << " and " << k0.name;
    Random generator = seeded(20260);
    for (BlockFloat const& block : trialFloatBlocks(generator, 10000, 1000))
        ASSERT_TRUE(sameBits(inverse(l9, block), inverse(k0, block)));
}

} // namespace

TEST(FusedVariantsTest, TheTwoFusedVariantsGiveTheSameBits) {
    checkSameBits(kKernelVariants[kVariantL9], kKernelVariants[kVariantK0]);
}

TEST(FusedVariantsTest, TheAvx512VariantGivesTheSameBitsOnEmulatedVectors) {
    if (emulatedVariants().empty())
        GTEST_SKIP() << "nothing is emulated for this processor";
    for (KernelVariant const& variant : emulatedVariants())
        checkSameBits(kKernelVariants[kVariantL9], variant);
}
