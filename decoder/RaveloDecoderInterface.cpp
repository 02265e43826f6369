#include "RaveloDecoderInterface.h"

#include <atomic>
#include <cpuid.h>

#include "Frame.h"

namespace {

constexpr std::uint32_t bit(unsigned int n) {
    return 1u << n;
}

struct CpuidRegisters {
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// All zero for a leaf that the processor does not have.
CpuidRegisters cpuidLeaf(unsigned int leaf) {
    CpuidRegisters r;
    if (__get_cpuid_count(leaf, 0, &r.eax, &r.ebx, &r.ecx, &r.edx) == 0)
        return {};
    return r;
}

std::uint32_t enabledStateComponents() {
    std::uint32_t low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

// The features that the AVX2 path uses throughout, and the system's support of the wide registers.
bool canRunAvx2() {
    const CpuidRegisters basic = cpuidLeaf(1);
    const CpuidRegisters structured = cpuidLeaf(7);
    const CpuidRegisters extended = cpuidLeaf(0x80000001);
    constexpr std::uint32_t kFma = bit(12), kPopcnt = bit(23), kOsxsave = bit(27), kAvx = bit(28);
    constexpr std::uint32_t kBmi1 = bit(3), kAvx2 = bit(5), kBmi2 = bit(8);
    constexpr std::uint32_t kLzcnt = bit(5);
    constexpr std::uint32_t kBasic = kFma | kPopcnt | kOsxsave | kAvx;
    constexpr std::uint32_t kStructured = kBmi1 | kAvx2 | kBmi2;
    constexpr std::uint32_t kXmmAndYmm = bit(1) | bit(2);
    if ((basic.ecx & kBasic) != kBasic || (structured.ebx & kStructured) != kStructured || (extended.ecx & kLzcnt) == 0)
        return false;
    return (enabledStateComponents() & kXmmAndYmm) == kXmmAndYmm;
}

constexpr std::uint32_t kDetected = 1;
constexpr std::uint32_t kAvx2Usable = 2;

// Zero until the first test. The test always gives the same word, so threads that race to store it do no harm.
std::atomic<std::uint32_t> s_processorFeatures{0};

bool avx2Usable() {
    std::uint32_t features = s_processorFeatures.load(std::memory_order_relaxed);
    if (features == 0) {
        features = kDetected | (canRunAvx2() ? kAvx2Usable : 0);
        s_processorFeatures.store(features, std::memory_order_relaxed);
    }
    return (features & kAvx2Usable) != 0;
}

} // namespace

int RaveloDecoderInterface::DecompressFrameFromBits(const std::uint8_t* data, std::uint64_t size,
                                                    std::uint32_t downSampleFactor, ColorCoding colorCoding,
                                                    std::uint32_t bitDepth, void* pixels, std::int64_t lineStride,
                                                    OptimizationTarget target) {
    const bool wantsAvx2 = static_cast<int>(target) > 0;
    const OptimizationTarget resolved =
        wantsAvx2 && avx2Usable() ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
    const Frame frame(Bitstream{data, size}, colorCoding, bitDepth, pixels, lineStride, resolved, downSampleFactor);
    return 1;
}

int RaveloDecoderInterface::GetMaxOptType() {
    return avx2Usable() ? 1 : 0;
}
