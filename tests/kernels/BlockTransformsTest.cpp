#include "BlockTransforms.h"

#include <gtest/gtest.h>

#include "InverseDct.h"
#include "KernelTestSupport.h"
#include "ProcessorDispatch.h"
#include "Random.h"

namespace {

using BlockTransformsTest = EveryVariant;

INSTANTIATE_TEST_SUITE_P(Every, BlockTransformsTest, testing::ValuesIn(kKernelVariants), variantTestName);

constexpr std::size_t kNumBlocks = 13;

std::vector<std::int16_t> randomValues(Random& generator, std::size_t count) {
    std::vector<std::int16_t> values(count);
    for (std::int16_t& value : values)
        value = static_cast<std::int16_t>(generator() & 0xFFFF);
    return values;
}

} // namespace

TEST_P(BlockTransformsTest, FloatBatchesGiveWhatThePublicTransformGives) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    Random generator = seeded(20260);
    const std::vector<std::int16_t> coefficients = randomValues(generator, 64 * kNumBlocks);
    BlockFloat matrix = {};
    for (float& factor : matrix)
        factor = 0.125f * static_cast<float>(generator() % 2000);
    std::vector<float> samples(64 * kNumBlocks);
    inverse8x8Blocks(coefficients.data(), matrix.data(), samples.data(), kNumBlocks);
    for (std::size_t block = 0; block < kNumBlocks; ++block) {
        BlockFloat dequantised = {};
        for (std::size_t i = 0; i < 64; ++i)
            dequantised[i] = static_cast<float>(coefficients[64 * block + i]) * matrix[i];
        BlockFloat expected = {};
        ASSERT_EQ(ippiDCT8x8Inv_32f_C1(dequantised.data(), expected.data()), 0);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), samples.data() + 64 * block)) << block;
    }
}

TEST_P(BlockTransformsTest, CornerBatchesGiveWhatThePublicTransformsGive) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    Random generator = seeded(20260);
    const std::vector<std::int16_t> corners = randomValues(generator, 16 * kNumBlocks);
    std::vector<std::int16_t> half(16 * kNumBlocks);
    std::vector<std::int16_t> quarter(4 * kNumBlocks);
    inverse4x4Corners(corners.data(), half.data(), kNumBlocks);
    inverse2x2Corners(corners.data(), quarter.data(), kNumBlocks);
    for (std::size_t block = 0; block < kNumBlocks; ++block) {
        std::array<std::int16_t, 16> expected = {};
        ippiDCT8x8To4x4Inv_16s_C1(extendedCorner(corners.data() + 16 * block, 4).data(), expected.data());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), half.data() + 16 * block)) << block;
        ippiDCT8x8To2x2Inv_16s_C1(extendedCorner(corners.data() + 4 * block, 2).data(), expected.data());
        EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 4, quarter.data() + 4 * block)) << block;
    }
}

TEST_P(BlockTransformsTest, NoBlocksMeansNoWriting) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    const BlockFloat matrix = {};
    const Block16 source = {};
    float sample = 7.0f;
    std::int16_t sample16 = 7;
    inverse8x8Blocks(source.data(), matrix.data(), &sample, 0);
    inverse4x4Corners(source.data(), &sample16, 0);
    inverse2x2Corners(source.data(), &sample16, 0);
    EXPECT_EQ(sample, 7.0f);
    EXPECT_EQ(sample16, 7);
}

TEST_P(BlockTransformsTest, AZeroMatrixGivesFlatZeros) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    Random generator = seeded(20260);
    const std::vector<std::int16_t> coefficients = randomValues(generator, 64 * 3);
    const BlockFloat matrix = {};
    std::vector<float> samples(64 * 3, 7.0f);
    inverse8x8Blocks(coefficients.data(), matrix.data(), samples.data(), 3);
    EXPECT_EQ(samples, std::vector<float>(64 * 3, 0.0f));
}
