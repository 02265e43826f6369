#include "SlowBitReader.h"

#include <algorithm>

SlowBitReader::Word SlowBitReader::refill() {
    const std::size_t numRemaining = m_range.size() - m_nextByte;
    if (numRemaining == 0) {
        m_readPastEnd = true;
        return {0, 8};
    }
    const std::size_t numLoaded = std::min<std::size_t>(numRemaining, 8);
    Word word;
    for (std::size_t i = 0; i < numLoaded; ++i)
        word.bits = (word.bits << 8) | m_range[m_nextByte + i];
    word.bitCount = 8 * numLoaded;
    m_nextByte += numLoaded;
    return word;
}

std::uint32_t SlowBitReader::getBits(std::uint32_t n) {
    Word word{m_bitBuffer, m_bitCount};
    std::uint64_t need = n;
    std::uint64_t high = 0;
    if (n > m_bitCount) {
        need = n - m_bitCount;
        high = m_bitBuffer << need;
        word = refill();
        if (need > word.bitCount && !m_readPastEnd)
            m_wrappedInData = true;
    }
    m_bitCount = word.bitCount - need;
    const std::uint64_t value = high | (word.bits >> (m_bitCount % 64));
    m_bitBuffer = keptBits(word.bits);
    return static_cast<std::uint32_t>(value);
}

// Clears the bits at and above the count. They differ by target only in a count that has wrapped.
std::uint64_t SlowBitReader::keptBits(std::uint64_t word) const {
    const std::uint64_t shownCount = m_target == OptimizationTarget::AVX2 ? m_bitCount % 256 : m_bitCount % 64;
    if (shownCount >= 64)
        return word;
    return word & ((std::uint64_t{1} << shownCount) - 1);
}

std::uint32_t SlowBitReader::peekBits32() const {
    if (m_bitCount >= 32)
        return static_cast<std::uint32_t>(m_bitBuffer >> ((m_bitCount - 32) % 64));
    std::uint32_t next = 0;
    for (std::size_t i = 0; i < 4; ++i)
        next = (next << 8) | rangeByte(m_nextByte + i);
    return static_cast<std::uint32_t>((m_bitBuffer << (32 - m_bitCount)) | (next >> m_bitCount));
}

bool SlowBitReader::onlyZerosRemain() const {
    const std::uint64_t numBytes = m_range.size() - m_nextByte;
    if (!m_readPastEnd && m_bitCount + 8 * numBytes > 64)
        return false;
    for (std::size_t i = m_nextByte; i < m_range.size(); ++i) {
        if (m_range[i] != 0)
            return false;
    }
    return m_bitBuffer == 0;
}
