#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// A reader of the encoder's codes that shares nothing with the encoder: it keeps bits one by one in a list and follows
// the definition of each code word for word.

// The bits of a range as text, for tests that work a code out by hand.
std::string bitsOf(std::span<const std::uint8_t> bytes);

class NaiveBits {
public:
    explicit NaiveBits(std::span<const std::uint8_t> bytes);

    std::uint64_t take(std::uint32_t numBits); // throws std::out_of_range beyond the end
    std::size_t left() const { return m_bits.size() - m_position; }
    bool onlyZerosLeft() const;

private:
    std::vector<bool> m_bits;
    std::size_t m_position = 0;
};

struct NaiveCode {
    std::uint32_t lastRiceQ, riceBits, expGolombBits;
};

struct NaiveValue {
    std::uint64_t value = 0;
    std::uint32_t prefix = 0;
};

NaiveValue readCode(NaiveBits& bits, NaiveCode const& code);

struct NaiveComponent {
    std::vector<std::int16_t> coefficients; // block order: 64 values a block, each block in scan order
    std::uint32_t longestPrefix = 0;
    std::size_t tailBits = 0; // zero bits after the last symbol
};

// Throws std::runtime_error for a component that does not end as it must.
NaiveComponent readComponent(std::span<const std::uint8_t> range, std::uint32_t numBlocks);

struct NaiveAlphaRun {
    std::uint16_t value = 0;
    std::uint32_t length = 0;
    bool longDifference = false;
    std::uint32_t lengthBits = 0; // 1, 5 or 16
};

// The runs of an alpha plane of `numSamples` samples, and the samples that they hold.
std::vector<NaiveAlphaRun> readAlphaRuns(std::span<const std::uint8_t> range, std::uint32_t alphaBits,
                                         std::size_t numSamples);
std::vector<std::uint16_t> samplesOf(std::vector<NaiveAlphaRun> const& runs);
