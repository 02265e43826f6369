#include "BufferRequirements.h"

#include <algorithm>

#include "Frame.h"

namespace {

// The interlace mode stands in bits 3 and 2 of byte 12 of the header, behind the 8 bytes of the outer words.
constexpr std::uint64_t kInterlaceModeOffset = 8 + 12;

// The lines of the output that an eighth-size 4:2:2 picture of `pictureLines` lines reaches, when it starts on
// `firstLine` and takes every `step`-th line.
std::uint64_t linesOfEighthSize422(std::uint64_t pictureLines, std::uint64_t firstLine, std::uint64_t step) {
    if (pictureLines == 0)
        return 0;
    const std::uint64_t lastMbRow = (pictureLines - 1) / 16;
    const std::uint64_t lastLine = std::max(2 * lastMbRow + 1, pictureLines / 8) - 1;
    return firstLine + step * lastLine + 1;
}

std::uint64_t linesOfEighthSize422(std::uint64_t frameLines, std::uint32_t interlace_mode) {
    const std::uint64_t oddLines = frameLines / 2;
    const std::uint64_t evenLines = frameLines - oddLines;
    if (interlace_mode == 0)
        return linesOfEighthSize422(frameLines, 0, 1);
    if (interlace_mode == 3)
        return linesOfEighthSize422(oddLines, 0, 2);
    return std::max(linesOfEighthSize422(evenLines, 0, 2), linesOfEighthSize422(oddLines, 1, 2));
}

} // namespace

BufferRequirements bufferRequirements(Bitstream const& frameBits, std::uint32_t bitDepth,
                                      std::uint32_t downSampleFactor) {
    const PixelBuffer full = Frame::GetFrameInfo(frameBits, bitDepth, 0);
    const PixelBuffer info = Frame::GetFrameInfo(frameBits, bitDepth, downSampleFactor);
    const std::uint64_t bytesPerPixel = std::uint64_t{info.samplesPerPixel} * (bitDepth > 8 ? 2 : 1);
    const std::uint64_t widthInMb = (full.width + 15) / 16;
    const std::uint64_t mbSize = bitDepth > 8 ? 16 : downSampleFactor < 5 ? 16u >> downSampleFactor : 0;

    BufferRequirements requirements;
    requirements.leastStride = info.width * bytesPerPixel;
    requirements.safeStride = requirements.leastStride;
    if (downSampleFactor != 0)
        requirements.safeStride = std::max(requirements.safeStride, widthInMb * mbSize * bytesPerPixel);
    requirements.lines = info.height;
    if (downSampleFactor == 3 && bitDepth <= 8 && info.samplesPerPixel == 2) {
        const std::uint32_t interlace_mode = frameBits.byteAt(kInterlaceModeOffset) >> 2 & 3;
        requirements.lines = std::max(requirements.lines, linesOfEighthSize422(full.height, interlace_mode));
    }
    requirements.bytes = requirements.lines * requirements.safeStride;
    return requirements;
}
