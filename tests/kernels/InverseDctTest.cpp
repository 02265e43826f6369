#include "InverseDct.h"

#include <gtest/gtest.h>

#include "KernelTestSupport.h"
#include "LiteralInverseDct.h"
#include "ProcessorDispatch.h"
#include "Random.h"

namespace {

using InverseDctTest = EveryVariant;

INSTANTIATE_TEST_SUITE_P(Every, InverseDctTest, testing::ValuesIn(kKernelVariants), variantTestName);

// The float entry's result on a block on which the fused variants differ from the plain ones.
BlockFloat publicInverse(BlockFloat const& block) {
    BlockFloat out = {};
    EXPECT_EQ(ippiDCT8x8Inv_32f_C1(block.data(), out.data()), 0);
    return out;
}

} // namespace

TEST_P(InverseDctTest, TheEntriesRunTheVariantThatWasForced) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    ASSERT_EQ(ippJumpIndexForMergedLibs, GetParam().index);

    Random generator = seeded(20260);
    for (BlockFloat const& block : trialFloatBlocks(generator, 10000, 200)) {
        BlockFloat expected = {};
        ASSERT_EQ(GetParam().inverse8x8Float(block.data(), expected.data()), 0);
        ASSERT_EQ(publicInverse(block), expected);
    }
    for (Block16 const& block : trialBlocks(generator, 200)) {
        Block16 full = {};
        ASSERT_EQ(ippiDCT8x8Inv_A10_16s_C1(block.data(), full.data()), 0);
        ASSERT_EQ(full, literalInverse8x8(block));
        std::array<std::int16_t, 16> half = {};
        ASSERT_EQ(ippiDCT8x8To4x4Inv_16s_C1(block.data(), half.data()), 0);
        ASSERT_EQ(half, literalInverse8x8To4x4(block));
        std::array<std::int16_t, 4> quarter = {};
        ASSERT_EQ(ippiDCT8x8To2x2Inv_16s_C1(block.data(), quarter.data()), 0);
        ASSERT_EQ(quarter, literalInverse8x8To2x2(block));
    }
}

TEST_P(InverseDctTest, TheEntriesRefuseNullPointers) {
    const DispatchStateKeeper keeper;
    ASSERT_EQ(ippSetCpuFeatures(GetParam().features), 0);
    BlockFloat samples = {};
    Block16 samples16 = {};
    EXPECT_EQ(ippiDCT8x8Inv_32f_C1(nullptr, samples.data()), -8);
    EXPECT_EQ(ippiDCT8x8Inv_32f_C1(samples.data(), nullptr), -8);
    for (const auto entry : {ippiDCT8x8Inv_A10_16s_C1, ippiDCT8x8To4x4Inv_16s_C1, ippiDCT8x8To2x2Inv_16s_C1}) {
        EXPECT_EQ(entry(nullptr, samples16.data()), -8);
        EXPECT_EQ(entry(samples16.data(), nullptr), -8);
    }
}

TEST(InverseDctForcingTest, TheVariantsCanBeToldApartByTheirFloatResults) {
    KernelVariant const& l9 = kKernelVariants[kVariantL9];
    if (!isRunnable(l9))
        GTEST_SKIP() << "this processor cannot run l9";
    const DispatchStateKeeper keeper;
    Random generator = seeded(20260);
    const BlockFloat block = trialFloatBlocks(generator, 10000, 1)[0];
    ASSERT_EQ(ippSetCpuFeatures(kKernelVariants[kVariantY8].features), 0);
    const BlockFloat plain = publicInverse(block);
    ASSERT_EQ(ippSetCpuFeatures(l9.features), 0);
    EXPECT_NE(publicInverse(block), plain);
}
