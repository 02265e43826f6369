#include "GuardedBytes.h"

#include <algorithm>

Bitstream GuardedBytes::hold(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kUsualCapacity = std::size_t{1} << 16;
    if (!m_memory || bytes.size() > m_memory->capacityBytes())
        m_memory = std::make_unique<GuardedMemory>(std::max(bytes.size(), kUsualCapacity));
    m_bits = {m_memory->copyAtEnd(bytes), bytes.size()};
    return m_bits;
}
