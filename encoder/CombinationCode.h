#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// The bits of a code, right-aligned.
struct CodeBits {
    std::uint64_t bits;
    std::uint32_t numBits;
};

// One member of the family of codes for coefficients: a prefix of q zeros and a one, then a suffix.
//
// Values below (lastRiceQ + 1) << riceBits are Golomb-Rice codes: the prefix is the value without its low riceBits
// bits, which form the suffix. Greater values escape: class q has a suffix of expGolombBits + q - lastRiceQ - 1 bits
// and holds as many values as that has patterns, so the values run on without a gap.
struct CombinationCode {
    std::uint32_t lastRiceQ;     // the longest prefix of the Golomb-Rice range
    std::uint32_t riceBits;      // suffix bits in that range
    std::uint32_t expGolombBits; // suffix bits of the first escape class

    // The code of `value`. Of more than 64 bits the first ones, which are zeros, have no place in `bits`.
    constexpr CodeBits codeOf(std::uint32_t value) const;

    // Appends the code of `value`. A sink is a VLCWriter or a VLCCounter.
    template <class Sink>
    void put(Sink& sink, std::uint32_t value) const;
};

// The adaptive choice of a code from the value of the symbol before it.
inline constexpr CombinationCode kFirstDCCode = {0, 5, 6};
// By the magnitude of the last difference, to 3.
inline constexpr CombinationCode kDCDifferenceCodes[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
// By the last run, to 15.
inline constexpr CombinationCode kRunCodes[16] = {
    {2, 0, 1}, {2, 0, 1}, {1, 0, 1}, {1, 0, 1}, {0, 0, 1}, {1, 1, 2}, {1, 1, 2}, {1, 1, 2},
    {1, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3},
};
// By the last level less one, to 8.
inline constexpr CombinationCode kLevelCodes[9] = {
    {2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3},
};

// The longest prefix that every decoder reads. Coefficients of 16 bits need far less: their longest code has 16 zeros.
constexpr std::uint32_t kLongestPortablePrefix = 29;

constexpr CodeBits CombinationCode::codeOf(std::uint32_t value) const {
    const std::uint32_t firstEscape = (lastRiceQ + 1) << riceBits;
    if (value < firstEscape) {
        const std::uint32_t suffix = value & ((1u << riceBits) - 1);
        return {(1u << riceBits) | suffix, (value >> riceBits) + 1 + riceBits};
    }
    // The leading one of this sum is the one of the prefix, and what follows it is the suffix.
    const std::uint64_t escaped = std::uint64_t{value} - firstEscape + (std::uint64_t{1} << expGolombBits);
    const std::uint32_t suffixBits = static_cast<std::uint32_t>(std::bit_width(escaped)) - 1;
    const std::uint32_t prefix = suffixBits - expGolombBits + 1 + lastRiceQ;
    return {escaped, prefix + 1 + suffixBits};
}

template <class Sink>
void CombinationCode::put(Sink& sink, std::uint32_t value) const {
    const CodeBits code = codeOf(value);
    if (code.numBits > 64) {
        sink.put(0, code.numBits - 64);
        sink.put(code.bits, 64);
        return;
    }
    sink.put(code.bits, code.numBits);
}

// The values of nearly all symbols. Their codes have at most 15 bits.
inline constexpr std::uint32_t kNumTableValues = 64;

// The codes of these values, by code and value.
template <std::size_t numCodes>
class CodeTable {
public:
    explicit constexpr CodeTable(CombinationCode const (&codes)[numCodes]) {
        for (std::size_t code = 0; code < numCodes; ++code)
            for (std::uint32_t value = 0; value < kNumTableValues; ++value) {
                const CodeBits bits = codes[code].codeOf(value);
                m_entries[code][value] = {static_cast<std::uint16_t>(bits.bits),
                                          static_cast<std::uint16_t>(bits.numBits)};
            }
    }

    constexpr CodeBits codeOf(std::size_t code, std::uint32_t value) const {
        return {m_entries[code][value].bits, m_entries[code][value].numBits};
    }

private:
    struct Entry {
        std::uint16_t bits;
        std::uint16_t numBits;
    };
    std::array<std::array<Entry, kNumTableValues>, numCodes> m_entries{};
};

inline constexpr CodeTable<16> kRunTable(kRunCodes);
inline constexpr CodeTable<9> kLevelTable(kLevelCodes);
