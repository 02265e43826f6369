#include "SliceReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>

#include "ColorMatrix.h"
#include "DamageReport.h"

namespace {

using Rgb = std::array<double, 3>; // codes of 8 bits

constexpr Rgb kFailedColor = {255, 0, 255};
// From the least to the largest value.
constexpr std::array<Rgb, 5> kScale = {{{40, 60, 220}, {0, 180, 220}, {60, 200, 60}, {250, 220, 40}, {225, 30, 30}}};
// The brightness of black, whose colour must be visible too.
constexpr double kLeastBrightness = 0.3;

Rgb colorAt(double place) {
    const double scaled = place * (kScale.size() - 1);
    const std::size_t below = std::min(static_cast<std::size_t>(scaled), kScale.size() - 2);
    const double weight = scaled - static_cast<double>(below);
    Rgb color;
    for (std::size_t i = 0; i < color.size(); ++i)
        color[i] = kScale[below][i] * (1 - weight) + kScale[below + 1][i] * weight;
    return color;
}

// The lines of a coded picture among those of the frame.
struct PictureLines {
    std::uint32_t first;
    std::uint32_t step;
};

PictureLines linesOf(FrameHeader const& header, std::uint32_t picture) {
    if (header.interlace_mode == 0)
        return {0, 1};
    return {(header.interlace_mode == 2) == (picture == 0) ? 1u : 0u, 2};
}

class SlicePainter {
public:
    SlicePainter(DecodedFrame const& decoded, RgbImage& image)
        : m_header(decoded.header()),
          m_luma(lumaWeights(m_header.matrix_coefficients, m_header.vertical_size)),
          m_image(image) {}

    void paint(InspectedSlice const& slice, Rgb const& color) {
        const PictureLines lines = linesOf(m_header, slice.picture);
        const std::uint32_t left = 16 * slice.header.firstMb;
        const std::uint32_t right = std::min(left + 16 * slice.header.numMbs, m_image.width);
        for (std::uint32_t row = 0; row < 16; ++row) {
            const std::uint32_t y = lines.first + (16 * slice.header.row + row) * lines.step;
            if (y >= m_image.height)
                return;
            for (std::uint32_t x = left; x < right; ++x)
                paintPixel(m_image.samples.data() + (std::size_t{y} * m_image.width + x) * m_image.channels, color,
                           slice.failed != nullptr);
        }
    }

private:
    void paintPixel(std::uint16_t* pixel, Rgb const& color, bool isFlat) const {
        const double luma = m_luma.red * pixel[0] + m_luma.green * pixel[1] + m_luma.blue * pixel[2];
        const double brightness = isFlat ? 1 : kLeastBrightness + (1 - kLeastBrightness) * luma / 255;
        for (std::size_t i = 0; i < color.size(); ++i)
            pixel[i] = static_cast<std::uint16_t>(std::lround(color[i] * brightness));
    }

    FrameHeader const& m_header;
    LumaWeights m_luma;
    RgbImage& m_image;
};

// Alpha would hide the colours.
void dropAlpha(RgbImage& image) {
    if (image.channels == 3)
        return;
    std::size_t target = 0;
    for (std::size_t source = 0; source < image.samples.size(); ++source)
        if (source % 4 != 3)
            image.samples[target++] = image.samples[source];
    image.samples.resize(target);
    image.channels = 3;
}

} // namespace

double sliceValue(CodedSlice const& slice, SliceColors colors) {
    return colors == SliceColors::Index ? slice.quantization_index
                                        : static_cast<double>(slice.coded_size) / slice.numMbs;
}

std::array<std::uint8_t, 3> sliceColor(double place) {
    const Rgb color = colorAt(place);
    std::array<std::uint8_t, 3> codes;
    for (std::size_t i = 0; i < codes.size(); ++i)
        codes[i] = static_cast<std::uint8_t>(std::lround(color[i]));
    return codes;
}

std::vector<InspectedSlice> inspectSlices(std::span<const std::uint8_t> frame, DecodedFrame const& decoded) {
    std::vector<InspectedSlice> slices;
    std::uint32_t index = 0;
    auto damage = decoded.damage().begin();
    for (CodedPicture const& picture : parsePictureHeaders(frame, decoded.header())) {
        for (CodedSlice const& header : parseSliceHeaders(frame, decoded.header(), picture)) {
            slices.push_back({index, header, nullptr});
            // The damage report is in the order of the frame.
            if (damage != decoded.damage().end() && damage->picture == index && damage->row == header.row &&
                damage->column == header.column) {
                slices.back().failed = componentName(*damage);
                ++damage;
            }
        }
        ++index;
    }
    return slices;
}

std::vector<SliceProperty> const& sliceProperties() {
    static const std::vector<SliceProperty> s_properties = {
        {"bytes", &CodedSlice::coded_size},         {"header", &CodedSlice::slice_header_size},
        {"y", &CodedSlice::coded_size_y},           {"cb", &CodedSlice::coded_size_cb},
        {"cr", &CodedSlice::coded_size_cr},         {"alpha", &CodedSlice::alphaBytes},
        {"index", &CodedSlice::quantization_index},
    };
    return s_properties;
}

SliceStatistics statisticsOf(std::vector<InspectedSlice> const& slices, std::uint32_t CodedSlice::*value) {
    SliceStatistics statistics;
    if (slices.empty())
        return statistics;
    std::vector<std::uint32_t> values;
    values.reserve(slices.size());
    for (InspectedSlice const& slice : slices)
        values.push_back(slice.header.*value);
    std::sort(values.begin(), values.end());
    for (const std::uint32_t each : values)
        statistics.total += each;
    const std::size_t middle = values.size() / 2;
    statistics.least = values.front();
    statistics.largest = values.back();
    statistics.median =
        values.size() % 2 == 1 ? values[middle] : (static_cast<double>(values[middle - 1]) + values[middle]) / 2;
    return statistics;
}

SlicePicture pictureOfSlices(std::vector<InspectedSlice> const& slices, DecodedFrame const& decoded,
                             SliceColors colors) {
    SlicePicture picture;
    picture.image = rgbImageOf(decoded);
    dropAlpha(picture.image);
    if (slices.empty())
        return picture;
    const auto [least, largest] =
        std::minmax_element(slices.begin(), slices.end(), [colors](InspectedSlice const& a, InspectedSlice const& b) {
            return sliceValue(a.header, colors) < sliceValue(b.header, colors);
        });
    picture.least = sliceValue(least->header, colors);
    picture.largest = sliceValue(largest->header, colors);
    const double range = std::max(picture.largest - picture.least, 1e-9);
    SlicePainter painter(decoded, picture.image);
    for (InspectedSlice const& slice : slices)
        painter.paint(slice, slice.failed != nullptr
                                 ? kFailedColor
                                 : colorAt((sliceValue(slice.header, colors) - picture.least) / range));
    return picture;
}
