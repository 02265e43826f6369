#include "LaneSupport.h"

#include <gtest/gtest.h>

#include "KernelChoice.h"
#include "VariantSelection.h"

namespace {

// A processor that has just what the lanes need beyond AVX2, on a system that saves its registers.
CpuidSnapshot sufficientForLanes() {
    CpuidSnapshot processor;
    processor.leaf7.ebx = 1u << 16 | 1u << 17 | 1u << 28 | 1u << 30 | 1u << 31;
    processor.leaf7.ecx = 1u << 1 | 1u << 6 | 1u << 11;
    processor.xcr0 = 1u << 1 | 1u << 2 | 1u << 5 | 1u << 6 | 1u << 7;
    return processor;
}

// One that scatters fast, too.
CpuidSnapshot scatteringProcessor() {
    CpuidSnapshot processor = sufficientForLanes();
    processor.leaf0.ebx = 0x756E6547; // GenuineIntel
    processor.leaf1.eax = 0x000806F8; // Sapphire Rapids
    return processor;
}

TEST(LaneSupportTest, TheSufficientProcessorRunsLanes) {
    EXPECT_TRUE(canRunLanes(sufficientForLanes()));
}

TEST(LaneSupportTest, EverySingleFeatureIsNeeded) {
    for (const unsigned int bit : {16u, 17u, 28u, 30u, 31u}) {
        CpuidSnapshot processor = sufficientForLanes();
        processor.leaf7.ebx &= ~(1u << bit);
        EXPECT_FALSE(canRunLanes(processor)) << "leaf 7 without bit " << bit << " of EBX";
    }
    for (const unsigned int bit : {1u, 6u, 11u}) {
        CpuidSnapshot processor = sufficientForLanes();
        processor.leaf7.ecx &= ~(1u << bit);
        EXPECT_FALSE(canRunLanes(processor)) << "leaf 7 without bit " << bit << " of ECX";
    }
    for (const unsigned int bit : {1u, 2u, 5u, 6u, 7u}) {
        CpuidSnapshot processor = sufficientForLanes();
        processor.xcr0 &= ~(std::uint64_t{1} << bit);
        EXPECT_FALSE(canRunLanes(processor)) << "XCR0 without bit " << bit;
    }
}

TEST(LaneSupportTest, LanesGoWithTheAvx512VariantOfTheKernels) {
    const CpuidSnapshot scattering = scatteringProcessor();
    EXPECT_EQ(laneFunctionsFor(kVariantK0, scattering)->scan, scanInLanesScattering);
    EXPECT_EQ(laneFunctionsFor(kVariantK0, scattering)->scanAlpha, scanAlphaInLanesScattering);
    EXPECT_EQ(laneFunctionsFor(kVariantK0, sufficientForLanes())->scan, scanInLanesStoringSingly);
    EXPECT_EQ(laneFunctionsFor(kVariantK0, sufficientForLanes())->scanAlpha, scanAlphaInLanesStoringSingly);
    for (const std::int32_t variant : {kVariantNotChosen, kVariantY8, kVariantE9, kVariantL9}) {
        EXPECT_EQ(laneFunctionsFor(variant, scattering), nullptr) << variant;
        EXPECT_EQ(laneFunctionsFor(variant, sufficientForLanes()), nullptr) << variant;
    }
    EXPECT_EQ(laneFunctionsFor(kVariantK0, CpuidSnapshot{}), nullptr);
}

TEST(LaneSupportTest, APictureAsksForTheSelectedVariantAndThisProcessor) {
    const CpuidSnapshot processor = cpuidSnapshot();
    for (Variant const& variant : runnableVariants()) {
        const SelectedVariant selected(variant);
        EXPECT_EQ(laneFunctionsOfPicture(), laneFunctionsFor(variant.index, processor)) << variant.name;
    }
}

} // namespace
