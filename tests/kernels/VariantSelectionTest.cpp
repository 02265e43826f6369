#include "VariantSelection.h"

#include <gtest/gtest.h>

#include "KernelTestSupport.h"
#include "ProcessorFeatures.h"

namespace {

constexpr std::uint64_t kSseLadder = 0xDF; // MMX to SSE4.2, without MOVBE

// A row of the selection's table.
struct Rule {
    const char* name;
    std::uint64_t decisive;
    std::int32_t index;
    std::uint64_t required;
};

const Rule kRules[] = {
    {"Avx512FCdBwDqVl", 0x7300000, 3, 0x73081DF}, {"Avx512FCdErPf", 0xF00000, 2, 0xF081DF},
    {"Avx2", std::uint64_t{1} << 15, 2, 0x81DF},  {"Avx", std::uint64_t{1} << 8, 1, 0x1DF},
    {"Sse42", std::uint64_t{1} << 7, 0, 0xDF},    {"Sse41", std::uint64_t{1} << 6, 0, 0x5F},
    {"Movbe", std::uint64_t{1} << 5, 0, 0x3F},    {"Ssse3", std::uint64_t{1} << 4, 0, 0x1F},
    {"Sse3", std::uint64_t{1} << 3, 0, 0xF},      {"Sse2", std::uint64_t{1} << 2, 0, 0x7},
};

class EveryRule : public testing::TestWithParam<Rule> {};

INSTANTIATE_TEST_SUITE_P(VariantSelectionTest, EveryRule, testing::ValuesIn(kRules),
                         [](auto const& rule) { return rule.param.name; });

} // namespace

TEST_P(EveryRule, AloneTakesItsIndexAndImpliesTheRest) {
    const VariantSelection selection = variantFor(GetParam().decisive);
    EXPECT_EQ(selection.index, GetParam().index);
    EXPECT_EQ(selection.enabledFeatures, GetParam().required);
    EXPECT_EQ(selection.status, kStatusLowerFeatureImplied);
}

TEST_P(EveryRule, WithAllThatItImpliesHasStatusZero) {
    const VariantSelection selection = variantFor(GetParam().required);
    EXPECT_EQ(selection.index, GetParam().index);
    EXPECT_EQ(selection.enabledFeatures, GetParam().required);
    EXPECT_EQ(selection.status, kStatusOk);
}

TEST_P(EveryRule, LackingAnyImpliedFeatureSaysSo) {
    for (int bit = 0; bit < 36; ++bit) {
        const std::uint64_t feature = featureBit(bit);
        if ((GetParam().required & feature) == 0 || (GetParam().decisive & feature) != 0)
            continue;
        const VariantSelection selection = variantFor(GetParam().required & ~feature);
        EXPECT_EQ(selection.index, GetParam().index) << bit;
        EXPECT_EQ(selection.enabledFeatures, GetParam().required) << bit;
        EXPECT_EQ(selection.status, kStatusLowerFeatureImplied) << bit;
    }
}

TEST_P(EveryRule, KeepsFeaturesThatItDoesNotImply) {
    const std::uint64_t other = kFeatureAes | kFeatureSha;
    EXPECT_EQ(variantFor(GetParam().required | other).enabledFeatures, GetParam().required | other);
    EXPECT_EQ(variantFor(GetParam().required | other).status, kStatusOk);
}

TEST_P(EveryRule, AnEarlierStatusHasPrecedence) {
    EXPECT_EQ(variantFor(GetParam().decisive, kStatusFeatureMissing).status, kStatusFeatureMissing);
    EXPECT_EQ(variantFor(GetParam().required, kStatusUnknownFeature).status, kStatusUnknownFeature);
}

TEST(VariantSelectionTest, TheHighestRuleThatHoldsWins) {
    std::uint64_t all = 0;
    for (Rule const& rule : kRules)
        all |= rule.decisive;
    for (Rule const& rule : kRules) {
        // With every step from this one down, the result is this step's.
        EXPECT_EQ(variantFor(all).index, rule.index) << rule.name;
        EXPECT_EQ(variantFor(all).enabledFeatures & rule.required, rule.required) << rule.name;
        all &= ~rule.decisive;
        if (rule.index == 3)
            all |= kFeatureAvx512F | kFeatureAvx512Cd; // shared with the next step
    }
}

TEST(VariantSelectionTest, AnyMemberMissingFromAnAvx512GroupLeavesTheNextStep) {
    for (const int bit : {20, 21, 24, 25, 26})
        EXPECT_EQ(variantFor(0x73081DF & ~featureBit(bit)).index, 2) << bit;
    for (const int bit : {20, 21, 22, 23})
        EXPECT_EQ(variantFor((0xF001DF) & ~featureBit(bit)).index, 1) << bit;
}

TEST(VariantSelectionTest, AvxWithoutSse42StillTakesIndexOneAndSaysSo) {
    const VariantSelection selection = variantFor(0x1DF & ~kFeatureSse42);
    EXPECT_EQ(selection.index, 1);
    EXPECT_EQ(selection.status, kStatusLowerFeatureImplied);
    EXPECT_EQ(selection.enabledFeatures, 0x1DFu);
}

TEST(VariantSelectionTest, WithoutAnyFeatureTheIndexIsZeroTheMaskOneAndTheStatus36) {
    const VariantSelection selection = variantFor(0);
    EXPECT_EQ(selection.index, 0);
    EXPECT_EQ(selection.enabledFeatures, 1u);
    EXPECT_EQ(selection.status, kStatusNoUsableFeature);
}

TEST(VariantSelectionTest, BelowSse2TheMaskKeepsSseAndGainsMmx) {
    EXPECT_EQ(variantFor(kFeatureSse).enabledFeatures, kFeatureSse | kFeatureMmx);
    EXPECT_EQ(variantFor(kFeatureMmx).enabledFeatures, kFeatureMmx);
    EXPECT_EQ(variantFor(kFeatureSse).status, kStatusNoUsableFeature);
    EXPECT_EQ(variantFor(kFeatureSse, kStatusFeatureMissing).status, kStatusFeatureMissing);
}

TEST(VariantSelectionTest, AProcessorsOwnFeaturesAreGrantedAsTheyAre) {
    for (const std::uint64_t actual : {kSseLadder, kAvxProcessor, kAvx2Processor, kAvx512Processor}) {
        const VariantSelection selection = variantForRequest(actual, actual);
        EXPECT_EQ(selection.status, kStatusOk) << std::hex << actual;
        EXPECT_EQ(selection.enabledFeatures, actual) << std::hex << actual;
    }
    EXPECT_EQ(variantForRequest(kSseLadder, kSseLadder).index, 0);
    EXPECT_EQ(variantForRequest(kAvxProcessor, kAvxProcessor).index, 1);
    EXPECT_EQ(variantForRequest(kAvx2Processor, kAvx2Processor).index, 2);
    EXPECT_EQ(variantForRequest(kAvx512Processor, kAvx512Processor).index, 3);
}

TEST(VariantSelectionTest, WithoutAvxStateTheAvxFeaturesAreClearedAndTheIndexFallsToZero) {
    const std::uint64_t actual = 0x81DF;
    const VariantSelection selection = variantForRequest(actual, actual);
    EXPECT_EQ(selection.index, 0);
    EXPECT_EQ(selection.status, kStatusFeatureMissing);
    EXPECT_EQ(selection.enabledFeatures, 0xDFu);
}

TEST(VariantSelectionTest, WithoutAvx512StateTheGroupIsClearedAndAvx2Remains) {
    const std::uint64_t actual = kAvx512Processor & ~kFeatureAvx512State;
    const VariantSelection selection = variantForRequest(actual, actual);
    EXPECT_EQ(selection.index, 2);
    EXPECT_EQ(selection.status, kStatusFeatureMissing);
    EXPECT_EQ(selection.enabledFeatures, kAvx2Processor);
}

TEST(VariantSelectionTest, TheClearedGroupIsExactlyTheAvx512Features) {
    const std::uint64_t everything = (std::uint64_t{1} << 36) - 1;
    const std::uint64_t actual = everything & ~kFeatureAvx512State;
    const std::uint64_t cleared = 0xC6FF00000;
    EXPECT_EQ(variantForRequest(actual, actual).enabledFeatures, actual & ~cleared);
}

TEST(VariantSelectionTest, AProcessorWithOnlyTheErPfGroupTakesIndexTwo) {
    const std::uint64_t actual = 0xF081DF | kFeatureAvxState | kFeatureAvx512State;
    EXPECT_EQ(variantForRequest(actual, actual).index, 2);
    EXPECT_EQ(variantForRequest(actual, actual).status, kStatusOk);
}

TEST(VariantSelectionTest, AMissingFeatureIsReportedAndStays) {
    const VariantSelection selection = variantForRequest(kAvx2Processor, kAvxProcessor);
    EXPECT_EQ(selection.index, 2);
    EXPECT_EQ(selection.status, kStatusFeatureMissing);
    EXPECT_EQ(selection.enabledFeatures, kAvx2Processor);
}

TEST(VariantSelectionTest, AFeatureThatIsMissingAndClearedIsNotImpliedBack) {
    const VariantSelection selection = variantForRequest(kFeatureAvx | kFeatureSse2, kSseLadder);
    EXPECT_EQ(selection.index, 0);
    EXPECT_EQ(selection.enabledFeatures, 0x7u);
    EXPECT_EQ(selection.status, kStatusFeatureMissing);
}

TEST(VariantSelectionTest, AnUnknownBitIsReportedWhereDetectionKnowsIt) {
    for (int bit = 36; bit <= 62; ++bit) {
        const std::uint64_t unknown = featureBit(bit);
        const VariantSelection selection = variantForRequest(kSseLadder | unknown, kSseLadder | unknown);
        EXPECT_EQ(selection.status, kStatusUnknownFeature) << bit;
        EXPECT_EQ(selection.index, 0) << bit;
        EXPECT_EQ(selection.enabledFeatures, kSseLadder | unknown) << bit;
    }
}

TEST(VariantSelectionTest, AnUnknownBitThatTheProcessorLacksCountsAsMissing) {
    for (int bit = 36; bit <= 62; ++bit)
        EXPECT_EQ(variantForRequest(kSseLadder | featureBit(bit), kSseLadder).status, kStatusFeatureMissing) << bit;
}

TEST(VariantSelectionTest, KnownBitsAreNotCalledUnknown) {
    for (int bit = 0; bit < 36; ++bit) {
        const std::uint64_t actual = kAvx512Processor | featureBit(bit);
        EXPECT_EQ(variantForRequest(actual, actual).status, kStatusOk) << bit;
    }
}

TEST(VariantSelectionTest, InitReportsStatus20ForEveryOtherMakerWhateverWasSelected) {
    for (const std::int32_t selection : {0, 36, 49, 50, 51}) {
        EXPECT_EQ(statusOfInit(selection, true), selection);
        EXPECT_EQ(statusOfInit(selection, false), 20);
    }
}
