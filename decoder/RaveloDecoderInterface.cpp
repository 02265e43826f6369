#include "RaveloDecoderInterface.h"

#include <algorithm>
#include <atomic>

#include "Frame.h"
#include "TargetSupport.h"

namespace {

// The best target's number, below zero until the first test. The test always gives the same number, so threads that
// race to store it do no harm.
std::atomic<int> s_bestTarget{-1};

int bestTarget() {
    int best = s_bestTarget.load(std::memory_order_relaxed);
    if (best < 0) {
        best = static_cast<int>(bestTargetFor(cpuidSnapshot()));
        s_bestTarget.store(best, std::memory_order_relaxed);
    }
    return best;
}

} // namespace

int RaveloDecoderInterface::DecompressFrameFromBits(const std::uint8_t* data, std::uint64_t size,
                                                    std::uint32_t downSampleFactor, ColorCoding colorCoding,
                                                    std::uint32_t bitDepth, void* pixels, std::int64_t lineStride,
                                                    OptimizationTarget target) {
    // Baseline runs without any test.
    const int wanted = static_cast<int>(target);
    const auto resolved = static_cast<OptimizationTarget>(wanted <= 0 ? 0 : std::min(wanted, bestTarget()));
    const Frame frame(Bitstream{data, size}, colorCoding, bitDepth, pixels, lineStride, resolved, downSampleFactor);
    return 1;
}

int RaveloDecoderInterface::GetMaxOptType() {
    return bestTarget();
}
