#include "ProcessorFeatures.h"

#include <gtest/gtest.h>

#include "VariantSelection.h"

namespace {

constexpr std::uint32_t bit(int index) {
    return std::uint32_t{1} << index;
}

// A processor that has every leaf and not one feature.
CpuidSnapshot bareProcessor() {
    CpuidSnapshot snapshot;
    snapshot.leaf0.eax = 7;
    snapshot.leaf80000000.eax = 0x80000001;
    return snapshot;
}

// A row of the mask's table that follows a single bit of a register.
struct SingleSource {
    int featureBitIndex;
    CpuidRegisters CpuidSnapshot::*leaf;
    std::uint32_t CpuidRegisters::*reg;
    int registerBit;
};

constexpr auto kLeaf1 = &CpuidSnapshot::leaf1;
constexpr auto kLeaf7 = &CpuidSnapshot::leaf7;
constexpr auto kEbx = &CpuidRegisters::ebx;
constexpr auto kEcx = &CpuidRegisters::ecx;
constexpr auto kEdx = &CpuidRegisters::edx;

const SingleSource kSingleSources[] = {
    {0, kLeaf1, kEdx, 23},  {1, kLeaf1, kEdx, 25},  {2, kLeaf1, kEdx, 26},  {3, kLeaf1, kEcx, 0},
    {4, kLeaf1, kEcx, 9},   {5, kLeaf1, kEcx, 22},  {6, kLeaf1, kEcx, 19},  {7, kLeaf1, kEcx, 20},
    {8, kLeaf1, kEcx, 28},  {10, kLeaf1, kEcx, 25}, {11, kLeaf1, kEcx, 1},  {13, kLeaf1, kEcx, 30},
    {14, kLeaf1, kEcx, 29}, {16, kLeaf7, kEbx, 19}, {17, kLeaf7, kEbx, 18}, {18, &CpuidSnapshot::leaf80000001, kEcx, 8},
    {19, kLeaf7, kEbx, 29}, {21, kLeaf7, kEbx, 28}, {22, kLeaf7, kEbx, 27}, {23, kLeaf7, kEbx, 26},
    {24, kLeaf7, kEbx, 30}, {25, kLeaf7, kEbx, 17}, {26, kLeaf7, kEbx, 31}, {27, kLeaf7, kEcx, 1},
    {28, kLeaf7, kEbx, 14}, {29, kLeaf7, kEdx, 3},  {30, kLeaf7, kEdx, 2},  {32, kLeaf7, kEbx, 21},
    {34, kLeaf7, kEcx, 14}, {35, kLeaf7, kEcx, 12},
};

constexpr std::uint32_t kOsxsave = bit(27);
constexpr std::uint32_t kAvx = bit(28);
constexpr std::uint32_t kFma = bit(12);
constexpr std::uint32_t kAvx2 = bit(5);
constexpr std::uint32_t kBmi1 = bit(3);
constexpr std::uint32_t kBmi2 = bit(8);
constexpr std::uint64_t kAvxStates = 0x6;
constexpr std::uint64_t kAvx512States = 0xE0;

CpuidSnapshot avx2Processor() {
    CpuidSnapshot snapshot = bareProcessor();
    snapshot.leaf1.edx = bit(23) | bit(25) | bit(26);
    snapshot.leaf1.ecx = bit(0) | bit(9) | bit(19) | bit(20) | bit(22) | kFma | kOsxsave | kAvx;
    snapshot.leaf7.ebx = kAvx2 | kBmi1 | kBmi2;
    snapshot.xcr0 = kAvxStates | 1;
    return snapshot;
}

CpuidSnapshot avx512Processor() {
    CpuidSnapshot snapshot = avx2Processor();
    snapshot.leaf7.ebx |= bit(16) | bit(28) | bit(30) | bit(17) | bit(31);
    snapshot.xcr0 |= kAvx512States;
    return snapshot;
}

VariantSelection selectionOn(CpuidSnapshot const& snapshot) {
    return variantForRequest(featuresFrom(snapshot), featuresFrom(snapshot));
}

} // namespace

TEST(ProcessorFeaturesTest, ABareProcessorHasNoFeature) {
    EXPECT_EQ(featuresFrom(bareProcessor()), 0u);
}

TEST(ProcessorFeaturesTest, EachSingleRegisterBitSetsItsFeatureAndNoOther) {
    for (SingleSource const& source : kSingleSources) {
        CpuidSnapshot snapshot = bareProcessor();
        snapshot.*source.leaf.*source.reg = bit(source.registerBit);
        EXPECT_EQ(featuresFrom(snapshot), featureBit(source.featureBitIndex)) << source.featureBitIndex;
    }
}

TEST(ProcessorFeaturesTest, EveryRegisterBitElsewhereSetsNothing) {
    CpuidSnapshot all = bareProcessor();
    for (auto leaf : {kLeaf1, kLeaf7, &CpuidSnapshot::leaf80000001}) {
        for (auto reg : {kEbx, kEcx, kEdx})
            all.*leaf.*reg = 0xFFFFFFFF;
    }
    for (SingleSource const& source : kSingleSources)
        all.*source.leaf.*source.reg &= ~bit(source.registerBit);
    all.leaf7.ebx &= ~kAvx2; // half of what makes bit 15
    EXPECT_EQ(featuresFrom(all), 0u);
}

TEST(ProcessorFeaturesTest, WithEveryRegisterBitOnlyBitTwelveIsMissing) {
    CpuidSnapshot all = bareProcessor();
    for (auto leaf : {kLeaf1, kLeaf7, &CpuidSnapshot::leaf80000001})
        all.*leaf = {0x00000B10, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    all.xcr0 = ~std::uint64_t{0};
    EXPECT_EQ(featuresFrom(all), ((std::uint64_t{1} << 36) - 1) & ~featureBit(12));
}

TEST(ProcessorFeaturesTest, AvxStateNeedsProcessorAndSystem) {
    CpuidSnapshot snapshot = bareProcessor();
    snapshot.leaf1.ecx = kOsxsave | kAvx;
    snapshot.xcr0 = kAvxStates;
    EXPECT_EQ(featuresFrom(snapshot), kFeatureAvx | kFeatureAvxState);
    for (const std::uint64_t states : {0x0, 0x2, 0x4}) {
        snapshot.xcr0 = states;
        EXPECT_EQ(featuresFrom(snapshot), kFeatureAvx) << states;
    }
    snapshot.xcr0 = kAvxStates;
    snapshot.leaf1.ecx = kAvx;
    EXPECT_EQ(featuresFrom(snapshot), kFeatureAvx);
    snapshot.leaf1.ecx = kOsxsave;
    EXPECT_EQ(featuresFrom(snapshot), 0u);
}

TEST(ProcessorFeaturesTest, Avx512StateNeedsAllThreeRegisterStates) {
    CpuidSnapshot snapshot = bareProcessor();
    snapshot.leaf1.ecx = kOsxsave;
    snapshot.xcr0 = kAvx512States;
    EXPECT_EQ(featuresFrom(snapshot), kFeatureAvx512State);
    for (const std::uint64_t missing : {0x20, 0x40, 0x80}) {
        snapshot.xcr0 = kAvx512States & ~missing;
        EXPECT_EQ(featuresFrom(snapshot), 0u) << missing;
    }
    snapshot.xcr0 = kAvx512States;
    snapshot.leaf1.ecx = 0;
    EXPECT_EQ(featuresFrom(snapshot), 0u);
}

TEST(ProcessorFeaturesTest, Avx512FNeedsTheSystem) {
    CpuidSnapshot snapshot = bareProcessor();
    snapshot.leaf7.ebx = bit(16);
    EXPECT_EQ(featuresFrom(snapshot), 0u);
    snapshot.leaf1.ecx = kOsxsave;
    snapshot.xcr0 = kAvx512States;
    EXPECT_EQ(featuresFrom(snapshot), kFeatureAvx512F | kFeatureAvx512State);
}

TEST(ProcessorFeaturesTest, Avx2NeedsFmaAndBothBitManipulationSets) {
    EXPECT_NE(featuresFrom(avx2Processor()) & kFeatureAvx2, 0u);
    for (const std::uint32_t missing : {kAvx2, kBmi1, kBmi2}) {
        CpuidSnapshot snapshot = avx2Processor();
        snapshot.leaf7.ebx &= ~missing;
        EXPECT_EQ(featuresFrom(snapshot) & kFeatureAvx2, 0u) << missing;
    }
    CpuidSnapshot withoutFma = avx2Processor();
    withoutFma.leaf1.ecx &= ~kFma;
    EXPECT_EQ(featuresFrom(withoutFma) & kFeatureAvx2, 0u);
}

TEST(ProcessorFeaturesTest, Leaf7IsLookedAtOnlyWhereItExists) {
    CpuidSnapshot snapshot = avx512Processor();
    snapshot.leaf7 = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    snapshot.leaf0.eax = 6;
    const std::uint64_t fromLeaf7 =
        kFeatureAvx2 | 0x7FFB0000 | kFeatureAvx512Ifma | kFeatureAvx512Vpopcntdq | kFeatureAvx512Bitalg;
    EXPECT_EQ(featuresFrom(snapshot) & fromLeaf7, 0u);
    snapshot.leaf0.eax = 7;
    EXPECT_EQ(featuresFrom(snapshot) & fromLeaf7, fromLeaf7);
}

TEST(ProcessorFeaturesTest, TheExtendedLeafIsLookedAtOnlyWhereItExists) {
    CpuidSnapshot snapshot = bareProcessor();
    snapshot.leaf80000001.ecx = bit(8);
    snapshot.leaf80000000.eax = 0x80000000;
    EXPECT_EQ(featuresFrom(snapshot), 0u);
    snapshot.leaf80000000.eax = 0x80000008;
    EXPECT_EQ(featuresFrom(snapshot), kFeaturePrefetchw);
}

TEST(ProcessorFeaturesTest, TheSignatureOfOneFamilyAndModelSetsItsBit) {
    CpuidSnapshot snapshot = bareProcessor();
    for (const std::uint32_t signature : {0x00000B10u, 0x000A0B1Fu, 0xFFFFFB1Fu}) {
        snapshot.leaf1.eax = signature;
        EXPECT_EQ(featuresFrom(snapshot), kFeatureFamilyModelB1) << std::hex << signature;
    }
    for (const std::uint32_t signature : {0x00000B00u, 0x00000B30u, 0x00000A10u, 0x00000010u}) {
        snapshot.leaf1.eax = signature;
        EXPECT_EQ(featuresFrom(snapshot), 0u) << std::hex << signature;
    }
}

TEST(ProcessorFeaturesTest, TheMakerIsRecognisedByAllTwelveLetters) {
    CpuidSnapshot snapshot;
    snapshot.leaf0 = {7, 0x756E6547, 0x6C65746E, 0x49656E69}; // "Genu", "ntel", "ineI"
    EXPECT_TRUE(isGenuineIntel(snapshot));
    for (auto reg : {kEbx, kEcx, kEdx}) {
        CpuidSnapshot other = snapshot;
        other.leaf0.*reg ^= 1;
        EXPECT_FALSE(isGenuineIntel(other));
    }
}

TEST(ProcessorFeaturesTest, Avx2AndFmaWithoutBmi2TakeIndexOne) {
    CpuidSnapshot snapshot = avx2Processor();
    snapshot.leaf7.ebx &= ~kBmi2;
    EXPECT_EQ(selectionOn(snapshot).index, 1);
    EXPECT_EQ(selectionOn(avx2Processor()).index, 2);
}

TEST(ProcessorFeaturesTest, AvxWithoutTheSystemFallsToIndexZeroWithStatus49) {
    CpuidSnapshot snapshot = avx2Processor();
    snapshot.xcr0 = 0x3;
    EXPECT_EQ(selectionOn(snapshot).index, 0);
    EXPECT_EQ(selectionOn(snapshot).status, 49);
    EXPECT_EQ(selectionOn(snapshot).enabledFeatures & (kFeatureAvx | kFeatureAvx2), 0u);
}

TEST(ProcessorFeaturesTest, Avx512WithoutTheSystemTakesIndexTwo) {
    EXPECT_EQ(selectionOn(avx512Processor()).index, 3);
    EXPECT_EQ(selectionOn(avx512Processor()).status, 0);
    CpuidSnapshot snapshot = avx512Processor();
    snapshot.xcr0 = kAvxStates | 1;
    EXPECT_EQ(selectionOn(snapshot).index, 2);
    EXPECT_EQ(selectionOn(snapshot).status, 49);
}

TEST(ProcessorFeaturesTest, TheErPfGroupAloneTakesIndexTwo) {
    CpuidSnapshot snapshot = avx512Processor();
    snapshot.leaf7.ebx = kAvx2 | kBmi1 | kBmi2 | bit(16) | bit(28) | bit(27) | bit(26);
    EXPECT_EQ(selectionOn(snapshot).index, 2);
}
