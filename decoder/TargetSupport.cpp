#include "TargetSupport.h"

#include <cpuid.h>

namespace {

constexpr std::uint32_t bit(unsigned int n) {
    return 1u << n;
}

constexpr std::uint32_t kOsxsave = bit(27);

// AVX2, FMA, BMI1, BMI2, LZCNT and POPCNT, and the registers they use.
bool canRunAvx2(ProcessorRegisters const& registers) {
    constexpr std::uint32_t kFma = bit(12), kPopcnt = bit(23), kAvx = bit(28);
    constexpr std::uint32_t kBmi1 = bit(3), kAvx2 = bit(5), kBmi2 = bit(8);
    constexpr std::uint32_t kLzcnt = bit(5);
    constexpr std::uint32_t kBasic = kFma | kPopcnt | kOsxsave | kAvx;
    constexpr std::uint32_t kStructured = kBmi1 | kAvx2 | kBmi2;
    constexpr std::uint32_t kXmmAndYmm = bit(1) | bit(2);
    return (registers.basicEcx & kBasic) == kBasic && (registers.structuredEbx & kStructured) == kStructured &&
           (registers.extendedEcx & kLzcnt) != 0 && (registers.enabledState & kXmmAndYmm) == kXmmAndYmm;
}

} // namespace

ProcessorRegisters processorRegisters() {
    ProcessorRegisters registers;
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0)
        registers.basicEcx = ecx;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0)
        registers.structuredEbx = ebx;
    if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0)
        registers.extendedEcx = ecx;
    if ((registers.basicEcx & kOsxsave) != 0) {
        std::uint32_t high;
        __asm__ volatile("xgetbv" : "=a"(registers.enabledState), "=d"(high) : "c"(0));
    }
    return registers;
}

OptimizationTarget bestTargetFor(ProcessorRegisters const& registers) {
    return canRunAvx2(registers) ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
}

bool hasHalfConversion(ProcessorRegisters const& registers) {
    constexpr std::uint32_t kF16c = bit(29);
    return (registers.basicEcx & kF16c) != 0;
}

bool canConvertHalves() {
    static const bool has = hasHalfConversion(processorRegisters());
    return has;
}
