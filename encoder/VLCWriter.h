#pragma once

#include <cstdint>
#include <vector>

// Bits into bytes, most significant bit first.
class VLCWriter {
public:
    // Appends the low `numBits` bits of `value`; bits above them are ignored.
    void put(std::uint64_t value, std::uint32_t numBits); // numBits in [0, 64]
    void putZeros(std::uint64_t numBits);

    std::uint64_t numBits() const { return m_bytes.size() * 8 + m_pendingCount; }

    // Hands over all bytes, the last one filled up with zero bits. The writer is empty afterwards.
    std::vector<std::uint8_t> takeBytes();

private:
    void putUpTo32(std::uint64_t value, std::uint32_t numBits);

    std::vector<std::uint8_t> m_bytes; // a multiple of four
    std::uint64_t m_pending = 0;       // bits not yet in m_bytes, right-aligned
    std::uint32_t m_pendingCount = 0;  // [0, 31] between calls
};

// Stands in for VLCWriter where only the length of a code is wanted.
class VLCCounter {
public:
    void put(std::uint64_t /*value*/, std::uint32_t numBits) { m_numBits += numBits; }
    std::uint64_t numBits() const { return m_numBits; }

private:
    std::uint64_t m_numBits = 0;
};

inline void VLCWriter::putUpTo32(std::uint64_t value, std::uint32_t numBits) {
    m_pending = (m_pending << numBits) | (value & ((std::uint64_t{1} << numBits) - 1));
    m_pendingCount += numBits;
    if (m_pendingCount < 32)
        return;
    m_pendingCount -= 32;
    const std::uint64_t word = m_pending >> m_pendingCount;
    const std::uint8_t bytes[4] = {
        static_cast<std::uint8_t>((word >> 24) & 0xFF), static_cast<std::uint8_t>((word >> 16) & 0xFF),
        static_cast<std::uint8_t>((word >> 8) & 0xFF), static_cast<std::uint8_t>(word & 0xFF)};
    m_bytes.insert(m_bytes.end(), bytes, bytes + 4);
    m_pending &= (std::uint64_t{1} << m_pendingCount) - 1;
}

inline void VLCWriter::put(std::uint64_t value, std::uint32_t numBits) {
    if (numBits > 32) {
        putUpTo32(value >> 32, numBits - 32);
        numBits = 32;
    }
    putUpTo32(value, numBits);
}
