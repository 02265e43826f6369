#pragma once

#include <cstdint>

/// A read cursor: the next byte and the number of bytes that remain. It does not own the bytes.
struct Bitstream {
    const std::uint8_t* data = nullptr; ///< the next byte
    std::uint64_t size = 0;             ///< bytes that remain at `data`

    /// Advances by the smaller of `numBytes` and the bytes that remain, so the count never wraps.
    void advance(std::uint64_t numBytes);

    /// The byte at `offset` bytes from the cursor, or 0 at or beyond `size`. The cursor does not move.
    std::uint32_t byteAt(std::uint64_t offset) const;

    /// Two bytes as a big-endian number, each read as by byteAt().
    std::uint32_t word16At(std::uint64_t offset) const;

    /// Four bytes as a big-endian number, each read as by byteAt().
    std::uint32_t word32At(std::uint64_t offset) const;
};
