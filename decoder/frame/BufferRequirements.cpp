#include "BufferRequirements.h"

#include <algorithm>

#include "Frame.h"
#include "OutputForm.h"

namespace {

// The lines of the output that a picture of an eighth-size 4:2:2 frame reaches.
std::uint64_t linesOfEighthSize422(FrameHeader const& header, TemporalOrder order) {
    const std::uint64_t lines = header.linesOfPicture(order);
    if (lines == 0)
        return 0;
    const std::uint64_t lastMbRow = (lines - 1) / 16;
    const std::uint64_t lastLine = std::max(2 * lastMbRow + 1, lines / 8) - 1;
    return header.firstLineOfPicture(order) + header.lineStepOfPicture() * lastLine + 1;
}

std::uint64_t linesOfEighthSize422(FrameHeader const& header) {
    const std::uint64_t lines = linesOfEighthSize422(header, TemporalOrder::First);
    return header.hasSecondPicture() ? std::max(lines, linesOfEighthSize422(header, TemporalOrder::Second)) : lines;
}

} // namespace

BufferRequirements bufferRequirements(Bitstream const& frameBits, std::uint32_t bitDepth,
                                      std::uint32_t downSampleFactor) {
    const FrameHeader header = FrameHeader::frame_header(frameBits);
    const PixelBuffer info = Frame::GetFrameInfo(frameBits, bitDepth, downSampleFactor);
    const std::uint64_t bytesPerPixel = std::uint64_t{info.samplesPerPixel} * bytesPerSample(bitDepth);
    const std::uint64_t mbSize = writtenMbSize(downSampleFactor, bitDepth);

    BufferRequirements requirements;
    requirements.leastStride = info.width * bytesPerPixel;
    requirements.safeStride = requirements.leastStride;
    if (downSampleFactor != 0)
        requirements.safeStride = std::max(requirements.safeStride, header.widthInMb() * mbSize * bytesPerPixel);
    requirements.lines = info.height;
    if (downSampleFactor == 3 && bitDepth <= 8 && !header.is444())
        requirements.lines = std::max(requirements.lines, linesOfEighthSize422(header));
    requirements.bytes = requirements.lines * requirements.safeStride;
    return requirements;
}
