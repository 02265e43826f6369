// Any bytes as a request and a frame: every reduction, coding, depth, stride, target and kernel variant.

#include <cstdint>
#include <span>

#include "FrameMutator.h"
#include "FuzzSupport.h"

const std::size_t kFrameOffset = FuzzRequest::kNumBytes;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const FuzzRequest request = FuzzRequest::from(input);
    if (!isSmallFrame(input.rest()))
        return 0;
    const ExactCopy copy(input.rest());
    const std::span<const std::uint8_t> frame(copy.data(), copy.size());
    decodeInto(frame, request, outputFor(frame, request));
    return 0;
}
