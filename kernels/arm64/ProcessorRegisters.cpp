#include "ProcessorFeatures.h"

// An ARM processor shows itself as one of class y8, whose code it runs: by the registers of an x86 processor with
// SSE4.2 and nothing later, of which it has all that y8 uses. So detection gives the mask 0xDF, the same on every ARM
// processor, and the calls of the dispatch act as they do there.

namespace {

constexpr std::uint32_t kMmx = registerBit(23), kSse = registerBit(25), kSse2 = registerBit(26); // EDX
constexpr std::uint32_t kSse3 = registerBit(0), kSsse3 = registerBit(9), kSse41 = registerBit(19),
                        kSse42 = registerBit(20); // ECX

// The largest leaf, and the name "AArch64 y8  ", four letters each in EBX, EDX and ECX.
constexpr CpuidRegisters kLeaf0 = {1, 0x63724141, 0x20203879, 0x20343668};
constexpr CpuidRegisters kLeaf1 = {0, 0, kSse3 | kSsse3 | kSse41 | kSse42, kMmx | kSse | kSse2};
constexpr CpuidRegisters kLeaf80000000 = {kExtendedLeafBase, 0, 0, 0};

} // namespace

CpuidRegisters cpuidRegisters(std::uint32_t leaf, std::uint32_t) {
    switch (leaf) {
    case 0:
        return kLeaf0;
    case 1:
        return kLeaf1;
    case kExtendedLeafBase:
        return kLeaf80000000;
    default:
        return {};
    }
}

CpuidSnapshot cpuidSnapshot() {
    CpuidSnapshot snapshot;
    snapshot.leaf0 = kLeaf0;
    snapshot.leaf1 = kLeaf1;
    snapshot.leaf80000000 = kLeaf80000000;
    return snapshot;
}
