#pragma once

#include "BigEndian.h"
#include "Targets.h"
#include "VLCStream.h"

// Keeps the low bits of a word that are still unread. The two forms agree while `count` is below 64; beyond it the
// count has wrapped, and each target keeps what its instructions keep.
template <OptimizationTarget target>
static inline std::uint64_t keepUnreadBits(std::uint64_t bits, std::uint64_t count) {
    if (kHasVectorForms<target> && (count & 0xFF) >= 64)
        return bits;
    return bits & ((std::uint64_t{1} << (count & 63)) - 1);
}

template <OptimizationTarget target>
typename VLCStream<target>::Word VLCStream<target>::refill() {
    if (m_bitstream.size == 0) {
        m_readPastEnd = true;
        return {0, 8};
    }
    const std::uint64_t numBytes = m_bitstream.size < 8 ? m_bitstream.size : 8;
    const Word word{loadLeadingBytes(m_bitstream.data, numBytes) >> (64 - 8 * numBytes), 8 * numBytes};
    m_bitstream.data += numBytes;
    m_bitstream.size -= numBytes;
    return word;
}

template <OptimizationTarget target>
void VLCStream<target>::startAt(std::uint64_t bitPosition) {
    const std::uint64_t wholeWords = bitPosition / 64;
    const std::uint64_t bitsOfWord = bitPosition % 64;
    m_bitstream.data += 8 * wholeWords;
    m_bitstream.size -= 8 * wholeWords;
    if (bitsOfWord == 0)
        return;
    const Word word = refill();
    m_bitCount = word.count - bitsOfWord;
    m_bitBuffer = keepUnreadBits<target>(word.bits, m_bitCount);
}

template <OptimizationTarget target>
unsigned int VLCStream<target>::getBits(unsigned int n) {
    std::uint64_t need = n;
    std::uint64_t high = 0;
    Word word{m_bitBuffer, m_bitCount};
    if (n > m_bitCount) {
        need = n - m_bitCount;
        high = m_bitBuffer << (need & 63);
        word = refill();
    }
    m_bitCount = word.count - need;
    m_bitBuffer = keepUnreadBits<target>(word.bits, m_bitCount);
    return static_cast<unsigned int>(high | word.bits >> (m_bitCount & 63));
}

template <OptimizationTarget target>
std::uint32_t VLCStream<target>::peekBits32() const {
    if (m_bitCount >= 32)
        return static_cast<std::uint32_t>(m_bitBuffer >> ((m_bitCount - 32) & 63));
    const std::uint64_t numBytes = m_bitstream.size < 4 ? m_bitstream.size : 4;
    const std::uint64_t next = loadLeadingBytes(m_bitstream.data, numBytes) >> 32;
    return static_cast<std::uint32_t>(m_bitBuffer << (32 - m_bitCount) | next >> m_bitCount);
}
