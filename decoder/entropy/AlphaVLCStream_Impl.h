#pragma once

#include <cstddef>

#include "AlphaVLCStream.h"
#include "VLCStream_Impl.h"

template <OptimizationTarget target>
AlphaVLCStream<target>::AlphaVLCStream(Bitstream const& bitstream, unsigned int alphaBits)
    : VLCStream<target>(bitstream),
      m_alphaBits(alphaBits),
      m_smallDiffCodeLength(alphaBits == 16 ? kSmallAlphaDiffCodeLength_16b : kSmallAlphaDiffCodeLength_8b) {}

template <OptimizationTarget target>
AlphaVLCStream<target>::AlphaVLCStream(Bitstream const& bitstream, unsigned int alphaBits, std::uint64_t bitPosition)
    : AlphaVLCStream(bitstream, alphaBits) {
    this->startAt(bitPosition);
}

template <OptimizationTarget target>
unsigned int AlphaVLCStream<target>::alpha_difference() {
    m_moduloDifference = this->getBits(1) == 1;
    if (m_moduloDifference)
        return this->getBits(m_alphaBits);
    const unsigned int code = this->getBits(m_smallDiffCodeLength - 1);
    const unsigned int magnitude = (code >> 1) + 1;
    return (code & 1) != 0 ? 0u - magnitude : magnitude;
}

template <OptimizationTarget target>
unsigned int AlphaVLCStream<target>::run() {
    if (this->getBits(1) == 1)
        return 1;
    const unsigned int shortRun = this->getBits(kNumShortRunVLCBits - 1);
    if (shortRun != 0)
        return shortRun + 1;
    return this->getBits(kNumLongRunFLCBits) + 1;
}

template <OptimizationTarget target>
void AlphaVLCStream<target>::fillSamples(std::uint16_t* samples, std::uint32_t numSamples, std::uint32_t value) {
    const std::uint32_t mask = m_alphaBits == 8 ? 0xFFu : 0xFFFFu;
    std::uint16_t* const end = samples + numSamples;
    do {
        value += alpha_difference();
        if (m_moduloDifference)
            value &= mask;
        const std::uint32_t wanted = run();
        const auto left = static_cast<std::size_t>(end - samples);
        // A pointer and no index, so that the compiler may fill with wide stores.
        std::uint16_t* const endOfRun = samples + (wanted < left ? wanted : left);
        while (samples != endOfRun)
            *samples++ = static_cast<std::uint16_t>(value);
    } while (samples != end);
}
