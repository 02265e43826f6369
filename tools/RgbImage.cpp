#include "RgbImage.h"

#include <algorithm>
#include <cmath>

#include "ColorMatrix.h"

namespace {

// A line of Y'CbCr with chroma in all columns.
struct ComponentRow {
    std::vector<std::uint16_t> y;
    std::vector<std::uint16_t> cb;
    std::vector<std::uint16_t> cr;

    explicit ComponentRow(std::size_t width) : y(width), cb(width), cr(width) {}
};

// Cb Y Cr Y for two pixels. Chroma belongs to the even columns; an odd one gets the mean of its neighbours. A line of
// odd width ends with Cb Y, and its last pixel uses the Cr before it.
void split422(std::vector<std::uint16_t> const& samples, std::uint16_t neutral, ComponentRow& row) {
    const std::size_t width = row.y.size();
    for (std::size_t x = 0; x < width; ++x) {
        row.y[x] = samples[2 * x + 1];
        if (x % 2 == 0) {
            row.cb[x] = samples[2 * x];
            row.cr[x] = x + 1 < width ? samples[2 * x + 2] : (x == 0 ? neutral : row.cr[x - 2]);
        }
    }
    for (std::size_t x = 1; x < width; x += 2) {
        const std::size_t next = x + 1 < width ? x + 1 : x - 1;
        row.cb[x] = static_cast<std::uint16_t>((row.cb[x - 1] + row.cb[next] + 1u) / 2);
        row.cr[x] = static_cast<std::uint16_t>((row.cr[x - 1] + row.cr[next] + 1u) / 2);
    }
}

void split444(std::vector<std::uint16_t> const& samples, ComponentRow& row) {
    for (std::size_t x = 0; x < row.y.size(); ++x) {
        row.y[x] = samples[4 * x + 1];
        row.cb[x] = samples[4 * x + 2];
        row.cr[x] = samples[4 * x + 3];
    }
}

class RgbConverter {
public:
    RgbConverter(DecodedFrame const& frame, bool videoRange)
        : m_matrix(lumaWeights(frame.header().matrix_coefficients, frame.header().vertical_size)),
          m_range(static_cast<float>(frame.maxValue()) + 1),
          m_maxValue(static_cast<float>(frame.maxValue())),
          m_videoRange(videoRange) {}

    void convert(ComponentRow const& row, std::uint16_t* target, std::size_t channels) const {
        for (std::size_t x = 0; x < row.y.size(); ++x, target += channels) {
            const ColorMatrix::Triple rgb =
                m_matrix.toRgb(m_range.lumaOf(row.y[x]), m_range.chromaOf(row.cb[x]), m_range.chromaOf(row.cr[x]));
            target[0] = codeOf(rgb.first);
            target[1] = codeOf(rgb.second);
            target[2] = codeOf(rgb.third);
        }
    }

private:
    std::uint16_t codeOf(float value) const {
        const float code = m_videoRange ? m_range.codeOfLuma(value) : value * m_maxValue;
        return static_cast<std::uint16_t>(std::clamp(std::floor(code + 0.5f), 0.0f, m_maxValue));
    }

    ColorMatrix m_matrix;
    StudioRange m_range;
    float m_maxValue;
    bool m_videoRange;
};

void convertComponents(DecodedFrame const& frame, bool videoRange, RgbImage& image) {
    const RgbConverter converter(frame, videoRange);
    const auto neutral = static_cast<std::uint16_t>((frame.maxValue() + 2) / 2);
    ComponentRow row(image.width);
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        frame.widenRow(y, samples);
        if (frame.samplesPerPixel() == 2)
            split422(samples, neutral, row);
        else
            split444(samples, row);
        std::uint16_t* target = image.samples.data() + std::size_t{y} * image.width * image.channels;
        converter.convert(row, target, image.channels);
        for (std::size_t x = 0; x < image.width && image.channels == 4; ++x)
            target[4 * x + 3] = samples[4 * x];
    }
}

// A R G B becomes R G B or R G B A.
void reorderRgb(DecodedFrame const& frame, RgbImage& image) {
    std::vector<std::uint16_t> samples;
    std::uint16_t* target = image.samples.data();
    for (std::uint32_t y = 0; y < image.height; ++y) {
        frame.widenRow(y, samples);
        for (std::size_t x = 0; x < image.width; ++x, target += image.channels) {
            std::copy_n(samples.data() + 4 * x + 1, 3, target);
            if (image.channels == 4)
                target[3] = samples[4 * x];
        }
    }
}

} // namespace

RgbImage rgbImageOf(DecodedFrame const& frame, bool videoRange) {
    RgbImage image;
    image.width = frame.width();
    image.height = frame.height();
    image.channels = frame.header().hasAlphaOutput() ? 4 : 3;
    image.maxValue = frame.maxValue();
    image.samples.resize(std::size_t{image.width} * image.height * image.channels);
    if (frame.request().colorCoding == ColorCoding_YCbCr)
        convertComponents(frame, videoRange, image);
    else
        reorderRgb(frame, image);
    return image;
}
