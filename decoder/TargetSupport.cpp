#include "TargetSupport.h"

namespace {

constexpr std::uint32_t bit(unsigned int n) {
    return 1u << n;
}

// AVX2, FMA, BMI1, BMI2, LZCNT and POPCNT, and the registers they use.
bool canRunAvx2(CpuidSnapshot const& processor) {
    constexpr std::uint32_t kFma = bit(12), kPopcnt = bit(23), kOsxsave = bit(27), kAvx = bit(28);
    constexpr std::uint32_t kBmi1 = bit(3), kAvx2 = bit(5), kBmi2 = bit(8);
    constexpr std::uint32_t kLzcnt = bit(5);
    constexpr std::uint32_t kBasic = kFma | kPopcnt | kOsxsave | kAvx;
    constexpr std::uint32_t kStructured = kBmi1 | kAvx2 | kBmi2;
    constexpr std::uint32_t kXmmAndYmm = bit(1) | bit(2);
    return (processor.leaf1.ecx & kBasic) == kBasic && (processor.leaf7.ebx & kStructured) == kStructured &&
           (processor.leaf80000001.ecx & kLzcnt) != 0 && (processor.xcr0 & kXmmAndYmm) == kXmmAndYmm;
}

} // namespace

OptimizationTarget bestTargetFor(CpuidSnapshot const& processor) {
    return canRunAvx2(processor) ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
}

bool hasHalfConversion(CpuidSnapshot const& processor) {
    constexpr std::uint32_t kF16c = bit(29);
    return (processor.leaf1.ecx & kF16c) != 0;
}

bool canConvertHalves() {
    static const bool has = hasHalfConversion(cpuidSnapshot());
    return has;
}
