#include "SourcePlanes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "ChromaColumns.h"
#include "HostError.h"
#include "PixelBuffer.h"

namespace {

using Plane = std::vector<std::uint16_t>;
using UnsignedLongLong = unsigned long long;

// One plane of the caller, whose lines lie inside its memory.
class SourceLines {
public:
    SourceLines(ravelo_source_plane const& plane, const char* name, std::uint64_t lineBytes, std::uint32_t height)
        : m_stride(plane.stride != 0 ? plane.stride : static_cast<std::int64_t>(lineBytes)) {
        if (plane.memory == nullptr)
            refuse(RAVELO_ERROR_ARGUMENT, "the pointer to the %s of the picture is null", name);
        const std::uint64_t magnitude =
            m_stride < 0 ? 0u - static_cast<std::uint64_t>(m_stride) : static_cast<std::uint64_t>(m_stride);
        std::uint64_t between = 0;
        const bool isTooFar = __builtin_mul_overflow(std::uint64_t{height} - 1, magnitude, &between);
        const std::uint64_t below = m_stride < 0 ? between : 0;
        const std::uint64_t above = m_stride < 0 ? 0 : between;
        const bool hasRoom = !isTooFar && plane.first_line >= below && plane.first_line <= plane.memory_bytes &&
                             above <= plane.memory_bytes - plane.first_line &&
                             lineBytes <= plane.memory_bytes - plane.first_line - above;
        if (magnitude < lineBytes || !hasRoom)
            refuse(RAVELO_ERROR_BUFFER,
                   "the %s: %u lines of %llu bytes with the stride %lld do not fit into %llu bytes from %llu on", name,
                   height, static_cast<UnsignedLongLong>(lineBytes), static_cast<long long>(m_stride),
                   static_cast<UnsignedLongLong>(plane.memory_bytes), static_cast<UnsignedLongLong>(plane.first_line));
        m_first = static_cast<const std::uint8_t*>(plane.memory) + plane.first_line;
    }

    // The first byte of a line.
    const std::uint8_t* line(std::uint32_t y) const { return m_first + static_cast<std::ptrdiff_t>(y) * m_stride; }

private:
    const std::uint8_t* m_first = nullptr;
    std::int64_t m_stride;
};

std::uint16_t sampleAt(const std::uint8_t* line, std::size_t index, std::uint32_t bytesPerSample) {
    if (bytesPerSample == 1)
        return line[index];
    std::uint16_t sample;
    std::memcpy(&sample, line + 2 * index, sizeof sample);
    return sample;
}

// Every `step`-th sample of the lines, from `first` on.
Plane gathered(SourceLines const& lines, std::uint32_t width, std::uint32_t height, std::uint32_t bytesPerSample,
               SourceChoice const& choice, std::size_t first = 0, std::size_t step = 1) {
    Plane plane;
    plane.reserve(std::size_t{width} * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        choice.beforeLine();
        const std::uint8_t* const line = lines.line(y);
        for (std::size_t x = 0; x < width; ++x)
            plane.push_back(sampleAt(line, first + x * step, bytesPerSample));
    }
    return plane;
}

float valueOfHalf(std::uint16_t half) {
    const int exponent = half >> 10 & 31;
    const int fraction = half & 1023;
    // Infinities and what is not a number count as the largest value.
    const float magnitude = exponent == 31  ? 65504.0f
                            : exponent == 0 ? std::ldexp(static_cast<float>(fraction), -24)
                                            : std::ldexp(static_cast<float>(1024 + fraction), exponent - 25);
    return (half & 0x8000) != 0 ? -magnitude : magnitude;
}

std::uint16_t videoCode(float share) {
    return static_cast<std::uint16_t>(std::clamp(std::floor(share * 256 + 0.5f), 0.0f, 65535.0f));
}

// The channels of an RGB picture as numbers from 0, black, to 1.
class Channels {
public:
    Channels(ravelo_source_picture const& picture, SourceLines const& lines)
        : m_lines(lines),
          m_isHalf(picture.pixel_form == RAVELO_RGBA_HALF),
          m_red(picture.pixel_form == RAVELO_BGRA ? 2 : 0),
          m_bytes(m_isHalf || picture.bit_depth > 8 ? 2 : 1),
          m_scale(1.0f / (picture.bit_depth > 8 ? 65535.0f : 255.0f)) {}

    float red(std::uint32_t x, std::uint32_t y) const { return value(x, y, m_red); }
    float green(std::uint32_t x, std::uint32_t y) const { return value(x, y, 1); }
    float blue(std::uint32_t x, std::uint32_t y) const { return value(x, y, 2 - m_red); }
    float alpha(std::uint32_t x, std::uint32_t y) const { return value(x, y, 3); }

private:
    float value(std::uint32_t x, std::uint32_t y, std::uint32_t channel) const {
        const std::uint16_t sample = sampleAt(m_lines.line(y), std::size_t{x} * 4 + channel, m_bytes);
        return m_isHalf ? valueOfHalf(sample) : static_cast<float>(sample) * m_scale;
    }

    SourceLines const& m_lines;
    bool m_isHalf;
    std::uint32_t m_red;
    std::uint32_t m_bytes;
    float m_scale;
};

void convertRgb(ravelo_source_picture const& picture, SourceChoice const& choice, SourcePicture& source) {
    const std::uint32_t pixelBytes = picture.pixel_form == RAVELO_RGBA_HALF || picture.bit_depth > 8 ? 8 : 4;
    const SourceLines lines(picture.planes[0], "pixels", std::uint64_t{picture.width} * pixelBytes, picture.height);
    const Channels channels(picture, lines);
    const LumaWeights weights = lumaWeights(choice.matrix_coefficients, picture.height);
    const float kr = static_cast<float>(weights.red), kb = static_cast<float>(weights.blue);
    const float maximum = static_cast<float>((1u << choice.alphaBits) - 1);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        choice.beforeLine();
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const float red = channels.red(x, y), green = channels.green(x, y), blue = channels.blue(x, y);
            const float luma = kr * red + (1 - kr - kb) * green + kb * blue;
            source.y.push_back(videoCode(16 + 219 * luma));
            source.cb.push_back(videoCode(128 + 224 * (blue - luma) / (2 * (1 - kb))));
            source.cr.push_back(videoCode(128 + 224 * (red - luma) / (2 * (1 - kr))));
            if (choice.alphaBits != 0)
                source.alpha.push_back(
                    static_cast<std::uint16_t>(std::lround(std::clamp(channels.alpha(x, y), 0.0f, 1.0f) * maximum)));
        }
    }
    source.bitDepth = 16;
    if (choice.chromaFormat == ChromaFormat::C422) {
        source.cb = halfColumns(source.cb, picture.width, picture.height, choice.beforeLine);
        source.cr = halfColumns(source.cr, picture.width, picture.height, choice.beforeLine);
    }
}

// Alpha samples of `fromBits` bits in the depth that is coded.
void takeAlpha(Plane alpha, std::uint32_t fromBits, SourceChoice const& choice, SourcePicture& source) {
    const std::uint32_t from = (1u << fromBits) - 1;
    const std::uint32_t to = (1u << choice.alphaBits) - 1;
    for (std::size_t i = 0; i < alpha.size(); ++i) {
        if (i % source.width == 0)
            choice.beforeLine();
        std::uint16_t& sample = alpha[i];
        sample =
            static_cast<std::uint16_t>((std::uint64_t{std::min<std::uint32_t>(sample, from)} * to + from / 2) / from);
    }
    source.alpha = std::move(alpha);
}

void makeOpaque(ravelo_source_picture const& picture, SourceChoice const& choice, SourcePicture& source) {
    source.alpha.assign(std::size_t{picture.width} * picture.height,
                        static_cast<std::uint16_t>((1u << choice.alphaBits) - 1));
}

void takePlanar(ravelo_source_picture const& picture, SourceChoice const& choice, SourcePicture& source) {
    constexpr const char* kNames[] = {"plane Y", "plane Cb", "plane Cr", "plane A"};
    const std::uint32_t bytes = picture.bit_depth > 8 ? 2 : 1;
    const std::uint32_t chromaWidth = picture.chroma_format == 3 ? picture.width : (picture.width + 1) / 2;
    const auto take = [&](std::size_t index, std::uint32_t width) {
        const SourceLines lines(picture.planes[index], kNames[index], std::uint64_t{width} * bytes, picture.height);
        return gathered(lines, width, picture.height, bytes, choice);
    };
    source.y = take(0, picture.width);
    source.cb = take(1, chromaWidth);
    source.cr = take(2, chromaWidth);
    if (choice.alphaBits != 0 && picture.planes[3].memory != nullptr)
        takeAlpha(take(3, picture.width), picture.bit_depth, choice, source);
}

// A line of an odd number of columns ends with luma, so its last Cr is missing: the one before it is repeated.
Plane withLastColumn(Plane cr, ravelo_source_picture const& picture, SourceChoice const& choice) {
    if (picture.width % 2 == 0)
        return cr;
    const std::size_t half = picture.width / 2;
    Plane result;
    for (std::size_t y = 0; y < picture.height; ++y) {
        choice.beforeLine();
        const auto line = cr.begin() + static_cast<std::ptrdiff_t>(y * half);
        result.insert(result.end(), line, line + static_cast<std::ptrdiff_t>(half));
        result.push_back(half == 0 ? static_cast<std::uint16_t>(1u << (picture.bit_depth - 1)) : result.back());
    }
    return result;
}

void takeInterleaved(ravelo_source_picture const& picture, SourceChoice const& choice, SourcePicture& source) {
    const std::uint32_t bytes = picture.bit_depth > 8 ? 2 : 1;
    const std::uint32_t width = picture.width;
    const bool is444 = picture.chroma_format == 3;
    const std::uint64_t samples = std::uint64_t{is444 ? 4u : 2u} * width;
    const SourceLines lines(picture.planes[0], "pixels", samples * bytes, picture.height);
    const auto take = [&](std::uint32_t columns, std::size_t first, std::size_t step) {
        return gathered(lines, columns, picture.height, bytes, choice, first, step);
    };
    if (is444) {
        source.y = take(width, 1, 4);
        source.cb = take(width, 2, 4);
        source.cr = take(width, 3, 4);
        if (choice.alphaBits != 0)
            takeAlpha(take(width, 0, 4), picture.bit_depth, choice, source);
        return;
    }
    source.y = take(width, 1, 2);
    source.cb = take((width + 1) / 2, 0, 4);
    source.cr = withLastColumn(take(width / 2, 2, 4), picture, choice);
}

void takeYCbCr(ravelo_source_picture const& picture, SourceChoice const& choice, SourcePicture& source) {
    source.bitDepth = picture.bit_depth;
    if (picture.pixel_form == RAVELO_PLANAR)
        takePlanar(picture, choice, source);
    else
        takeInterleaved(picture, choice, source);
    const bool is444 = picture.chroma_format == 3;
    const bool wants444 = choice.chromaFormat == ChromaFormat::C444;
    for (Plane* plane : {&source.cb, &source.cr})
        if (is444 != wants444)
            *plane = is444 ? halfColumns(*plane, picture.width, picture.height, choice.beforeLine)
                           : allColumns(*plane, picture.width, picture.height, choice.beforeLine);
}

} // namespace

SourcePicture sourceOf(ravelo_source_picture const& picture, SourceChoice const& choice) {
    SourcePicture source;
    source.width = picture.width;
    source.height = picture.height;
    source.chromaFormat = choice.chromaFormat;
    source.alphaBits = choice.alphaBits;
    if (picture.pixel_form == RAVELO_CODED || picture.pixel_form == RAVELO_PLANAR)
        takeYCbCr(picture, choice, source);
    else
        convertRgb(picture, choice, source);
    if (choice.alphaBits != 0 && source.alpha.empty())
        makeOpaque(picture, choice, source);
    return source;
}
