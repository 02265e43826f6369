#include "RaveloDecoderInterface.h"

#include <atomic>

#include "Avx2Support.h"
#include "Frame.h"

namespace {

constexpr std::uint32_t kDetected = 1;
constexpr std::uint32_t kAvx2Usable = 2;

// Zero until the first test. The test always gives the same word, so threads that race to store it do no harm.
std::atomic<std::uint32_t> s_processorFeatures{0};

bool avx2Usable() {
    std::uint32_t features = s_processorFeatures.load(std::memory_order_relaxed);
    if (features == 0) {
        features = kDetected | (canRunAvx2(processorRegisters()) ? kAvx2Usable : 0);
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
