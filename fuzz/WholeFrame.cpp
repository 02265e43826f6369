// Any bytes as a frame, at full size in 8 bits, on both targets.

#include <cstdint>
#include <span>

#include "FrameMutator.h"
#include "FuzzSupport.h"

const std::size_t kFrameOffset = 0;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> frame(data, size);
    if (!isSmallFrame(frame))
        return 0;
    const ExactCopy copy(frame);
    FuzzRequest request;
    for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
        request.target = target;
        decodeInto({copy.data(), copy.size()}, request, outputFor(frame, request));
    }
    return 0;
}
