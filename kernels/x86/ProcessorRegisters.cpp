#include <cpuid.h>

#include "ProcessorFeatures.h"

namespace {

constexpr std::uint32_t kOsxsave = registerBit(27); // of leaf 1, ECX: the system has enabled XGETBV

// XCR0, encoded by hand: the instruction's intrinsic wants a unit that is compiled for processors with XSAVE.
std::uint64_t enabledStates() {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return std::uint64_t{high} << 32 | low;
}

CpuidSnapshot readSnapshot() {
    CpuidSnapshot snapshot;
    snapshot.leaf0 = cpuidRegisters(0, 0);
    snapshot.leaf1 = cpuidRegisters(1, 0);
    if (snapshot.leaf0.eax >= 7)
        snapshot.leaf7 = cpuidRegisters(7, 0);
    snapshot.leaf80000000 = cpuidRegisters(kExtendedLeafBase, 0);
    if (snapshot.leaf80000000.eax >= kExtendedFeatureLeaf)
        snapshot.leaf80000001 = cpuidRegisters(kExtendedFeatureLeaf, 0);
    if ((snapshot.leaf1.ecx & kOsxsave) != 0)
        snapshot.xcr0 = enabledStates();
    return snapshot;
}

} // namespace

CpuidRegisters cpuidRegisters(std::uint32_t leaf, std::uint32_t subleaf) {
    CpuidRegisters registers;
    __cpuid_count(leaf, subleaf, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

// Read once: a hypervisor takes microseconds for each register.
CpuidSnapshot cpuidSnapshot() {
    static const CpuidSnapshot snapshot = readSnapshot();
    return snapshot;
}
