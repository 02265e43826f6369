#include "AlphaVLCWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr std::uint32_t kLongestShortCodedRun = 16;

// Pieces of this length all have the short run code, so a split plane shows many differences of zero.
constexpr std::uint32_t kSplitPiece = kLongestShortCodedRun;

std::uint32_t runAt(std::span<const std::uint16_t> samples, std::size_t position, std::uint32_t longest) {
    const std::size_t end = std::min(samples.size(), position + longest);
    std::size_t next = position + 1;
    while (next < end && samples[next] == samples[position])
        ++next;
    return static_cast<std::uint32_t>(next - position);
}

} // namespace

bool AlphaVLCWriter::fitsShortForm(std::int32_t difference) const {
    return difference != 0 && std::abs(difference) <= largestShortDifference();
}

void AlphaVLCWriter::shortDifference(std::int32_t difference) {
    const std::uint32_t magnitude = static_cast<std::uint32_t>(std::abs(difference));
    m_bits.put(0, 1);
    m_bits.put(((magnitude - 1) << 1) | (difference < 0 ? 1u : 0u), m_alphaBits == 16 ? 7 : 4);
}

void AlphaVLCWriter::longDifference(std::uint32_t difference) {
    m_bits.put(1, 1);
    m_bits.put(difference, m_alphaBits);
}

void AlphaVLCWriter::shortestRun(std::uint32_t length) {
    if (length == 1) {
        m_bits.put(1, 1);
    } else if (length <= kLongestShortCodedRun) {
        m_bits.put(0, 1);
        m_bits.put(length - 1, 4);
    } else {
        longFormRun(length);
    }
}

void AlphaVLCWriter::longFormRun(std::uint32_t length) {
    m_bits.put(0, 1 + 4);
    m_bits.put(length - 1, 11);
}

std::vector<std::uint8_t> codedAlpha(std::span<const std::uint16_t> samples, std::uint32_t alphaBits,
                                     AlphaRunCoding runCoding, AlphaDifferenceCoding differenceCoding) {
    VLCWriter bits;
    AlphaVLCWriter writer(bits, alphaBits);
    const std::uint32_t longestRun = runCoding == AlphaRunCoding::Split ? kSplitPiece : kLongestAlphaRun;
    std::int32_t previous = -1;
    for (std::size_t position = 0; position < samples.size();) {
        const std::int32_t difference = samples[position] - previous;
        if (differenceCoding == AlphaDifferenceCoding::Shortest && writer.fitsShortForm(difference))
            writer.shortDifference(difference);
        else
            writer.longDifference(static_cast<std::uint32_t>(difference));
        const std::uint32_t length = runAt(samples, position, longestRun);
        if (runCoding == AlphaRunCoding::LongForm && length > 1)
            writer.longFormRun(length);
        else
            writer.shortestRun(length);
        previous = samples[position];
        position += length;
    }
    return bits.takeBytes();
}
