#include "ProcessorFeatures.h"

#include <cstddef>

namespace {

constexpr int kLeaf1EcxFma = 12;
constexpr int kLeaf1EcxOsxsave = 27; // the system has enabled XGETBV
constexpr int kLeaf1EcxAvx = 28;

bool bitIsSet(std::uint64_t value, int bit) {
    return (value >> bit & 1) != 0;
}

bool bitsAreSet(std::uint64_t value, std::uint64_t bits) {
    return (value & bits) == bits;
}

// One row of the detection table: a bit of the mask that follows one bit of one register.
struct FeatureSource {
    std::uint64_t feature;
    int registerBit;
};

template <std::size_t count>
std::uint64_t featuresOf(std::uint32_t registerValue, const FeatureSource (&sources)[count]) {
    std::uint64_t features = 0;
    for (FeatureSource const& source : sources) {
        if (bitIsSet(registerValue, source.registerBit))
            features |= source.feature;
    }
    return features;
}

constexpr FeatureSource kLeaf1Edx[] = {{kFeatureMmx, 23}, {kFeatureSse, 25}, {kFeatureSse2, 26}};

constexpr FeatureSource kLeaf1Ecx[] = {
    {kFeatureSse3, 0}, {kFeatureSsse3, 9}, {kFeatureMovbe, 22},    {kFeatureSse41, 19},  {kFeatureSse42, 20},
    {kFeatureAvx, 28}, {kFeatureAes, 25},  {kFeaturePclmulqdq, 1}, {kFeatureRdrand, 30}, {kFeatureF16c, 29},
};

constexpr FeatureSource kLeaf7Ebx[] = {
    {kFeatureAdx, 19},      {kFeatureRdseed, 18},   {kFeatureSha, 29},        {kFeatureAvx512Cd, 28},
    {kFeatureAvx512Er, 27}, {kFeatureAvx512Pf, 26}, {kFeatureAvx512Bw, 30},   {kFeatureAvx512Dq, 17},
    {kFeatureAvx512Vl, 31}, {kFeatureMpx, 14},      {kFeatureAvx512Ifma, 21},
};

constexpr FeatureSource kLeaf7Ecx[] = {
    {kFeatureAvx512Vbmi, 1}, {kFeatureAvx512Vpopcntdq, 14}, {kFeatureAvx512Bitalg, 12}};

constexpr FeatureSource kLeaf7Edx[] = {{kFeatureAvx5124Fmaps, 3}, {kFeatureAvx5124Vnniw, 2}};

constexpr FeatureSource kExtendedEcx[] = {{kFeaturePrefetchw, 8}};

std::uint64_t leaf1Features(CpuidRegisters const& leaf1) {
    std::uint64_t features = featuresOf(leaf1.edx, kLeaf1Edx) | featuresOf(leaf1.ecx, kLeaf1Ecx);
    if ((leaf1.eax & 0xFF0) == 0xB10)
        features |= kFeatureFamilyModelB1;
    return features;
}

std::uint64_t leaf7Features(CpuidSnapshot const& snapshot) {
    CpuidRegisters const& leaf7 = snapshot.leaf7;
    std::uint64_t features =
        featuresOf(leaf7.ebx, kLeaf7Ebx) | featuresOf(leaf7.ecx, kLeaf7Ecx) | featuresOf(leaf7.edx, kLeaf7Edx);
    const std::uint32_t avx2WithBmi = 1u << 5 | 1u << 3 | 1u << 8;
    if (bitsAreSet(leaf7.ebx, avx2WithBmi) && bitIsSet(snapshot.leaf1.ecx, kLeaf1EcxFma))
        features |= kFeatureAvx2;
    if (bitIsSet(leaf7.ebx, 16) && avx512StateEnabled(snapshot))
        features |= kFeatureAvx512F;
    return features;
}

} // namespace

bool avxStateEnabled(CpuidSnapshot const& snapshot) {
    const std::uint32_t leaf1Needs = 1u << kLeaf1EcxOsxsave | 1u << kLeaf1EcxAvx;
    const std::uint64_t statesNeeded = 1u << 1 | 1u << 2; // 128-bit registers, upper halves of the 256-bit ones
    return bitsAreSet(snapshot.leaf1.ecx, leaf1Needs) && bitsAreSet(snapshot.xcr0, statesNeeded);
}

bool avx512StateEnabled(CpuidSnapshot const& snapshot) {
    // Mask registers, upper halves of the first sixteen 512-bit registers, all of the other sixteen.
    const std::uint64_t statesNeeded = 1u << 5 | 1u << 6 | 1u << 7;
    return bitIsSet(snapshot.leaf1.ecx, kLeaf1EcxOsxsave) && bitsAreSet(snapshot.xcr0, statesNeeded);
}

bool isGenuineIntel(CpuidSnapshot const& snapshot) {
    // The twelve letters are in EBX, EDX and ECX, four each, the first in the lowest byte.
    constexpr std::uint32_t kGenu = 0x756E6547, kIneI = 0x49656E69, kNtel = 0x6C65746E;
    return snapshot.leaf0.ebx == kGenu && snapshot.leaf0.edx == kIneI && snapshot.leaf0.ecx == kNtel;
}

std::uint64_t featuresFrom(CpuidSnapshot const& snapshot) {
    std::uint64_t features = leaf1Features(snapshot.leaf1);
    if (avxStateEnabled(snapshot))
        features |= kFeatureAvxState;
    if (avx512StateEnabled(snapshot))
        features |= kFeatureAvx512State;
    if (snapshot.leaf0.eax >= 7)
        features |= leaf7Features(snapshot);
    if (snapshot.leaf80000000.eax >= kExtendedFeatureLeaf)
        features |= featuresOf(snapshot.leaf80000001.ecx, kExtendedEcx);
    return features;
}
