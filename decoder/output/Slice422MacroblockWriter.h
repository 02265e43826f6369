#pragma once

#include <cstdint>

#include "Targets.h"
#include "WriterForms.h"

// Writes Cb Y Cr Y for every two pixels; a row of odd width ends in Cb Y. Blocks 0 and 1 of luma cover the upper half
// of the macroblock, 2 and 3 the lower; chroma block 0 covers the upper half, 1 the lower, and chroma column c belongs
// to luma columns 2c and 2c + 1. It is never used for RGB, and ignores the alpha plane.
template <OptimizationTarget target, class Real>
class Slice422MacroblockWriter : public WriterForms<Slice422MacroblockWriter<target, Real>, target, Real> {
public:
    explicit Slice422MacroblockWriter(PixelBuffer const& pixelBuffer);
    Slice422MacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer);

private:
    using Base = WriterForms<Slice422MacroblockWriter, target, Real>;
    friend Base;

    static constexpr bool kWritesRgb = false;

    template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
    void write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb, Blocks<Value, size> cr,
               std::uint16_t const* alpha) const;

    // The forms for a whole row. Each returns false, having written nothing, for a macroblock that it does not support.
    template <class Sample>
    bool writeWholeRows(unsigned int mb, Blocks<Real, 8> y, Blocks<Real, 8> cb, Blocks<Real, 8> cr) const;
    template <class Sample>
    bool writeWholeRows(unsigned int mb, Blocks<std::int16_t, 8> y, Blocks<std::int16_t, 8> cb,
                        Blocks<std::int16_t, 8> cr) const;
    template <class Sample>
    bool writeWholeRows(unsigned int mb, Blocks<std::int16_t, 4> y, Blocks<std::int16_t, 4> cb,
                        Blocks<std::int16_t, 4> cr) const;
    template <class Sample>
    bool writeWholeRows(unsigned int mb, Blocks<std::int16_t, 2> y, Blocks<std::int16_t, 2> cb,
                        Blocks<std::int16_t, 2> cr) const;
    template <class Sample>
    bool writeWholeRows(unsigned int mb, Blocks<std::int16_t, 1> y, Blocks<std::int16_t, 1> cb,
                        Blocks<std::int16_t, 1> cr) const;
    template <class Sample, class Value>
    void writePixels(Value const* cb, Value const* y, Value const* cr, unsigned int width, std::uint8_t* out) const;
};

RAVELO_INSTANCES_ELSEWHERE(Slice422MacroblockWriter, float);
