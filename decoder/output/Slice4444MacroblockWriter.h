#pragma once

#include <cstdint>

#include "Targets.h"
#include "WriterForms.h"

// Writes A Y Cb Cr or A R G B for every pixel, with A from the decoded alpha plane. Blocks and colours are those of
// Slice444MacroblockWriter.
//
// Alpha has two forms. Groups of AVX2 multiply by a scale and round to nearest; single pixels, and all pixels of
// Baseline, multiply and divide integers, which rounds down and, from 16 bits to 16 bits, wraps: a sample of 32769 or
// more loses one. Reduced sizes ignore the plane and write opaque pixels, except for 16-bit alpha at half
// size, where groups of AVX2 write 127.
template <OptimizationTarget target, class Real>
class Slice4444MacroblockWriter
    : public WriterForms<Slice4444MacroblockWriter<target, Real>, target, Real, unsigned int> {
public:
    // `alphaDepth` is 8 or 16 bits, `alphaPitch` the samples from a row of the alpha plane to the next.
    Slice4444MacroblockWriter(PixelBuffer const& pixelBuffer, unsigned int alphaDepth, std::uint64_t alphaPitch);
    Slice4444MacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer, unsigned int alphaDepth,
                              std::uint64_t alphaPitch);

    bool readsAlpha() const override;

private:
    using Base = WriterForms<Slice4444MacroblockWriter, target, Real, unsigned int>;
    friend Base;

    static constexpr bool kWritesRgb = true;

    template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
    void write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb, Blocks<Value, size> cr,
               std::uint16_t const* alpha) const;

    const std::uint64_t m_alphaPitch;
};

RAVELO_INSTANCES_ELSEWHERE(Slice4444MacroblockWriter, float);
