#pragma once

#include <cstdint>

#include "Targets.h"
#include "WriterForms.h"

// Writes A Y Cb Cr or A R G B for every pixel of a frame without alpha; A is the greatest code. The chroma blocks run
// down the columns and the luma blocks along the rows: the top right quadrant is luma block 1 and chroma block 2, the
// bottom left luma block 2 and chroma block 1.
//
// On AVX2 a whole half row of a macroblock is converted to RGB as a vector group would; the rest of a clipped
// row is converted pixel by pixel with divisions, except for 8-bit output, which uses the reciprocals everywhere.
template <OptimizationTarget target, class Real>
class Slice444MacroblockWriter : public WriterForms<Slice444MacroblockWriter<target, Real>, target, Real> {
public:
    explicit Slice444MacroblockWriter(PixelBuffer const& pixelBuffer);
    Slice444MacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer);

private:
    using Base = WriterForms<Slice444MacroblockWriter, target, Real>;
    friend Base;

    static constexpr bool kWritesRgb = true;

    template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
    void write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb, Blocks<Value, size> cr,
               std::uint16_t const* alpha) const;

    const std::uint16_t m_opaqueAlpha;
};

RAVELO_INSTANCES_ELSEWHERE(Slice444MacroblockWriter, float);
