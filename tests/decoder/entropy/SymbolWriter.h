#pragma once

#include <cstdint>
#include <vector>

#include "FrameMaker.h"

// One member of the code family: prefixes to lastRiceQ take riceBits of suffix, longer ones escape.
struct TestCodebook {
    std::uint32_t lastRiceQ, riceBits, expGolombBits;
};

// The codebooks as the format has them, written out here a second time.
constexpr TestCodebook kFirstDcBook = {0, 5, 6};
constexpr TestCodebook kDcBooks[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
constexpr TestCodebook kRunBooks[16] = {{2, 0, 1}, {2, 0, 1}, {1, 0, 1}, {1, 0, 1}, {0, 0, 1}, {1, 1, 2},
                                        {1, 1, 2}, {1, 1, 2}, {1, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2},
                                        {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3}};
constexpr TestCodebook kLevelBooks[9] = {{2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2},
                                         {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3}};

// The zero bits of the prefix with which a value is coded.
std::uint32_t prefixOf(TestCodebook const& book, std::uint64_t value);

// Writes the symbols of one component one by one and keeps the adaptive state, so that a test can make any sequence of
// symbols, those that no encoder makes too.
class SymbolWriter {
public:
    void firstDc(std::int64_t value);
    void dcDifference(std::int64_t value);
    void run(std::uint32_t value);
    void level(std::uint32_t absLevelMinus1);
    void sign(std::uint32_t bit) { m_bits.put(bit, 1); }
    void triple(std::uint32_t runLength, std::int32_t levelWithSign);

    // A code of any value and book; the state stays.
    void code(TestCodebook const& book, std::uint64_t value);
    void prefix(std::uint32_t numZeros); // zeros and the one bit after them
    void bits(std::uint64_t value, std::uint32_t numBits) { m_bits.put(value, numBits); }
    void zeros(std::uint64_t numBits) { m_bits.putZeros(numBits); }

    std::uint64_t numBits() const { return m_bits.numBits(); }
    std::vector<std::uint8_t> const& bytes() const { return m_bits.bytes(); }

private:
    BitWriter m_bits;
    std::int64_t m_previousDifference = 3;
    std::uint32_t m_previousRun = 4;
    std::uint32_t m_previousLevel = 1;
};

// Bytes from a string of 0 and 1; blanks are passed over, and the last byte is filled up with zeros.
std::vector<std::uint8_t> bytesOfBits(const char* bits);
