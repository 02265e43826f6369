#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "OptimizationTarget.h"

// The bit reader of the slow model: the arithmetic of a word that is replaced whole when it runs out, written out step
// by step. Bits beyond the range are zeros for every kind of read.
//
// One read replaces the word once at most. A read that needs more than what is left and the next word together, which
// can happen only where the range ends, takes the count of bits below zero. The format says nothing about what a reader
// delivers from there on, so wrappedInData() says that further values are meaningless.
class SlowBitReader {
public:
    SlowBitReader(std::span<const std::uint8_t> range, OptimizationTarget target) : m_range(range), m_target(target) {}

    std::uint32_t getBits(std::uint32_t n); // n in [0, 35]; the low 32 bits of the value
    std::uint32_t peekBits32() const;
    bool onlyZerosRemain() const; // true when at most 64 bits remain and all of them are zero
    bool readPastEnd() const { return m_readPastEnd; }
    bool wrappedInData() const { return m_wrappedInData; }
    OptimizationTarget target() const { return m_target; }

private:
    struct Word {
        std::uint64_t bits = 0;
        std::uint64_t bitCount = 0;
    };
    Word refill();
    std::uint64_t keptBits(std::uint64_t word) const;
    std::uint8_t rangeByte(std::size_t index) const { return index < m_range.size() ? m_range[index] : 0; }

    std::span<const std::uint8_t> m_range;
    OptimizationTarget m_target;
    std::size_t m_nextByte = 0;
    std::uint64_t m_bitBuffer = 0;
    std::uint64_t m_bitCount = 0; // [0, 63] unless a read wrapped it
    bool m_readPastEnd = false;
    bool m_wrappedInData = false;
};
