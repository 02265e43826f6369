#include <array>
#include <bit>
#include <cstdint>
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

// m for mixed material: a single field covers every second line. A region from an odd line on begins with the other
// field.
char interlacingOf(DecodedFrame const& frame) {
    const bool beginsWithOther = frame.request().region.y % 2 != 0;
    return (beginsWithOther ? "pbtm" : "ptbm")[frame.header().interlace_mode];
}

} // namespace

std::vector<std::uint8_t> y4mHeader(DecodedFrame const& frame, OutputOptions const& options) {
    if (frame.request().colorCoding != ColorCoding_YCbCr)
        throw usageError("y4m can have Y'CbCr only; use --coding ycbcr or no --coding");
    // The format has no parameters for these; readers pass over those that begin with X and that they do not know.
    const ColorFields color = colorFieldsOf(frame.header());
    const std::string header = fmt::format(
        "YUV4MPEG2 W{} H{} F{}:{} I{} A1:1 C{} XCOLORRANGE=LIMITED XRAVELOCOLOR={}:{}:{}\n", frame.width(),
        frame.height(), options.frameRate.numerator, options.frameRate.denominator, interlacingOf(frame),
        colorSpaceOf(frame), color.color_primaries, color.transfer_characteristic, color.matrix_coefficients);
    return {header.begin(), header.end()};
}

// Planes as the library delivers them, the low byte of a sample first like on every processor that it runs on.
void writeY4m(DecodedFrame const& frame, OutputOptions const&, ByteSink const& sink) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::array<std::uint8_t, 6> kFrameStart = {'F', 'R', 'A', 'M', 'E', '\n'};
    FilePart part(sink);
    part.append(kFrameStart);
    const std::size_t numPlanes = holdsAlpha(frame) ? 4 : 3;
    for (std::size_t plane = 0; plane < numPlanes; ++plane)
        for (std::uint32_t y = 0; y < frame.height(); ++y)
            part.append(frame.row(y, plane));
    part.flush();
}
