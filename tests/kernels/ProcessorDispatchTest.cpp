#include "ProcessorDispatch.h"

#include <gtest/gtest.h>

#include <cstring>

#include "KernelTestSupport.h"
#include "ProcessorFeatures.h"
#include "VariantSelection.h"

namespace {

// Each test starts in the state before any selection, and leaves the process as it was.
class ProcessorDispatchTest : public testing::Test {
protected:
    void SetUp() override {
        ippJumpIndexForMergedLibs = -1;
        ownFeaturesMask = 7;
        ownFeatures = 0;
        ownFeaturesAreValid = 0;
    }

    // Detection then finds a processor that is not here.
    static void pretendDetected(std::uint64_t features) {
        ownFeatures = features;
        ownFeaturesAreValid = 1;
    }

    static std::uint64_t detected() { return featuresFrom(cpuidSnapshot()); }

private:
    DispatchStateKeeper m_keeper;
};

std::uint64_t letters(const char (&text)[9]) {
    std::uint64_t value = 0;
    std::memcpy(&value, text, sizeof value);
    return value;
}

} // namespace

TEST_F(ProcessorDispatchTest, InitSelectsForTheDetectedFeatures) {
    const VariantSelection expected = variantForRequest(detected(), detected());
    const std::int32_t status = ippInit();
    EXPECT_EQ(ippJumpIndexForMergedLibs, expected.index);
    EXPECT_EQ(ownFeaturesMask, expected.enabledFeatures);
    EXPECT_EQ(ownFeatures, detected());
    EXPECT_NE(ownFeaturesAreValid, 0);
    EXPECT_EQ(status, isGenuineIntel(cpuidSnapshot()) ? expected.status : 20);
}

TEST_F(ProcessorDispatchTest, InitGivesEachProcessorItsVariant) {
    const struct {
        std::uint64_t features;
        std::int32_t index;
    } processors[] = {{0, 0},
                      {0x7, 0},
                      {0xDF, 0},
                      {kAvxProcessor, 1},
                      {kAvx2Processor, 2},
                      {kAvx512Processor, 3},
                      {kAvx512Processor & ~kFeatureAvx512State, 2},
                      {kAvx2Processor & ~kFeatureAvxState, 0}};
    for (auto const& [features, index] : processors) {
        pretendDetected(features);
        ippInit();
        EXPECT_EQ(ippJumpIndexForMergedLibs, index) << std::hex << features;
    }
}

TEST_F(ProcessorDispatchTest, SafeInitDoesWhatInitDoes) {
    ippInit();
    const std::int32_t index = ippJumpIndexForMergedLibs;
    SetUp();
    ippSafeInit();
    EXPECT_EQ(ippJumpIndexForMergedLibs, index);
    EXPECT_GE(index, 0);
}

TEST_F(ProcessorDispatchTest, GetCpuFeaturesStoresTheMaskAndLeafOne) {
    std::uint64_t features = 0;
    std::uint32_t registers[4] = {};
    EXPECT_EQ(ippGetCpuFeatures(&features, registers), 0);
    EXPECT_EQ(features, detected());
    const CpuidRegisters leaf1 = cpuidRegisters(1, 0);
    EXPECT_EQ(registers[0], leaf1.eax);
    EXPECT_EQ(registers[1] & 0x00FFFFFF, leaf1.ebx & 0x00FFFFFF); // the top byte depends on the core
    EXPECT_EQ(registers[2], leaf1.ecx);
    EXPECT_EQ(registers[3], leaf1.edx);
}

TEST_F(ProcessorDispatchTest, GetCpuFeaturesNeedsOnlyTheFirstPointer) {
    std::uint64_t features = 0;
    std::uint32_t registers[4] = {7, 7, 7, 7};
    EXPECT_EQ(ippGetCpuFeatures(&features, nullptr), 0);
    EXPECT_EQ(features, detected());
    EXPECT_EQ(ippGetCpuFeatures(nullptr, registers), -8);
    EXPECT_EQ(registers[0], 7u);
    EXPECT_EQ(ippGetCpuFeatures(nullptr, nullptr), -8);
}

TEST_F(ProcessorDispatchTest, GetCpuFeaturesReadsTheNamedLeaf) {
    std::uint64_t features = letters("getinfoa");
    std::uint32_t registers[4] = {0, 99, 0, 99};
    EXPECT_EQ(ippGetCpuFeatures(&features, registers), 0);
    const CpuidRegisters leaf0 = cpuidRegisters(0, 0);
    EXPECT_EQ(registers[0], leaf0.eax);
    EXPECT_EQ(registers[1], leaf0.ebx);
    EXPECT_EQ(registers[2], leaf0.ecx);
    EXPECT_EQ(registers[3], leaf0.edx);
    EXPECT_EQ(features, detected());
}

TEST_F(ProcessorDispatchTest, GetCpuFeaturesReadsTheNamedSubleaf) {
    if (cpuidRegisters(0, 0).eax < 4)
        GTEST_SKIP() << "this processor has no leaf with subleaves";
    for (const std::uint32_t subleaf : {0u, 1u, 2u}) {
        std::uint64_t features = letters("getinfoa");
        std::uint32_t registers[4] = {4, 0, subleaf, 0};
        EXPECT_EQ(ippGetCpuFeatures(&features, registers), 0);
        EXPECT_EQ(registers[1], cpuidRegisters(4, subleaf).ebx) << subleaf;
        EXPECT_EQ(registers[2], cpuidRegisters(4, subleaf).ecx) << subleaf;
    }
}

TEST_F(ProcessorDispatchTest, EightLettersOfWhichOneIsAnotherDoNotNameALeaf) {
    char text[9] = "getinfoa";
    for (int i = 0; i < 8; ++i) {
        ++text[i];
        std::uint64_t features = letters(text);
        --text[i];
        std::uint32_t registers[4] = {0, 0, 0, 0};
        EXPECT_EQ(ippGetCpuFeatures(&features, registers), 0);
        EXPECT_EQ(registers[0], cpuidRegisters(1, 0).eax) << "letter " << i;
        EXPECT_NE(registers[0], cpuidRegisters(0, 0).eax);
    }
}

TEST_F(ProcessorDispatchTest, DetectionIsRememberedAfterItsFirstUse) {
    std::uint64_t features = 0;
    EXPECT_EQ(ownGetMaskFeatures(&features), 1);
    EXPECT_EQ(features, detected());
    EXPECT_EQ(ownFeatures, detected());
    EXPECT_NE(ownFeaturesAreValid, 0);
    pretendDetected(0x1234);
    EXPECT_EQ(ownGetMaskFeatures(&features), 1);
    EXPECT_EQ(features, 0x1234u);
}

TEST_F(ProcessorDispatchTest, SetCpuFeaturesStoresIndexAndMaskAndReturnsTheStatus) {
    pretendDetected(kAvx512Processor);
    EXPECT_EQ(ippSetCpuFeatures(0x81DF), 0);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 2);
    EXPECT_EQ(ippGetEnabledCpuFeatures(), 0x81DFu);
    EXPECT_EQ(ippSetCpuFeatures(kFeatureAvx), 51);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 1);
    EXPECT_EQ(ippGetEnabledCpuFeatures(), 0x1DFu);
    EXPECT_EQ(ippSetCpuFeatures(0x73081DF), 0);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 3);
}

TEST_F(ProcessorDispatchTest, SetCpuFeaturesWithNothingLeavesIndexZeroMaskOneAndStatus36) {
    EXPECT_EQ(ippSetCpuFeatures(0), 36);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
    EXPECT_EQ(ownFeaturesMask, 1u);
}

TEST_F(ProcessorDispatchTest, WithoutAvxStateTheRequestFallsToIndexZeroWithStatus49) {
    pretendDetected(kAvx2Processor & ~kFeatureAvxState);
    EXPECT_EQ(ippSetCpuFeatures(0x81DF), 49);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
    EXPECT_EQ(ownFeaturesMask, 0xDFu);
}

TEST_F(ProcessorDispatchTest, WithoutAvx512StateTheRequestFallsToIndexTwo) {
    pretendDetected(kAvx512Processor & ~kFeatureAvx512State);
    EXPECT_EQ(ippSetCpuFeatures(0x73081DF), 49);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 2);
    EXPECT_EQ(ownFeaturesMask, 0x81DFu);
}

TEST_F(ProcessorDispatchTest, AHostMayForceAVariantThatTheProcessorLacks) {
    pretendDetected(kAvxProcessor);
    EXPECT_EQ(ippSetCpuFeatures(0x81DF), 49);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 2);
    EXPECT_EQ(ownFeaturesMask, 0x81DFu);
}

TEST_F(ProcessorDispatchTest, ATrustedMaskIsNotCheckedAndTheStoredMaskCountsAsDetected) {
    pretendDetected(0x7);
    ippSetCpuFeaturesMask(0xABC);
    EXPECT_EQ(ippSetCpuFeatures((std::uint64_t{1} << 63) | 0x73081DF), 0);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 3);
    EXPECT_EQ(ownFeaturesMask, 0x73081DFu);
    EXPECT_EQ(ownFeatures, 0xABCu);
    EXPECT_NE(ownFeaturesAreValid, 0);
}

TEST_F(ProcessorDispatchTest, ATrustedMaskOfUnknownBitsHasNoStatusOfItsOwn) {
    const std::uint64_t unknown = std::uint64_t{1} << 40;
    EXPECT_EQ(ippSetCpuFeatures((std::uint64_t{1} << 63) | unknown | 0xDF), 0);
    EXPECT_EQ(ownFeaturesMask, unknown | 0xDF);
    EXPECT_EQ(ippSetCpuFeatures(std::uint64_t{1} << 63), 36);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
    EXPECT_EQ(ownFeaturesMask, 1u);
}

TEST_F(ProcessorDispatchTest, AnUnknownBitThatAHostHasMadeCountAsDetectedHasStatus50) {
    const std::uint64_t unknown = std::uint64_t{1} << 40;
    ippSetCpuFeaturesMask(unknown | 0xDF);
    ippSetCpuFeatures((std::uint64_t{1} << 63) | 0xDF);
    EXPECT_EQ(ippSetCpuFeatures(unknown | 0xDF), 50);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
    EXPECT_EQ(ippSetCpuFeatures((unknown << 1) | 0xDF), 49);
}

TEST_F(ProcessorDispatchTest, TheStoredMaskIsSetAndReturnedWithoutASelection) {
    EXPECT_EQ(ippGetEnabledCpuFeatures(), 7u);
    ippSetCpuFeaturesMask(0xFEDCBA9876543210);
    EXPECT_EQ(ippGetEnabledCpuFeatures(), 0xFEDCBA9876543210u);
    EXPECT_EQ(ippJumpIndexForMergedLibs, -1);
}

TEST_F(ProcessorDispatchTest, AFeatureIsEnabledWhenAllItsBitsAreStored) {
    ippSetCpuFeaturesMask(0x105);
    EXPECT_EQ(ownGetFeature(0x100), 1);
    EXPECT_EQ(ownGetFeature(0x105), 1);
    EXPECT_EQ(ownGetFeature(0x106), 0);
    EXPECT_EQ(ownGetFeature(0x2), 0);
    EXPECT_EQ(ownGetFeature(0), 1);
}

TEST_F(ProcessorDispatchTest, FeaturesToIdxIsTheTableByItself) {
    const struct {
        std::uint64_t features;
        std::int32_t index;
        std::uint64_t result;
        std::int32_t status;
    } rows[] = {
        {0x7300000, 3, 0x73081DF, 51},
        {0x73081DF, 3, 0x73081DF, 0},
        {0xF00000, 2, 0xF081DF, 51},
        {0xF081DF, 2, 0xF081DF, 0},
        {0x8000, 2, 0x81DF, 51},
        {0x81DF, 2, 0x81DF, 0},
        {0x100, 1, 0x1DF, 51},
        {0x1DF, 1, 0x1DF, 0},
        {0x80, 0, 0xDF, 51},
        {0x40, 0, 0x5F, 51},
        {0x20, 0, 0x3F, 51},
        {0x10, 0, 0x1F, 51},
        {0x8, 0, 0xF, 51},
        {0x4, 0, 0x7, 51},
        {0x7, 0, 0x7, 0},
        {0x2, 0, 0x2, 36},
        {0, 0, 0, 36},
    };
    for (auto const& row : rows) {
        std::uint64_t features = row.features;
        std::int32_t index = 99;
        EXPECT_EQ(ownFeaturesToIdx(&features, &index), row.status) << std::hex << row.features;
        EXPECT_EQ(index, row.index) << std::hex << row.features;
        EXPECT_EQ(features, row.result) << std::hex << row.features;
    }
    EXPECT_EQ(ippJumpIndexForMergedLibs, -1);
    EXPECT_EQ(ownFeaturesMask, 7u);
}

TEST_F(ProcessorDispatchTest, SetCpuFeaturesAndIdxLeavesTheProcessIndexAlone) {
    std::int32_t index = 99;
    EXPECT_EQ(ownSetCpuFeaturesAndIdx(0xDF, &index), variantForRequest(0xDF, detected()).status);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(ownFeaturesMask, 0xDFu);
    EXPECT_EQ(ippJumpIndexForMergedLibs, -1);
}

TEST_F(ProcessorDispatchTest, TheInquiriesAgreeWithTheSnapshot) {
    const CpuidSnapshot snapshot = cpuidSnapshot();
    EXPECT_EQ(ipp_has_cpuid(), 1);
    EXPECT_EQ(ipp_is_GenuineIntel(), isGenuineIntel(snapshot) ? 1 : 0);
    EXPECT_EQ(ipp_is_avx_extension(), avxStateEnabled(snapshot) ? 1 : 0);
    EXPECT_EQ(ipp_is_avx512_extension(), avx512StateEnabled(snapshot) ? 1 : 0);
    std::uint32_t registers[4] = {};
    ownGetReg(registers, 0, 0);
    EXPECT_EQ(registers[0], snapshot.leaf0.eax);
    EXPECT_EQ(registers[1], snapshot.leaf0.ebx);
    EXPECT_EQ(registers[2], snapshot.leaf0.ecx);
    EXPECT_EQ(registers[3], snapshot.leaf0.edx);
}
