#pragma once

#include "CoeffVLCStream.h"
#include "Targets.h"
#include "VLCStream_Impl.h"

// Folds a code value to a signed one: 0, 1, 2, 3, 4 give 0, -1, 1, -2, 2. The failure value gives 0.
static inline int foldedToSigned(unsigned int value) {
    if (value % 2 == 0)
        return static_cast<int>(value) / 2;
    return -(static_cast<int>(value + 1) / 2);
}

template <OptimizationTarget target>
CoeffVLCStream<target>::CoeffVLCStream(Bitstream const& bitstream, std::uint64_t size)
    : VLCStream<target>(Bitstream{bitstream.data, size < bitstream.size ? size : bitstream.size}) {}

template <OptimizationTarget target>
CoeffVLCStream<target>::CoeffVLCStream(Bitstream const& bitstream, std::uint64_t size, CoeffVLCState const& state)
    : CoeffVLCStream(bitstream, size) {
    m_previousDCDiff = state.previousDCDiff;
    m_previousRun = state.previousRun;
    m_previousLevelSymbol = state.previousLevelSymbol;
    this->startAt(state.bitPosition);
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::limitedPrefix() {
    if (kHasVectorForms<target>) {
        const std::uint32_t next = this->peekBits32();
        const unsigned int q = next == 0 ? 32u : static_cast<unsigned int>(__builtin_clz(next));
        if (q < kPrefixLimit)
            this->getBits(q + 1);
        return q;
    }
    unsigned int q = 0;
    while (q < kPrefixLimit && this->getBits(1) == 0)
        ++q;
    return q;
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::codeAfterPrefix(unsigned int q, GolombCombinationCodeParams const* params) {
    const unsigned int lastRiceQ = params->lastRiceQ;
    const unsigned int riceBits = params->riceBits;
    if (q <= lastRiceQ)
        return (q << riceBits) + this->getBits(riceBits);
    // Shift counts are taken modulo 32: suffixes of more than 31 bits only arise in damaged data.
    const unsigned int suffixBits = params->expGolombBits + (q - lastRiceQ) - 1;
    const unsigned int suffix = this->getBits(suffixBits);
    return ((1u << (suffixBits & 31)) | suffix) - (1u << params->expGolombBits) + ((lastRiceQ + 1) << riceBits);
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::golombCombinationCode(GolombCombinationCodeParams const* params) {
    const unsigned int q = limitedPrefix();
    if (q >= kPrefixLimit) {
        m_invalidCode = true;
        return kInvalidCode;
    }
    return codeAfterPrefix(q, params);
}

template <OptimizationTarget target>
int CoeffVLCStream<target>::signedGolombCombinationCode(GolombCombinationCodeParams const* params) {
    return foldedToSigned(golombCombinationCode(params));
}

template <OptimizationTarget target>
int CoeffVLCStream<target>::first_dc_coeff() {
    return signedGolombCombinationCode(&s_firstDCParams);
}

template <OptimizationTarget target>
int CoeffVLCStream<target>::dc_coeff_difference() {
    // The magnitude is taken unsigned, since a wrapped difference may be the most negative value.
    const unsigned int previous = static_cast<unsigned int>(m_previousDCDiff);
    const unsigned int magnitude = m_previousDCDiff < 0 ? 0u - previous : previous;
    const int coded = signedGolombCombinationCode(&dcSymbolCodebook[magnitude < 3 ? magnitude : 3]);
    m_previousDCDiff = m_previousDCDiff < 0 ? static_cast<int>(0u - static_cast<unsigned int>(coded)) : coded;
    return m_previousDCDiff;
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::run() {
    m_previousRun = golombCombinationCode(&runCodebook[m_previousRun < 15 ? m_previousRun : 15]);
    return m_previousRun;
}

template <OptimizationTarget target>
int CoeffVLCStream<target>::abs_level_minus_1() {
    // Below zero after a failed level, when the scan can only fail and any book inside the table serves.
    const int bounded = m_previousLevelSymbol < 0 ? 0 : m_previousLevelSymbol;
    m_previousLevelSymbol = static_cast<int>(golombCombinationCode(&levelSymbolCodebook[bounded < 8 ? bounded : 8]));
    return m_previousLevelSymbol;
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::sign() {
    return this->getBits(1);
}

template <OptimizationTarget target>
bool CoeffVLCStream<target>::endOfData() const {
    if (!m_readPastEnd && (m_bitCount > 64 || m_bitCount + 8 * m_bitstream.size > 64))
        return false;
    // Here at most eight bytes are left unless the range was read past its end, when none are.
    return m_bitBuffer == 0 && loadLeadingBytes(m_bitstream.data, m_bitstream.size) == 0;
}
