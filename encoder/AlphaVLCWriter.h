#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "AlphaCoding.h"
#include "VLCWriter.h"

// Writes the symbols of the alpha plane of one slice: differences and runs, each in its short or its long form. Any
// sequence can be written, those that leave the range of the depth too.
class AlphaVLCWriter {
public:
    // alphaBits is 8 or 16; `bits` must outlive the writer.
    AlphaVLCWriter(VLCWriter& bits, std::uint32_t alphaBits) : m_bits(bits), m_alphaBits(alphaBits) {}

    // The greatest magnitude of a short difference; 0 has no short form.
    std::int32_t largestShortDifference() const { return m_alphaBits == 16 ? 64 : 8; }
    bool fitsShortForm(std::int32_t difference) const;

    void shortDifference(std::int32_t difference);
    void longDifference(std::uint32_t difference); // modulo 1 << alphaBits

    void shortestRun(std::uint32_t length); // [1, 2048]
    void longFormRun(std::uint32_t length); // [1, 2048], in the eleven-bit field

private:
    VLCWriter& m_bits;
    std::uint32_t m_alphaBits;
};

constexpr std::uint32_t kLongestAlphaRun = 2048;

// The code of the alpha samples of one slice. Samples are below 1 << alphaBits.
std::vector<std::uint8_t> codedAlpha(std::span<const std::uint16_t> samples, std::uint32_t alphaBits,
                                     AlphaRunCoding runCoding, AlphaDifferenceCoding differenceCoding);
