// Frames of any declared size. The other harnesses pass over large pictures, and would hide what overflows beyond their
// bound. The output is address space that nothing is reserved for, with strides up to half a megabyte, so that offsets
// of 34 gigabytes arise in narrow pictures too.
//
// Only the number of slices is bounded, for speed: the largest picture of all belongs to the hostile tests.

#include <cstdint>

#include "BufferRequirements.h"
#include "Frame.h"
#include "FrameMutator.h"
#include "FuzzSupport.h"
#include "GuardedMemory.h"

const std::size_t kFrameOffset = FuzzRequest::kNumBytes;

namespace {

constexpr std::uint64_t kLongestStride = std::uint64_t{65536} * 8;
constexpr std::uint64_t kMaxMacroblocks = 8192;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static GuardedMemory memory(kLongestStride * 65536);
    FuzzInput input(data, size);
    const FuzzRequest request = FuzzRequest::from(input);
    const ExactCopy copy(input.rest());
    const Bitstream frame{copy.data(), copy.size()};
    const BufferRequirements needs = bufferRequirements(frame, request.bitDepth, request.downSampleFactor);
    const PixelBuffer full = Frame::GetFrameInfo(frame, request.bitDepth, 0);
    if ((full.width + 15) / 16 * ((full.height + 15) / 16) > kMaxMacroblocks)
        return 0;

    FuzzOutput output;
    output.stride = static_cast<std::int64_t>(kLongestStride - request.spareBytes);
    const std::uint64_t lineBytes = static_cast<std::uint64_t>(output.stride);
    output.pixels = memory.atEnd(needs.lines * lineBytes);
    if (request.strideIsNegative) {
        output.pixels = memory.atStart() + (needs.lines == 0 ? 0 : needs.lines - 1) * lineBytes;
        output.stride = -output.stride;
    }
    decodeInto({copy.data(), copy.size()}, request, output);
    static unsigned int executions = 0;
    if (++executions % 64 == 0)
        memory.clear();
    return 0;
}
