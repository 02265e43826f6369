#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "Bitstream.h"
#include "GuardedMemory.h"

// A copy of some bytes that ends where unmapped memory begins, so that every build sees a read beyond them. One object
// serves any number of ranges, one after the other.
class GuardedBytes {
public:
    GuardedBytes() { hold(std::span<const std::uint8_t>()); }
    explicit GuardedBytes(std::span<const std::uint8_t> bytes) { hold(bytes); }
    explicit GuardedBytes(std::vector<std::uint8_t> const& bytes) { hold(bytes); }

    // Takes a copy of the bytes and returns a cursor over it. The copy before is gone.
    Bitstream hold(std::span<const std::uint8_t> bytes);

    Bitstream bits() const { return m_bits; }
    const std::uint8_t* data() const { return m_bits.data; }

private:
    std::unique_ptr<GuardedMemory> m_memory;
    Bitstream m_bits;
};
