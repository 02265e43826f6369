#include "HostFill.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "Intrinsics.h"

namespace {

// 0, or a value from 2^-14 to 1, as binary16.
std::uint16_t halfOf(double value) {
    if (value == 0)
        return 0;
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent); // [1/2, 1)
    const auto mantissa = static_cast<std::uint32_t>(std::lrint(fraction * 2048));
    // A mantissa that is rounded up to 2048 carries into the exponent.
    return static_cast<std::uint16_t>((static_cast<std::uint32_t>(exponent + 14) << 10) + mantissa - 1024);
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

// The colour in the samples of a form other than the coded ones.
void setRgba(std::uint16_t (&samples)[4], const double (&rgb)[3], HostOutput const& output) {
    const bool isHalf = output.pixelForm == RAVELO_RGBA_HALF;
    const double maximum = output.form.bitDepth > 8 ? 65535.0 : 255.0;
    for (int i = 0; i < 4; ++i) {
        const double value = i < 3 ? rgb[i] : 1.0;
        samples[i] = isHalf ? halfOf(value) : static_cast<std::uint16_t>(std::lround(value * maximum));
    }
    if (output.pixelForm == RAVELO_BGRA)
        std::swap(samples[0], samples[2]);
}

} // namespace

HostFill::HostFill(std::uint32_t color, HostOutput const& output) {
    PixelBuffer const& form = output.form;
    const Codes codes(form);
    const double rgb[3] = {(color >> 16 & 255) / 255.0, (color >> 8 & 255) / 255.0, (color & 255) / 255.0};
    const std::uint32_t sampleBytes = bytesPerSample(form.bitDepth);
    const bool isPlanar = output.pixelForm == RAVELO_PLANAR;
    for (std::uint32_t i = 0; i < RAVELO_MAX_PLANES; ++i)
        m_planes[i].to = output.pixels.planes[i];
    if (output.pixelForm != RAVELO_CODED && !isPlanar) {
        std::uint16_t samples[4];
        setRgba(samples, rgb, output);
        setPattern(m_planes[0], samples, output.pixelForm == RAVELO_RGBA_HALF ? 2 : sampleBytes);
        return;
    }
    std::uint16_t samples[3] = {codes.light(rgb[0]), codes.light(rgb[1]), codes.light(rgb[2])};
    if (form.colorCoding == ColorCoding_YCbCr) {
        const LumaWeights weights = lumaWeights(form.matrix_coefficients, form.frameHeight);
        const double luma = weights.red * rgb[0] + weights.green * rgb[1] + weights.blue * rgb[2];
        samples[0] = codes.light(luma);
        samples[1] = codes.difference((rgb[2] - luma) / (2 * (1 - weights.blue)));
        samples[2] = codes.difference((rgb[0] - luma) / (2 * (1 - weights.red)));
    }
    const bool is422 = form.samplesPerPixel == 2;
    if (isPlanar) {
        m_numPlanes = output.hasAlpha ? 4 : 3;
        addPlane(0, samples[0], sampleBytes, 1);
        addPlane(1, samples[1], sampleBytes, is422 ? 2 : 1);
        addPlane(2, samples[2], sampleBytes, is422 ? 2 : 1);
        addPlane(3, codes.maximum(), sampleBytes, 1);
        return;
    }
    const std::uint16_t y = samples[0], cb = samples[1], cr = samples[2];
    if (is422)
        setPattern(m_planes[0], {cb, y, cr, y}, sampleBytes);
    else
        setPattern(m_planes[0], {codes.maximum(), y, cb, cr}, sampleBytes);
    m_planes[0].bytesPerPixel = form.samplesPerPixel * sampleBytes;
}

// The pattern of a plane of pixels of four samples, or of two pixels of two.
void HostFill::setPattern(Plane& plane, const std::uint16_t (&samples)[4], std::uint32_t bytesPerSample) const {
    plane.bytesPerPixel = 4 * bytesPerSample;
    for (std::size_t i = 0; i < kPatternBytes / bytesPerSample; ++i) {
        const std::uint16_t sample = samples[i % 4];
        std::memcpy(plane.pattern + i * bytesPerSample, &sample, bytesPerSample);
    }
}

void HostFill::addPlane(std::uint32_t index, std::uint16_t sample, std::uint32_t bytesPerSample,
                        std::uint32_t perPlace) {
    Plane& plane = m_planes[index];
    setPattern(plane, {sample, sample, sample, sample}, bytesPerSample);
    plane.bytesPerPixel = bytesPerSample;
    plane.pixelsPerPlace = perPlace;
}

void HostFill::fill(PixelRectangle const& rectangle, std::uint32_t lineStep) const {
    for (std::uint32_t i = 0; i < m_numPlanes; ++i) {
        Plane const& plane = m_planes[i];
        const std::size_t width = (std::size_t{rectangle.width} + plane.pixelsPerPlace - 1) / plane.pixelsPerPlace;
        const std::size_t numBytes = width * plane.bytesPerPixel;
        const std::uint64_t before = std::uint64_t{rectangle.x} / plane.pixelsPerPlace * plane.bytesPerPixel;
        const bool isStreamed = std::uint64_t{numBytes} * rectangle.height >= kStreamedBytes;
        for (std::uint32_t line = 0; line < rectangle.height && numBytes != 0; ++line) {
            const std::int64_t y = rectangle.y + std::int64_t{line} * lineStep;
            std::uint8_t* const to = plane.to.pixels + y * plane.to.lineStride + before;
            if (isStreamed)
                streamLine(to, numBytes, plane.pattern);
            else
                fillLine(to, numBytes, plane.pattern);
        }
        if (isStreamed)
            _mm_sfence();
    }
}
