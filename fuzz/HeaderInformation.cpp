// The header information and the buffer requirements, against a reading of the same fields byte by byte.

#include <cstdint>

#include "BufferRequirements.h"
#include "Frame.h"
#include "FrameMutator.h"
#include "FuzzSupport.h"

const std::size_t kFrameOffset = FuzzRequest::kNumBytes;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const FuzzRequest request = FuzzRequest::from(input);
    const ExactCopy copy(input.rest());
    const auto byteAt = [&copy](std::size_t i) { return i < copy.size() ? copy.data()[i] : 0u; };
    const std::uint64_t width = byteAt(16) * 256 + byteAt(17);
    const std::uint64_t height = byteAt(18) * 256 + byteAt(19);
    const std::uint32_t samples = byteAt(20) >= 0xC0 ? 4 : 2;
    const std::uint64_t pixelBytes = samples * (request.bitDepth == 8 ? 1u : 2u);

    const Bitstream frame{copy.data(), copy.size()};
    const PixelBuffer info = Frame::GetFrameInfo(frame, request.bitDepth, request.downSampleFactor);
    require(info.width == width >> request.downSampleFactor, "width");
    require(info.height == height >> request.downSampleFactor, "height");
    require(info.samplesPerPixel == samples, "samplesPerPixel");
    require(info.bitDepth == request.bitDepth, "bitDepth");
    require(info.downSampleFactor == request.downSampleFactor, "downSampleFactor");
    require(info.alpha_channel_type == byteAt(25) % 16, "alpha_channel_type");
    require(info.pixels == nullptr, "no pixels");
    require(static_cast<std::uint64_t>(info.lineStride) == info.width * pixelBytes, "lineStride");

    const BufferRequirements needs = bufferRequirements(frame, request.bitDepth, request.downSampleFactor);
    require(needs.leastStride == info.width * pixelBytes, "leastStride");
    require(needs.safeStride >= needs.leastStride, "safeStride is no less");
    require(needs.safeStride <= (width + 15) / 16 * 16 * pixelBytes, "safeStride is no more than whole macroblocks");
    require(needs.lines >= info.height && needs.lines <= info.height + 2, "lines");
    require(needs.bytes == needs.lines * needs.safeStride, "bytes");
    return 0;
}
