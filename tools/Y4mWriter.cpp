#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

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

class PlaneWriter {
public:
    explicit PlaneWriter(DecodedFrame const& frame) : m_frame(frame) {}

    // The samples at `first`, `first + step` and so on of every line. With `roundUp` a line that has no sample there
    // for its last, odd pixel repeats the one before it, or the middle code if there is none.
    void append(std::size_t first, std::size_t step, std::size_t samplesPerRow) {
        for (std::uint32_t y = 0; y < m_frame.height(); ++y) {
            m_frame.widenRow(y, m_row);
            std::uint16_t sample = static_cast<std::uint16_t>((m_frame.maxValue() + 2) / 2);
            for (std::size_t i = 0; i < samplesPerRow; ++i) {
                if (first + i * step < m_row.size())
                    sample = m_row[first + i * step];
                append(sample);
            }
        }
    }

    std::vector<std::uint8_t> bytes;

private:
    void append(std::uint16_t sample) {
        bytes.push_back(static_cast<std::uint8_t>(sample));
        if (m_frame.bytesPerSample() == 2)
            bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
    }

    DecodedFrame const& m_frame;
    std::vector<std::uint16_t> m_row;
};

} // namespace

std::vector<std::uint8_t> y4mHeader(DecodedFrame const& frame, FrameRate const& rate) {
    if (frame.request().colorCoding != ColorCoding_YCbCr)
        throw usageError("y4m can have Y'CbCr only; use --coding ycbcr or no --coding");
    const std::string header =
        fmt::format("YUV4MPEG2 W{} H{} F{}:{} I{} A1:1 C{} XCOLORRANGE=LIMITED\n", frame.width(), frame.height(),
                    rate.numerator, rate.denominator, interlacingOf(frame.header()), colorSpaceOf(frame));
    return {header.begin(), header.end()};
}

std::vector<std::uint8_t> y4mPicture(DecodedFrame const& frame) {
    constexpr std::string_view kFrameStart = "FRAME\n";
    PlaneWriter writer(frame);
    writer.bytes.reserve(kFrameStart.size() + std::size_t{frame.rowBytes()} * frame.height());
    writer.bytes.assign(kFrameStart.begin(), kFrameStart.end());
    const std::size_t width = frame.width();
    if (frame.samplesPerPixel() == 2) {
        writer.append(1, 2, width);
        writer.append(0, 4, (width + 1) / 2);
        writer.append(2, 4, (width + 1) / 2);
        return std::move(writer.bytes);
    }
    for (std::size_t component = 1; component < 4; ++component)
        writer.append(component, 4, width);
    if (holdsAlpha(frame))
        writer.append(0, 4, width);
    return std::move(writer.bytes);
}
