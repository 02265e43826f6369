#pragma once

#include <cstdint>

// What a processor and its operating system offer, as a mask of kNumFeatureBits bits.
//
// Detection is split in two: reading the registers, which only the present processor can answer, and making the mask
// from them, which is a pure function and can be asked about any processor.

struct CpuidRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

constexpr std::uint32_t registerBit(unsigned int n) {
    return 1u << n;
}

// The registers that detection uses. A leaf that the processor does not have stays zero.
struct CpuidSnapshot {
    CpuidRegisters leaf0;
    CpuidRegisters leaf1;
    CpuidRegisters leaf7;        // read only when leaf 0 reports a maximum of at least 7
    CpuidRegisters leaf80000000; // reports the largest extended leaf
    CpuidRegisters leaf80000001; // read only when leaf 0x80000000 reports at least that
    std::uint64_t xcr0 = 0;      // register states that the system saves; read only when leaf 1 says that it can be
};

constexpr std::uint32_t kExtendedLeafBase = 0x80000000;
constexpr std::uint32_t kExtendedFeatureLeaf = 0x80000001;

// Single features of the mask.
constexpr std::uint64_t featureBit(int bit) {
    return std::uint64_t{1} << bit;
}

constexpr std::uint64_t kFeatureMmx = featureBit(0);
constexpr std::uint64_t kFeatureSse = featureBit(1);
constexpr std::uint64_t kFeatureSse2 = featureBit(2);
constexpr std::uint64_t kFeatureSse3 = featureBit(3);
constexpr std::uint64_t kFeatureSsse3 = featureBit(4);
constexpr std::uint64_t kFeatureMovbe = featureBit(5);
constexpr std::uint64_t kFeatureSse41 = featureBit(6);
constexpr std::uint64_t kFeatureSse42 = featureBit(7);
constexpr std::uint64_t kFeatureAvx = featureBit(8);
constexpr std::uint64_t kFeatureAvxState = featureBit(9); // the system saves the 256-bit registers
constexpr std::uint64_t kFeatureAes = featureBit(10);
constexpr std::uint64_t kFeaturePclmulqdq = featureBit(11);
constexpr std::uint64_t kFeatureRdrand = featureBit(13); // bit 12 is never set
constexpr std::uint64_t kFeatureF16c = featureBit(14);
constexpr std::uint64_t kFeatureAvx2 = featureBit(15); // AVX2 together with FMA, BMI1 and BMI2
constexpr std::uint64_t kFeatureAdx = featureBit(16);
constexpr std::uint64_t kFeatureRdseed = featureBit(17);
constexpr std::uint64_t kFeaturePrefetchw = featureBit(18);
constexpr std::uint64_t kFeatureSha = featureBit(19);
constexpr std::uint64_t kFeatureAvx512F = featureBit(20);
constexpr std::uint64_t kFeatureAvx512Cd = featureBit(21);
constexpr std::uint64_t kFeatureAvx512Er = featureBit(22);
constexpr std::uint64_t kFeatureAvx512Pf = featureBit(23);
constexpr std::uint64_t kFeatureAvx512Bw = featureBit(24);
constexpr std::uint64_t kFeatureAvx512Dq = featureBit(25);
constexpr std::uint64_t kFeatureAvx512Vl = featureBit(26);
constexpr std::uint64_t kFeatureAvx512Vbmi = featureBit(27);
constexpr std::uint64_t kFeatureMpx = featureBit(28);
constexpr std::uint64_t kFeatureAvx5124Fmaps = featureBit(29);
constexpr std::uint64_t kFeatureAvx5124Vnniw = featureBit(30);
constexpr std::uint64_t kFeatureFamilyModelB1 = featureBit(31); // one family and model, identified by its signature
constexpr std::uint64_t kFeatureAvx512Ifma = featureBit(32);
constexpr std::uint64_t kFeatureAvx512State = featureBit(33); // the system saves the 512-bit registers
constexpr std::uint64_t kFeatureAvx512Vpopcntdq = featureBit(34);
constexpr std::uint64_t kFeatureAvx512Bitalg = featureBit(35);
constexpr int kNumFeatureBits = 36;

// Levels, each with all features of the ones before it. MOVBE belongs to none, since there are processors with SSE4.2
// without it.
constexpr std::uint64_t kFeaturesUpToSse2 = kFeatureMmx | kFeatureSse | kFeatureSse2;
constexpr std::uint64_t kFeaturesUpToSse3 = kFeaturesUpToSse2 | kFeatureSse3;
constexpr std::uint64_t kFeaturesUpToSsse3 = kFeaturesUpToSse3 | kFeatureSsse3;
constexpr std::uint64_t kFeaturesUpToSse41 = kFeaturesUpToSsse3 | kFeatureSse41;
constexpr std::uint64_t kFeaturesUpToSse42 = kFeaturesUpToSse41 | kFeatureSse42;
constexpr std::uint64_t kFeaturesUpToAvx = kFeaturesUpToSse42 | kFeatureAvx;
constexpr std::uint64_t kFeaturesUpToAvx2 = kFeaturesUpToAvx | kFeatureAvx2;

// The two groups in which processors have AVX-512.
constexpr std::uint64_t kFeaturesAvx512CdBwDqVl =
    kFeatureAvx512F | kFeatureAvx512Cd | kFeatureAvx512Bw | kFeatureAvx512Dq | kFeatureAvx512Vl;
constexpr std::uint64_t kFeaturesAvx512CdErPf =
    kFeatureAvx512F | kFeatureAvx512Cd | kFeatureAvx512Er | kFeatureAvx512Pf;
constexpr std::uint64_t kFeaturesUpToAvx512 = kFeaturesUpToAvx2 | kFeaturesAvx512CdBwDqVl;

// The registers of one leaf of the present processor. Those of a processor without such registers are made up in its
// folder, so that they lead to the variant that it runs.
CpuidRegisters cpuidRegisters(std::uint32_t leaf, std::uint32_t subleaf);

// All values of the present processor that detection needs.
CpuidSnapshot cpuidSnapshot();

// The feature mask of the processor that the snapshot describes. Only the two state bits and AVX-512 F depend on
// what the system saves; the others say what the processor has.
std::uint64_t featuresFrom(CpuidSnapshot const& snapshot);

bool avxStateEnabled(CpuidSnapshot const& snapshot);
bool avx512StateEnabled(CpuidSnapshot const& snapshot);
bool isGenuineIntel(CpuidSnapshot const& snapshot);
