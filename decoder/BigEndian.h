#pragma once

#include <cstdint>
#include <cstring>

// Big-endian loads for the readers of bits. They have internal linkage: units compiled for different instructions each
// need a copy of their own.

// Eight bytes, the first in the top bits.
static inline std::uint64_t loadBigEndian64(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap64(word);
}

// The first `numBytes` (0 to 8) bytes in the top bits of the word, zeros below. Reads no other byte.
static inline std::uint64_t loadLeadingBytes(const std::uint8_t* bytes, std::uint64_t numBytes) {
    if (numBytes >= 8)
        return loadBigEndian64(bytes);
    std::uint64_t word = 0;
    for (std::uint64_t i = 0; i < numBytes; ++i)
        word |= std::uint64_t{bytes[i]} << (56 - 8 * i);
    return word;
}
