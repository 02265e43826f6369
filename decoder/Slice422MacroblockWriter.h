#pragma once

#include <cstdint>

#include "SliceMacroblockWriter.h"

// Writes Cb Y Cr Y for every two pixels; a row of odd width ends in Cb Y. Blocks 0 and 1 of luma cover the upper half
// of the macroblock, 2 and 3 the lower; chroma block 0 covers the upper half, 1 the lower, and chroma column c belongs
// to luma columns 2c and 2c + 1. RGB is never asked of it, and the alpha plane is never looked at.
template <OptimizationTarget target, class Real>
class Slice422MacroblockWriter : public SliceMacroblockWriter<target, Real> {
public:
    explicit Slice422MacroblockWriter(PixelBuffer const& pixelBuffer);

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
    using Self = Slice422MacroblockWriter;
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

    template <class Sample>
    void writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8], Real const (*cr)[8][8]) const;
    // The rows of a macroblock that is not clipped at the right.
    template <class Sample>
    void writeWholeRows(unsigned int mb, unsigned int topHeight, unsigned int bottomHeight, Real const (*y)[8][8],
                        Real const (*cb)[8][8], Real const (*cr)[8][8]) const;
    template <class Sample>
    void writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8], std::int16_t const (*cb)[8][8],
                    std::int16_t const (*cr)[8][8]) const;
    template <class Sample>
    void writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4], std::int16_t const (*cb)[4][4],
                         std::int16_t const (*cr)[4][4]) const;
    template <class Sample>
    void writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2], std::int16_t const (*cb)[2][2],
                            std::int16_t const (*cr)[2][2]) const;
    template <class Sample>
    void writeMb16s_Eighth(unsigned int mb, std::int16_t const* y, std::int16_t const* cb,
                           std::int16_t const* cr) const;

    // What all forms share: blocks of `size` x `size` values, macroblocks `mbPitch` samples apart.
    template <class Sample, class Value, unsigned int size>
    void writeBlocks(unsigned int mb, unsigned int mbPitch, Value const (*y)[size][size], Value const (*cb)[size][size],
                     Value const (*cr)[size][size]) const;
    template <class Sample, class Value>
    void writePixels(Value const* cb, Value const* y, Value const* cr, unsigned int width, std::uint8_t* out) const;

    WriteMb m_writeMb;
    WriteMb16s m_writeMb16s;
    WriteMb16sHalf m_writeMb16sHalf;
    WriteMb16sQuarter m_writeMb16sQuarter;
    WriteMb16sEighth m_writeMb16sEighth;
};

extern template class Slice422MacroblockWriter<OptimizationTarget::Baseline, float>;
extern template class Slice422MacroblockWriter<OptimizationTarget::AVX2, float>;
