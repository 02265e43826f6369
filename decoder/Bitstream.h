#pragma once

#include <cstdint>

// A read cursor: the next byte and the count of bytes that remain behind it. The bytes belong to somebody else.
struct Bitstream {
    const std::uint8_t* data = nullptr;
    std::uint64_t size = 0; // bytes that remain at `data`

    // Moves on by the smaller of `numBytes` and the bytes that remain, so the count never wraps.
    void advance(std::uint64_t numBytes);

    // Big-endian fields at `offset` bytes from the cursor. Bytes at or beyond `size` read as zero. The cursor stays.
    std::uint32_t byteAt(std::uint64_t offset) const;
    std::uint32_t word16At(std::uint64_t offset) const;
    std::uint32_t word32At(std::uint64_t offset) const;
};
