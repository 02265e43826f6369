#pragma once

#include <cstdint>

#include "Targets.h"
#include "VLCStream.h"

// Decodes the alpha samples of one slice: pairs of a difference from the last value and a run of the new one.
//
// Nothing here fails. Bad data gives wrong samples, and a range that ends early gives a ramp, since zero bits read as
// a difference of +1 and a run of 1.
template <OptimizationTarget target>
class AlphaVLCStream : public VLCStream<target> {
public:
    static constexpr unsigned int kSmallAlphaDiffCodeLength_8b = 5;  // bits, flag included
    static constexpr unsigned int kSmallAlphaDiffCodeLength_16b = 8; // bits, flag included
    static constexpr unsigned int kNumShortRunVLCBits = 5;           // flag included
    static constexpr unsigned int kNumLongRunFLCBits = 11;

    // Takes pointer and byte count from `bitstream`. `alphaBits` is 8 or 16.
    AlphaVLCStream(Bitstream const& bitstream, unsigned int alphaBits);

    // The same range, with everything before `bitPosition` (inside the range) already read.
    AlphaVLCStream(Bitstream const& bitstream, unsigned int alphaBits, std::uint64_t bitPosition);

    // The next difference, in two's complement.
    unsigned int alpha_difference();

    // Whether the last difference was of the long form, which counts modulo the sample depth.
    bool isModuloAlphaDifference() const { return m_moduloDifference; }

    // The next run, 1 to 2048 samples.
    unsigned int run();

    // The value before the first sample.
    static constexpr std::uint32_t kInitialValue = 0xFFFFFFFF;

    // Reads differences and runs until `numSamples` samples are filled. `value` is the one before the first of them.
    // Only long differences bring the value back into the depth, so the low 16 bits of larger ones may be stored.
    void fillSamples(std::uint16_t* samples, std::uint32_t numSamples, std::uint32_t value = kInitialValue);

private:
    std::uint32_t m_alphaBits;
    std::uint32_t m_smallDiffCodeLength;
    bool m_moduloDifference = false;
};

RAVELO_INSTANCES_ELSEWHERE(AlphaVLCStream);
