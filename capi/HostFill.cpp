#include "HostFill.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <emmintrin.h>

namespace {

// The weights of red, green and blue in luma.
struct Weights {
    double red, green, blue;
};

// The height decides for a frame that names no matrix, as in the decoder's conversion to RGB.
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

// A value of [0, 1] between black and white, or one of [-1/2, 1/2] around grey, as a code.
class Codes {
public:
    explicit Codes(PixelBuffer const& form) : m_maximum(greatestCode(form.bitDepth)), m_coding(form.colorCoding) {}

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

constexpr std::size_t kPatternBytes = 8;

// Rectangles of this size or more do not fit into a first-level cache, and stores through the cache would read the
// memory first. The rectangle of a slice, which a host may read soon, is well below it with at most 16384 bytes.
constexpr std::uint64_t kStreamedBytes = 65536;

// Fills a line with the repeated pattern, which starts at the line's first byte.
void fillLine(std::uint8_t* to, std::size_t numBytes, const std::uint8_t* pattern) {
    std::size_t done = 0;
    for (; done + kPatternBytes <= numBytes; done += kPatternBytes)
        std::memcpy(to + done, pattern, kPatternBytes);
    std::memcpy(to + done, pattern, numBytes - done);
}

// The same with stores that bypass the caches. They need aligned addresses, so the pattern is rotated to start at the
// first of these.
void streamLine(std::uint8_t* to, std::size_t numBytes, const std::uint8_t* pattern) {
    constexpr std::size_t kVectorBytes = 16;
    const std::size_t head = std::min<std::size_t>((0 - reinterpret_cast<std::uintptr_t>(to)) % kVectorBytes, numBytes);
    fillLine(to, head, pattern);
    std::uint8_t turned[kVectorBytes];
    for (std::size_t i = 0; i < kVectorBytes; ++i)
        turned[i] = pattern[(head + i) % kPatternBytes];
    const __m128i vector = _mm_loadu_si128(reinterpret_cast<const __m128i*>(turned));
    std::size_t done = head;
    for (; done + kVectorBytes <= numBytes; done += kVectorBytes)
        _mm_stream_si128(reinterpret_cast<__m128i*>(to + done), vector);
    fillLine(to + done, numBytes - done, turned);
}

} // namespace

HostFill::HostFill(std::uint32_t color, PixelBuffer const& form)
    : m_samplesPerPixel(form.samplesPerPixel), m_bytesPerSample(bytesPerSample(form.bitDepth)), m_pattern{} {
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
        const std::uint16_t y = samples[0], cb = samples[1], cr = samples[2];
        setPattern({cb, y, cr, y, cb, y, cr, y});
        return;
    }
    const std::uint16_t alpha = codes.maximum();
    setPattern({alpha, samples[0], samples[1], samples[2], alpha, samples[0], samples[1], samples[2]});
}

void HostFill::setPattern(const std::uint16_t (&pair)[8]) {
    if (m_bytesPerSample == 2) {
        std::memcpy(m_pattern, pair, kPatternBytes);
        return;
    }
    std::transform(pair, pair + kPatternBytes, m_pattern,
                   [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
}

void HostFill::fill(std::uint8_t* pixels, std::int64_t lineStride, std::uint32_t width, std::uint32_t height) const {
    const std::size_t bytesOfLine = std::size_t{width} * m_samplesPerPixel * m_bytesPerSample;
    const bool isStreamed = std::uint64_t{bytesOfLine} * height >= kStreamedBytes;
    for (std::uint32_t line = 0; line < height; ++line) {
        std::uint8_t* const to = pixels + std::int64_t{line} * lineStride;
        if (isStreamed)
            streamLine(to, bytesOfLine, m_pattern);
        else
            fillLine(to, bytesOfLine, m_pattern);
    }
    if (isStreamed)
        _mm_sfence();
}
