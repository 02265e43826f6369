#include "DecodedFrame.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Bitstream.h"
#include "BufferRequirements.h"
#include "Frame.h"
#include "RaveloDecoderInterface.h"

namespace {

// Two pixels of 4:2:2 or one of 4:4:4: four samples either way.
std::array<std::uint32_t, 4> blackSamples(bool is444, ColorCoding colorCoding, std::uint32_t maxValue) {
    // Rounded as the library rounds a sample: at 15 bits the middle of the 32769 codes lies between two of them.
    const std::uint32_t steps = maxValue + 1;
    const std::uint32_t black = (steps + 8) / 16;
    const std::uint32_t neutral = (steps + 1) / 2;
    if (!is444)
        return {neutral, black, neutral, black};
    if (colorCoding == ColorCoding_YCbCr)
        return {maxValue, black, neutral, neutral};
    const std::uint32_t level = colorCoding == ColorCoding_RGBVideo ? black : 0;
    return {maxValue, level, level, level};
}

template <typename Sample>
void fillRow(std::span<std::uint8_t> row, std::array<std::uint32_t, 4> const& samples) {
    std::array<Sample, 4> pattern;
    std::transform(samples.begin(), samples.end(), pattern.begin(),
                   [](std::uint32_t sample) { return static_cast<Sample>(sample); });
    std::size_t position = 0;
    for (; position + sizeof(pattern) <= row.size(); position += sizeof(pattern))
        std::memcpy(row.data() + position, pattern.data(), sizeof(pattern));
    std::memcpy(row.data() + position, pattern.data(), row.size() - position);
}

} // namespace

std::uint32_t DecodedFrame::maxValue() const {
    return m_request.bitDepth == 15 ? 32768 : (1u << m_request.bitDepth) - 1;
}

void DecodedFrame::prepare(std::span<const std::uint8_t> frame, DecodeForm const& request) {
    m_header = parseFrameHeader(frame);
    m_request = request;
    const PixelBuffer info =
        Frame::GetFrameInfo({frame.data(), frame.size()}, request.bitDepth, request.downSampleFactor);
    m_width = static_cast<std::uint32_t>(info.width);
    m_height = static_cast<std::uint32_t>(info.height);
    m_samplesPerPixel = info.samplesPerPixel;
    const BufferRequirements requirements =
        bufferRequirements({frame.data(), frame.size()}, request.bitDepth, request.downSampleFactor);
    m_stride = requirements.safeStride;
    m_pixels.resize(requirements.bytes);
}

void DecodedFrame::fillBlack(std::span<const std::uint8_t> frame, DecodeForm const& request) {
    prepare(frame, request);
    if (m_pixels.empty())
        return;
    const std::array<std::uint32_t, 4> samples = blackSamples(m_header.is444(), request.colorCoding, maxValue());
    const std::span<std::uint8_t> firstRow = std::span(m_pixels).first(m_stride);
    if (bytesPerSample() == 1)
        fillRow<std::uint8_t>(firstRow, samples);
    else
        fillRow<std::uint16_t>(firstRow, samples);
    for (std::size_t start = m_stride; start + m_stride <= m_pixels.size(); start += m_stride)
        std::memcpy(m_pixels.data() + start, m_pixels.data(), m_stride);
}

void DecodedFrame::decode(std::span<const std::uint8_t> frame, DecodeForm const& request) {
    fillBlack(frame, request);
    decodeAgain(frame);
}

void DecodedFrame::decodeAgain(std::span<const std::uint8_t> frame) {
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), m_request.downSampleFactor,
                                                    m_request.colorCoding, m_request.bitDepth, m_pixels.data(),
                                                    static_cast<std::int64_t>(m_stride), m_request.target);
}

void DecodedFrame::widenRow(std::uint32_t y, std::vector<std::uint16_t>& samples) const {
    const std::span<const std::uint8_t> bytes = row(y);
    samples.resize(std::size_t{m_width} * m_samplesPerPixel);
    if (bytesPerSample() == 1)
        std::copy(bytes.begin(), bytes.end(), samples.begin());
    else if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), bytes.size());
}
