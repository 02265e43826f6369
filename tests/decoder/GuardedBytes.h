#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Bitstream.h"

// Input bytes that end where unmapped memory begins, so that every build sees a read beyond them. One object serves
// any number of ranges, one after the other.
class GuardedBytes {
public:
    static constexpr std::size_t kCapacity = std::size_t{1} << 16;

    GuardedBytes();
    explicit GuardedBytes(std::vector<std::uint8_t> const& bytes) : GuardedBytes() { hold(bytes); }
    ~GuardedBytes();

    GuardedBytes(GuardedBytes const&) = delete;
    GuardedBytes& operator=(GuardedBytes const&) = delete;

    // Takes a copy of at most kCapacity bytes and returns a cursor over it.
    Bitstream hold(std::vector<std::uint8_t> const& bytes);
    Bitstream bits() const { return m_bits; }

private:
    void* m_mapping;
    std::size_t m_mappingBytes;
    std::uint8_t* m_end;
    Bitstream m_bits;
};
