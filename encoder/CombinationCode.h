#pragma once

#include <bit>
#include <cstdint>

// One member of the family of codes for coefficients: a prefix of q zeros and a one, then a suffix.
//
// Values below (lastRiceQ + 1) << riceBits are Golomb-Rice codes: the prefix is the value without its low riceBits
// bits, which form the suffix. Greater values escape: class q has a suffix of expGolombBits + q - lastRiceQ - 1 bits
// and holds as many values as that has patterns, so the values run on without a gap.
struct CombinationCode {
    std::uint32_t lastRiceQ;     // the longest prefix of the Golomb-Rice range
    std::uint32_t riceBits;      // suffix bits in that range
    std::uint32_t expGolombBits; // suffix bits of the first escape class

    // Appends the code of `value`. A sink is a VLCWriter or a VLCCounter.
    template <class Sink>
    void put(Sink& sink, std::uint32_t value) const;
};

// The adaptive choice of a code from the value of the symbol before it.
extern const CombinationCode kFirstDCCode;
extern const CombinationCode kDCDifferenceCodes[4]; // by the magnitude of the last difference, to 3
extern const CombinationCode kRunCodes[16];         // by the last run, to 15
extern const CombinationCode kLevelCodes[9];        // by the last level less one, to 8

// The longest prefix that every decoder reads. Coefficients of 16 bits need far less: their longest code has 16 zeros.
constexpr std::uint32_t kLongestPortablePrefix = 29;

template <class Sink>
void CombinationCode::put(Sink& sink, std::uint32_t value) const {
    const std::uint32_t firstEscape = (lastRiceQ + 1) << riceBits;
    if (value < firstEscape) {
        const std::uint32_t suffix = value & ((1u << riceBits) - 1);
        sink.put((1u << riceBits) | suffix, (value >> riceBits) + 1 + riceBits);
        return;
    }
    // The leading one of this sum is the one of the prefix, and what follows it is the suffix.
    const std::uint64_t escaped = std::uint64_t{value} - firstEscape + (std::uint64_t{1} << expGolombBits);
    const std::uint32_t suffixBits = static_cast<std::uint32_t>(std::bit_width(escaped)) - 1;
    const std::uint32_t prefix = suffixBits - expGolombBits + 1 + lastRiceQ;
    if (prefix + 1 + suffixBits > 64) {
        sink.put(0, prefix);
        sink.put(escaped, 1 + suffixBits);
        return;
    }
    sink.put(escaped, prefix + 1 + suffixBits);
}
