#include "RgbRows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace {

// Copies pixels of four samples without the last one. Four are copied at a time, and the next pixel overwrites the
// fourth.
template <std::size_t kSampleBytes>
void dropFourth(const std::uint8_t* source, std::uint8_t* target, std::size_t pixels) {
    for (std::size_t x = 0; x + 1 < pixels; ++x)
        std::memcpy(target + 3 * kSampleBytes * x, source + 4 * kSampleBytes * x, 4 * kSampleBytes);
    if (pixels > 0)
        std::memcpy(target + 3 * kSampleBytes * (pixels - 1), source + 4 * kSampleBytes * (pixels - 1),
                    3 * kSampleBytes);
}

// A R G B becomes R G B A. `Pixel` has the size of the four samples.
template <typename Pixel>
void rotatePixels(const std::uint8_t* source, std::uint8_t* target, std::size_t pixels) {
    constexpr int kBits = 2 * static_cast<int>(sizeof(Pixel));
    for (std::size_t x = 0; x < pixels; ++x) {
        Pixel pixel;
        std::memcpy(&pixel, source + x * sizeof pixel, sizeof pixel);
        pixel = std::endian::native == std::endian::little ? std::rotr(pixel, kBits) : std::rotl(pixel, kBits);
        std::memcpy(target + x * sizeof pixel, &pixel, sizeof pixel);
    }
}

// Codes of 16 bits become those of a scale that ends at `maximum`.
void scaleCodes(std::uint8_t* row, std::size_t samples, std::uint32_t maximum) {
    for (std::size_t i = 0; i < samples; ++i) {
        std::uint16_t code;
        std::memcpy(&code, row + 2 * i, sizeof code);
        // The division by 65535, rounded down, of a number below 65535 * 65536; compilers make more of it.
        const std::uint32_t dividend = code * maximum + 32767;
        code = static_cast<std::uint16_t>((dividend + (dividend >> 16) + 1) >> 16);
        std::memcpy(row + 2 * i, &code, sizeof code);
    }
}

// Cb Y Cr Y for two pixels. Chroma belongs to the even columns; an odd one gets the mean of its neighbours. A line of
// odd width ends with Cb Y, and its last pixel uses the Cr before it.
void split422(std::vector<std::uint16_t> const& samples, std::uint16_t neutral, std::vector<std::uint16_t>& luma,
              std::vector<std::uint16_t>& cb, std::vector<std::uint16_t>& cr) {
    const std::size_t width = luma.size();
    for (std::size_t x = 0; x < width; ++x) {
        luma[x] = samples[2 * x + 1];
        if (x % 2 == 0) {
            cb[x] = samples[2 * x];
            cr[x] = x + 1 < width ? samples[2 * x + 2] : (x == 0 ? neutral : cr[x - 2]);
        }
    }
    for (std::size_t x = 1; x < width; x += 2) {
        const std::size_t next = x + 1 < width ? x + 1 : x - 1;
        cb[x] = static_cast<std::uint16_t>((cb[x - 1] + cb[next] + 1u) / 2);
        cr[x] = static_cast<std::uint16_t>((cr[x - 1] + cr[next] + 1u) / 2);
    }
}

bool isComponents(DecodedFrame const& frame) {
    return frame.request().pixelForm == RAVELO_CODED && frame.request().colorCoding == ColorCoding_YCbCr;
}

} // namespace

void putHighBytesFirst(std::span<std::uint8_t> samples) {
    if constexpr (std::endian::native == std::endian::little)
        for (std::size_t i = 0; i + 1 < samples.size(); i += 2)
            std::swap(samples[i], samples[i + 1]);
}

RgbRows::RgbRows(DecodedFrame const& frame, RgbForm const& form, std::uint32_t mostChannels)
    : m_frame(frame),
      m_channels(std::min(frame.header().hasAlphaOutput() ? 4u : 3u, mostChannels)),
      m_maxValue(form.bitDepth == 0 ? frame.maxValue() : greatestCode(form.bitDepth)),
      m_videoRange(form.videoRange),
      m_matrix(lumaWeights(frame.header().matrix_coefficients, frame.header().vertical_size)),
      m_range(static_cast<float>(frame.maxValue()) + 1) {
    if (!isComponents(frame))
        return;
    for (auto* plane : {&m_y, &m_cb, &m_cr})
        plane->resize(frame.rowBytes() / frame.bytesPerSample() / frame.samplesPerPixel());
    m_codes.resize(std::size_t{width()} * m_channels);
}

void RgbRows::copyRow(std::uint32_t y, std::uint8_t* target) {
    if (isComponents(m_frame)) {
        convertRow(y, target);
        return;
    }
    const bool isArgb = m_frame.request().pixelForm == RAVELO_CODED;
    const bool isWide = bytesPerSample() == 2;
    const std::uint8_t* const source = m_frame.row(y).data();
    if (m_channels == 3)
        (isWide ? dropFourth<2> : dropFourth<1>)(source + (isArgb ? bytesPerSample() : 0), target, width());
    else if (isArgb)
        (isWide ? rotatePixels<std::uint64_t> : rotatePixels<std::uint32_t>)(source, target, width());
    else
        std::copy_n(source, rowBytes(), target);
    if (m_maxValue != m_frame.maxValue())
        scaleCodes(target, std::size_t{width()} * m_channels, m_maxValue);
}

void RgbRows::write(std::string_view header, bool highByteFirst, ByteSink const& sink) {
    FilePart part(sink);
    part.append(std::span(reinterpret_cast<const std::uint8_t*>(header.data()), header.size()));
    for (std::uint32_t y = 0; y < height(); ++y) {
        const std::span<std::uint8_t> row = part.room(rowBytes());
        copyRow(y, row.data());
        if (highByteFirst && bytesPerSample() == 2)
            putHighBytesFirst(row);
    }
    part.flush();
}

std::uint16_t RgbRows::codeOf(float value) const {
    const float maximum = static_cast<float>(m_maxValue);
    const float code = m_videoRange ? m_range.codeOfLuma(value) : value * maximum;
    return static_cast<std::uint16_t>(std::clamp(std::floor(code + 0.5f), 0.0f, maximum));
}

void RgbRows::convertRow(std::uint32_t y, std::uint8_t* target) {
    m_frame.widenRow(y, m_samples);
    if (m_frame.samplesPerPixel() == 2) {
        split422(m_samples, static_cast<std::uint16_t>((m_frame.maxValue() + 2) / 2), m_y, m_cb, m_cr);
    } else {
        for (std::size_t x = 0; x < m_y.size(); ++x) {
            m_y[x] = m_samples[4 * x + 1];
            m_cb[x] = m_samples[4 * x + 2];
            m_cr[x] = m_samples[4 * x + 3];
        }
    }
    std::uint16_t* code = m_codes.data();
    for (std::size_t x = m_frame.columnsBefore(); x < m_frame.columnsBefore() + width(); ++x, code += m_channels) {
        const ColorMatrix::Triple rgb =
            m_matrix.toRgb(m_range.lumaOf(m_y[x]), m_range.chromaOf(m_cb[x]), m_range.chromaOf(m_cr[x]));
        code[0] = codeOf(rgb.first);
        code[1] = codeOf(rgb.second);
        code[2] = codeOf(rgb.third);
        if (m_channels == 4)
            code[3] = m_samples[4 * x];
    }
    if (bytesPerSample() == 1)
        std::copy(m_codes.begin(), m_codes.end(), target);
    else
        std::memcpy(target, m_codes.data(), rowBytes());
}
