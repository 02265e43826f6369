#pragma once

#include <cstdint>

#include "SliceMacroblockWriter.h"

// Writes A Y Cb Cr or A R G B for every pixel, with A from the decoded alpha plane. Blocks and colours are those of
// Slice444MacroblockWriter.
//
// Alpha has two forms. Groups of AVX2 multiply by a scale and round to nearest; single pixels, and all pixels of
// Baseline, multiply and divide integers, which rounds down and, from 16 bits to 16 bits, wraps: a sample of 32769 or
// more loses one. Reduced sizes never look at the plane and write opaque pixels, but for 16-bit alpha at half size,
// where groups of AVX2 write 127.
template <OptimizationTarget target, class Real>
class Slice4444MacroblockWriter : public SliceMacroblockWriter<target, Real> {
public:
    // `alphaDepth` is 8 or 16 bits, `alphaPitch` the samples from a row of the alpha plane to the next.
    Slice4444MacroblockWriter(PixelBuffer const& pixelBuffer, unsigned int alphaDepth, std::uint64_t alphaPitch);

    void operator()(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8], Real const (*cr)[8][8],
                    std::uint16_t const* alpha) const override;
    void reconstructBlock16s(unsigned int mb, std::int16_t const (*y)[8][8], std::int16_t const (*cb)[8][8],
                             std::int16_t const (*cr)[8][8], std::uint16_t const* alpha) const override;
    void reconstructBlock16s_Half(unsigned int mb, std::int16_t const (*y)[4][4], std::int16_t const (*cb)[4][4],
                                  std::int16_t const (*cr)[4][4], std::uint16_t const* alpha) const override;
    void reconstructBlock16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2], std::int16_t const (*cb)[2][2],
                                     std::int16_t const (*cr)[2][2], std::uint16_t const* alpha) const override;
    void reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb,
                                    std::int16_t const* cr, std::uint16_t const* alpha) const override;
    bool readsAlpha() const override;

private:
    using Base = SliceMacroblockWriter<target, Real>;
    using Self = Slice4444MacroblockWriter;
    using WriteMb = void (Self::*)(unsigned int, Real const (*)[8][8], Real const (*)[8][8], Real const (*)[8][8],
                                   std::uint16_t const*) const;
    using WriteMb16s = void (Self::*)(unsigned int, std::int16_t const (*)[8][8], std::int16_t const (*)[8][8],
                                      std::int16_t const (*)[8][8], std::uint16_t const*) const;
    using WriteMb16sHalf = void (Self::*)(unsigned int, std::int16_t const (*)[4][4], std::int16_t const (*)[4][4],
                                          std::int16_t const (*)[4][4], std::uint16_t const*) const;
    using WriteMb16sQuarter = void (Self::*)(unsigned int, std::int16_t const (*)[2][2], std::int16_t const (*)[2][2],
                                             std::int16_t const (*)[2][2], std::uint16_t const*) const;
    using WriteMb16sEighth = void (Self::*)(unsigned int, std::int16_t const*, std::int16_t const*, std::int16_t const*,
                                            std::uint16_t const*) const;

    static WriteMb getWriteMbFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth);
    static WriteMb16s getWriteMb16sFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth);
    // The reduced forms exist for 8-bit output alone; null otherwise.
    static WriteMb16sHalf getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth);
    static WriteMb16sQuarter getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth);
    static WriteMb16sEighth getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer, unsigned int alphaDepth);

    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8], Real const (*cr)[8][8],
                 std::uint16_t const* alpha) const;
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8], std::int16_t const (*cb)[8][8],
                    std::int16_t const (*cr)[8][8], std::uint16_t const* alpha) const;
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4], std::int16_t const (*cb)[4][4],
                         std::int16_t const (*cr)[4][4], std::uint16_t const* alpha) const;
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2], std::int16_t const (*cb)[2][2],
                            std::int16_t const (*cr)[2][2], std::uint16_t const* alpha) const;
    template <bool rgb, class Sample, unsigned int alphaDepth>
    void writeMb16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb, std::int16_t const* cr,
                           std::uint16_t const* alpha) const;

    const std::uint64_t m_alphaPitch;
    WriteMb m_writeMb;
    WriteMb16s m_writeMb16s;
    WriteMb16sHalf m_writeMb16sHalf;
    WriteMb16sQuarter m_writeMb16sQuarter;
    WriteMb16sEighth m_writeMb16sEighth;
};

extern template class Slice4444MacroblockWriter<OptimizationTarget::Baseline, float>;
extern template class Slice4444MacroblockWriter<OptimizationTarget::AVX2, float>;
