#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "ColorFields.h"
#include "CommandError.h"
#include "OutputFormat.h"

namespace {

// 4:4:4 with alpha exists with 8 bits only. The alpha of deeper frames is left out.
bool holdsAlpha(DecodedFrame const& frame) {
    return frame.header().hasAlphaOutput() && frame.request().bitDepth <= infoOf(OutputFormat::Y4m).maxAlphaDepth;
}

std::string colorSpaceOf(DecodedFrame const& frame) {
    if (holdsAlpha(frame))
        return "444alpha";
    const std::string chroma = frame.header().is444() ? "444" : "422";
    return frame.request().bitDepth == 8 ? chroma : fmt::format("{}p{}", chroma, frame.request().bitDepth);
}

// m for mixed material: a single field covers every second line.
char interlacingOf(FrameHeader const& header) {
    return "ptbm"[header.interlace_mode];
}

// The samples of one plane as the file has them, the low byte first: those at `first`, `first + step` and so on of
// every line. A line that has no sample there for its last, odd pixel repeats the one before it, or the middle code if
// there is none.
template <typename Sample>
void appendPlane(DecodedFrame const& frame, std::size_t first, std::size_t step, std::size_t samplesPerRow,
                 FilePart& part) {
    const std::size_t decoded = std::size_t{frame.width()} * frame.samplesPerPixel();
    const std::size_t present = decoded <= first ? 0 : std::min((decoded - first + step - 1) / step, samplesPerRow);
    for (std::uint32_t y = 0; y < frame.height(); ++y) {
        const std::uint8_t* const source = frame.row(y).data() + first * sizeof(Sample);
        std::uint8_t* const target = part.room(samplesPerRow * sizeof(Sample)).data();
        auto sample = static_cast<Sample>((frame.maxValue() + 2) / 2);
        for (std::size_t i = 0; i < samplesPerRow; ++i) {
            if (i < present)
                std::memcpy(&sample, source + i * step * sizeof(Sample), sizeof(Sample));
            for (std::size_t byte = 0; byte < sizeof(Sample); ++byte)
                target[i * sizeof(Sample) + byte] = static_cast<std::uint8_t>(sample >> 8 * byte);
        }
    }
}

} // namespace

std::vector<std::uint8_t> y4mHeader(DecodedFrame const& frame, OutputOptions const& options) {
    if (frame.request().colorCoding != ColorCoding_YCbCr)
        throw usageError("y4m can have Y'CbCr only; use --coding ycbcr or no --coding");
    // The format has no parameters for these; readers pass over those that begin with X and that they do not know.
    const ColorFields color = colorFieldsOf(frame.header());
    const std::string header = fmt::format(
        "YUV4MPEG2 W{} H{} F{}:{} I{} A1:1 C{} XCOLORRANGE=LIMITED XRAVELOCOLOR={}:{}:{}\n", frame.width(),
        frame.height(), options.frameRate.numerator, options.frameRate.denominator, interlacingOf(frame.header()),
        colorSpaceOf(frame), color.color_primaries, color.transfer_characteristic, color.matrix_coefficients);
    return {header.begin(), header.end()};
}

void writeY4m(DecodedFrame const& frame, OutputOptions const&, ByteSink const& sink) {
    constexpr std::array<std::uint8_t, 6> kFrameStart = {'F', 'R', 'A', 'M', 'E', '\n'};
    FilePart part(sink);
    part.append(kFrameStart);
    const auto append = frame.bytesPerSample() == 1 ? appendPlane<std::uint8_t> : appendPlane<std::uint16_t>;
    const std::size_t width = frame.width();
    if (frame.samplesPerPixel() == 2) {
        append(frame, 1, 2, width, part);
        append(frame, 0, 4, (width + 1) / 2, part);
        append(frame, 2, 4, (width + 1) / 2, part);
    } else {
        for (std::size_t component = 1; component < 4; ++component)
            append(frame, component, 4, width, part);
        if (holdsAlpha(frame))
            append(frame, 0, 4, width, part);
    }
    part.flush();
}
