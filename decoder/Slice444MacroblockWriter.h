#pragma once

#include <cstdint>

#include "SliceMacroblockWriter.h"

// Writes A Y Cb Cr or A R G B for every pixel of a frame without alpha; A is the greatest code. The chroma blocks run
// down the columns and the luma blocks along the rows: the top right quadrant is luma block 1 and chroma block 2, the
// bottom left luma block 2 and chroma block 1.
//
// On AVX2 a whole half row of a macroblock is converted to RGB as a vector group would; what a clipped row leaves is
// converted pixel by pixel with divisions, but for 8-bit output, which takes the reciprocals everywhere.
template <OptimizationTarget target, class Real>
class Slice444MacroblockWriter : public SliceMacroblockWriter<target, Real> {
public:
    explicit Slice444MacroblockWriter(PixelBuffer const& pixelBuffer);

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

private:
    using Base = SliceMacroblockWriter<target, Real>;
    using Self = Slice444MacroblockWriter;
    using WriteMb = void (Self::*)(unsigned int, Real const (*)[8][8], Real const (*)[8][8],
                                   Real const (*)[8][8]) const;
    using WriteMb16s = void (Self::*)(unsigned int, std::int16_t const (*)[8][8], std::int16_t const (*)[8][8],
                                      std::int16_t const (*)[8][8]) const;
    using WriteMb16sHalf = void (Self::*)(unsigned int, std::int16_t const (*)[4][4], std::int16_t const (*)[4][4],
                                          std::int16_t const (*)[4][4]) const;
    using WriteMb16sQuarter = void (Self::*)(unsigned int, std::int16_t const (*)[2][2], std::int16_t const (*)[2][2],
                                             std::int16_t const (*)[2][2]) const;
    using WriteMb16sEighth = void (Self::*)(unsigned int, std::int16_t const*, std::int16_t const*,
                                            std::int16_t const*) const;

    static WriteMb getWriteMbFcn(PixelBuffer const& pixelBuffer);
    static WriteMb16s getWriteMb16sFcn(PixelBuffer const& pixelBuffer);
    // The reduced forms exist for 8-bit output alone; null otherwise.
    static WriteMb16sHalf getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer);
    static WriteMb16sQuarter getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer);
    static WriteMb16sEighth getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer);

    template <bool rgb, class Sample>
    void writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8], Real const (*cr)[8][8]) const;
    template <bool rgb, class Sample>
    void writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8], std::int16_t const (*cb)[8][8],
                    std::int16_t const (*cr)[8][8]) const;
    template <bool rgb, class Sample>
    void writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4], std::int16_t const (*cb)[4][4],
                         std::int16_t const (*cr)[4][4]) const;
    template <bool rgb, class Sample>
    void writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2], std::int16_t const (*cb)[2][2],
                            std::int16_t const (*cr)[2][2]) const;
    template <bool rgb, class Sample>
    void writeMb16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb,
                           std::int16_t const* cr) const;

    const std::uint16_t m_opaqueAlpha;
    WriteMb m_writeMb;
    WriteMb16s m_writeMb16s;
    WriteMb16sHalf m_writeMb16sHalf;
    WriteMb16sQuarter m_writeMb16sQuarter;
    WriteMb16sEighth m_writeMb16sEighth;
};

extern template class Slice444MacroblockWriter<OptimizationTarget::Baseline, float>;
extern template class Slice444MacroblockWriter<OptimizationTarget::AVX2, float>;
