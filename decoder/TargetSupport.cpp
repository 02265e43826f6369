#include "TargetSupport.h"

namespace {

// AVX2, FMA, BMI1, BMI2, LZCNT and POPCNT, and the registers they use.
bool canRunAvx2(CpuidSnapshot const& processor) {
    constexpr std::uint32_t kFma = registerBit(12), kPopcnt = registerBit(23), kOsxsave = registerBit(27),
                            kAvx = registerBit(28);
    constexpr std::uint32_t kBmi1 = registerBit(3), kAvx2 = registerBit(5), kBmi2 = registerBit(8);
    constexpr std::uint32_t kLzcnt = registerBit(5);
    constexpr std::uint32_t kBasic = kFma | kPopcnt | kOsxsave | kAvx;
    constexpr std::uint32_t kStructured = kBmi1 | kAvx2 | kBmi2;
    constexpr std::uint32_t kXmmAndYmm = registerBit(1) | registerBit(2);
    return (processor.leaf1.ecx & kBasic) == kBasic && (processor.leaf7.ebx & kStructured) == kStructured &&
           (processor.leaf80000001.ecx & kLzcnt) != 0 && (processor.xcr0 & kXmmAndYmm) == kXmmAndYmm;
}

} // namespace

OptimizationTarget bestTargetFor(CpuidSnapshot const& processor) {
    return canRunAvx2(processor) ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
}

bool hasHalfConversion(CpuidSnapshot const& processor) {
    constexpr std::uint32_t kF16c = registerBit(29);
    return (processor.leaf1.ecx & kF16c) != 0;
}

bool canConvertHalves() {
    static const bool has = hasHalfConversion(cpuidSnapshot());
    return has;
}
