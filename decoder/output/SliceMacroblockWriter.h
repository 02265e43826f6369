#pragma once

#include <cstdint>

#include "OutputForm.h"
#include "PixelBuffer.h"
#include "Targets.h"

// Blocks of `size` x `size` values, row by row.
template <class Value, unsigned int size>
using Blocks = Value const (*)[size][size];

// Writes finished macroblocks of one slice into the caller's memory.
//
// Samples arrive signed, 512 steps from -256 up at every output depth: a code of 8 bits is (s + 256) / 2, so -224 is
// video black, 214 video white, and chroma reaches 224 steps either side of 0. Values of any size are clamped. `mb`
// counts macroblocks from the start of the slice; `y`, `cb` and `cr` point at that macroblock's first block, and
// `alpha` at the slice's alpha plane where the writer reads one.
template <OptimizationTarget target, class Real>
class SliceMacroblockWriter {
public:
    // A writer of the rectangle `pixelBuffer`. Throws as outputLevels does.
    explicit SliceMacroblockWriter(PixelBuffer const& pixelBuffer)
        : SliceMacroblockWriter(OutputForm(pixelBuffer), pixelBuffer) {}
    // The same with the form of its picture, which is not computed again.
    SliceMacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer)
        : m_pixelBuffer(pixelBuffer), m_form(form) {}
    virtual ~SliceMacroblockWriter();

    SliceMacroblockWriter(SliceMacroblockWriter const&) = delete;
    SliceMacroblockWriter& operator=(SliceMacroblockWriter const&) = delete;

    virtual void operator()(unsigned int mb, Blocks<Real, 8> y, Blocks<Real, 8> cb, Blocks<Real, 8> cr,
                            std::uint16_t const* alpha) const = 0;
    virtual void reconstructBlock16s(unsigned int mb, Blocks<std::int16_t, 8> y, Blocks<std::int16_t, 8> cb,
                                     Blocks<std::int16_t, 8> cr, std::uint16_t const* alpha) const = 0;
    virtual void reconstructBlock16s_Half(unsigned int mb, Blocks<std::int16_t, 4> y, Blocks<std::int16_t, 4> cb,
                                          Blocks<std::int16_t, 4> cr, std::uint16_t const* alpha) const = 0;
    virtual void reconstructBlock16s_Quarter(unsigned int mb, Blocks<std::int16_t, 2> y, Blocks<std::int16_t, 2> cb,
                                             Blocks<std::int16_t, 2> cr, std::uint16_t const* alpha) const = 0;
    virtual void reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb,
                                            std::int16_t const* cr, std::uint16_t const* alpha) const = 0;

    // Whether any of the operations above reads `alpha`.
    virtual bool readsAlpha() const;

    // The clipped size of macroblock `mb`, in pixels: the parts left and right of its middle, the rows above and below.
    void setBlockBounds(unsigned int mb, unsigned int& leftWidth, unsigned int& rightWidth, unsigned int& topHeight,
                        unsigned int& bottomHeight) const;

    // floor(x + 0.5) as an integer; beyond the range of 32 bits the nearer end.
    static std::int32_t round(Real x);

    // The least code if the argument is below it, else the lesser of the argument and the greatest code.
    std::int32_t clamp(std::int32_t code) const;

    // The code of a Y, Cb or Cr sample.
    std::int32_t encodeSample(Real sample) const { return clamp(unclampedCode(sample)); }
    std::int32_t unclampedCode(Real sample) const;

    // The three codes of one pixel after its alpha, before clamping.
    struct ColorCodes {
        std::int32_t first, second, third;
    };

    // Red, green and blue, with divisions, the first of them in double precision.
    ColorCodes convertToRGB(Real y, Real cb, Real cr) const;

    // The same with multiplications by rounded reciprocals: the form of a vector lane.
    ColorCodes convertToRGBByReciprocals(Real y, Real cb, Real cr) const;

    PixelBuffer const& pixelBuffer() const { return m_pixelBuffer; }
    OutputForm const& form() const { return m_form; }
    OutputLevels const& levels() const { return m_form.levels; }

    // Macroblocks begin `bytesPerMb` bytes apart, whatever is clipped of them.
    std::uint8_t* firstPixel(unsigned int mb, std::uint64_t bytesPerMb) const {
        return movedBy(m_pixelBuffer.pixels, static_cast<std::int64_t>(mb * bytesPerMb));
    }

private:
    const PixelBuffer m_pixelBuffer;
    const OutputForm m_form;
};

RAVELO_INSTANCES_ELSEWHERE(SliceMacroblockWriter, float);
