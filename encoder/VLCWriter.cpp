#include "VLCWriter.h"

#include <algorithm>
#include <utility>

void VLCWriter::putZeros(std::uint64_t numBits) {
    while (numBits > 0) {
        const std::uint64_t step = std::min<std::uint64_t>(numBits, 64);
        put(0, static_cast<std::uint32_t>(step));
        numBits -= step;
    }
}

std::vector<std::uint8_t> VLCWriter::takeBytes() {
    for (; m_pendingCount > 8; m_pendingCount -= 8)
        m_bytes.push_back(static_cast<std::uint8_t>((m_pending >> (m_pendingCount - 8)) & 0xFF));
    if (m_pendingCount > 0)
        m_bytes.push_back(static_cast<std::uint8_t>((m_pending << (8 - m_pendingCount)) & 0xFF));
    m_pending = 0;
    m_pendingCount = 0;
    return std::exchange(m_bytes, {});
}
