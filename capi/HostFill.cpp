#include "HostFill.h"

#include <algorithm>
#include <cstring>

namespace {

// The weights of red, green and blue in luma.
struct Weights {
    double red, green, blue;
};

// A frame that names no matrix has that of its size, as where the decoder makes RGB.
Weights weightsOf(PixelBuffer const& form) {
    constexpr Weights kBt709{0.2126, 0.7152, 0.0722};
    constexpr Weights kBt601{0.299, 0.587, 0.114};
    constexpr Weights kBt2020{0.2627, 0.678, 0.0593};
    switch (form.matrix_coefficients) {
    case 1:
        return kBt709;
    case 6:
        return kBt601;
    case 9:
        return kBt2020;
    default:
        return form.frameHeight > 576 ? kBt709 : kBt601;
    }
}

// The greatest code; that of 15 bits is a power of two.
double maximumOf(std::uint32_t bitDepth) {
    return bitDepth == 15 ? 32768 : (1u << bitDepth) - 1;
}

// A value of [0, 1] between black and white, or one of [-1/2, 1/2] around grey, as a code.
class Codes {
public:
    explicit Codes(PixelBuffer const& form) : m_maximum(maximumOf(form.bitDepth)), m_coding(form.colorCoding) {}

    std::uint16_t maximum() const { return rounded(m_maximum); }
    std::uint16_t light(double value) const {
        if (m_coding == ColorCoding_RGBFull)
            return rounded(value * m_maximum);
        return rounded((16 + 219 * value) / 256 * (1 + m_maximum));
    }
    std::uint16_t difference(double value) const { return rounded((128 + 224 * value) / 256 * (1 + m_maximum)); }

private:
    std::uint16_t rounded(double code) const {
        return static_cast<std::uint16_t>(std::clamp(code + 0.5, 0.0, m_maximum));
    }

    double m_maximum;
    ColorCoding m_coding;
};

} // namespace

HostFill::HostFill(std::uint32_t color, PixelBuffer const& form)
    : m_samplesPerPixel(form.samplesPerPixel), m_bytesPerSample(form.bitDepth > 8 ? 2 : 1), m_pair{} {
    const Codes codes(form);
    const double red = (color >> 16 & 255) / 255.0;
    const double green = (color >> 8 & 255) / 255.0;
    const double blue = (color & 255) / 255.0;
    std::uint16_t samples[3] = {codes.light(red), codes.light(green), codes.light(blue)};
    if (form.colorCoding == ColorCoding_YCbCr) {
        const Weights weights = weightsOf(form);
        const double luma = weights.red * red + weights.green * green + weights.blue * blue;
        samples[0] = codes.light(luma);
        samples[1] = codes.difference((blue - luma) / (2 * (1 - weights.blue)));
        samples[2] = codes.difference((red - luma) / (2 * (1 - weights.red)));
    }
    if (m_samplesPerPixel == 2) {
        const std::uint16_t pair[4] = {samples[1], samples[0], samples[2], samples[0]};
        std::copy_n(pair, 4, m_pair);
        return;
    }
    for (int pixel = 0; pixel < 2; ++pixel) {
        m_pair[4 * pixel] = codes.maximum();
        std::copy_n(samples, 3, m_pair + 4 * pixel + 1);
    }
}

void HostFill::fill(std::uint8_t* pixels, std::int64_t lineStride, std::uint32_t width, std::uint32_t height) const {
    const std::uint32_t samplesOfLine = width * m_samplesPerPixel;
    const std::uint32_t samplesOfPair = 2 * m_samplesPerPixel;
    for (std::uint32_t line = 0; line < height; ++line) {
        std::uint8_t* to = pixels + std::int64_t{line} * lineStride;
        for (std::uint32_t i = 0; i < samplesOfLine; ++i) {
            const std::uint16_t sample = m_pair[i % samplesOfPair];
            if (m_bytesPerSample == 1)
                to[i] = static_cast<std::uint8_t>(sample);
            else
                std::memcpy(to + 2 * std::size_t{i}, &sample, sizeof sample);
        }
    }
}
