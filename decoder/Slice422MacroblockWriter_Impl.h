#pragma once

#include "MacroblockWalk.h"
#include "PixelRows.h"
#include "ReducedRows.h"
#include "Slice422MacroblockWriter.h"
#include "SliceMacroblockWriter_Impl.h"

template <OptimizationTarget target, class Real>
Slice422MacroblockWriter<target, Real>::Slice422MacroblockWriter(PixelBuffer const& pixelBuffer)
    : Base(pixelBuffer),
      m_writeMb(getWriteMbFcn(pixelBuffer)),
      m_writeMb16s(getWriteMb16sFcn(pixelBuffer)),
      m_writeMb16sHalf(getWriteMb16sHalfFcn(pixelBuffer)),
      m_writeMb16sQuarter(getWriteMb16sQuarterFcn(pixelBuffer)),
      m_writeMb16sEighth(getWriteMb16sEighthFcn(pixelBuffer)) {}

template <OptimizationTarget target, class Real>
typename Slice422MacroblockWriter<target, Real>::WriteMb
Slice422MacroblockWriter<target, Real>::getWriteMbFcn(PixelBuffer const& pixelBuffer) {
    return pixelBuffer.bitDepth <= 8 ? &Self::template writeMb<std::uint8_t> : &Self::template writeMb<std::uint16_t>;
}

template <OptimizationTarget target, class Real>
typename Slice422MacroblockWriter<target, Real>::WriteMb16s
Slice422MacroblockWriter<target, Real>::getWriteMb16sFcn(PixelBuffer const& pixelBuffer) {
    return pixelBuffer.bitDepth <= 8 ? &Self::template writeMb16s<std::uint8_t>
                                     : &Self::template writeMb16s<std::uint16_t>;
}

template <OptimizationTarget target, class Real>
typename Slice422MacroblockWriter<target, Real>::WriteMb16sHalf
Slice422MacroblockWriter<target, Real>::getWriteMb16sHalfFcn(PixelBuffer const& pixelBuffer) {
    return pixelBuffer.bitDepth == 8 ? &Self::template writeMb16s_Half<std::uint8_t> : nullptr;
}

template <OptimizationTarget target, class Real>
typename Slice422MacroblockWriter<target, Real>::WriteMb16sQuarter
Slice422MacroblockWriter<target, Real>::getWriteMb16sQuarterFcn(PixelBuffer const& pixelBuffer) {
    return pixelBuffer.bitDepth == 8 ? &Self::template writeMb16s_Quarter<std::uint8_t> : nullptr;
}

template <OptimizationTarget target, class Real>
typename Slice422MacroblockWriter<target, Real>::WriteMb16sEighth
Slice422MacroblockWriter<target, Real>::getWriteMb16sEighthFcn(PixelBuffer const& pixelBuffer) {
    return pixelBuffer.bitDepth == 8 ? &Self::template writeMb16s_Eighth<std::uint8_t> : nullptr;
}

template <OptimizationTarget target, class Real>
void Slice422MacroblockWriter<target, Real>::operator()(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                        Real const (*cr)[8][8], std::uint16_t const*) const {
    (this->*m_writeMb)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice422MacroblockWriter<target, Real>::reconstructBlock16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                                 std::int16_t const (*cb)[8][8],
                                                                 std::int16_t const (*cr)[8][8],
                                                                 std::uint16_t const*) const {
    (this->*m_writeMb16s)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice422MacroblockWriter<target, Real>::reconstructBlock16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                                      std::int16_t const (*cb)[4][4],
                                                                      std::int16_t const (*cr)[4][4],
                                                                      std::uint16_t const*) const {
    (this->*m_writeMb16sHalf)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice422MacroblockWriter<target, Real>::reconstructBlock16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2],
                                                                         std::int16_t const (*cb)[2][2],
                                                                         std::int16_t const (*cr)[2][2],
                                                                         std::uint16_t const*) const {
    (this->*m_writeMb16sQuarter)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
void Slice422MacroblockWriter<target, Real>::reconstructBlock16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                                        std::int16_t const* cb, std::int16_t const* cr,
                                                                        std::uint16_t const*) const {
    (this->*m_writeMb16sEighth)(mb, y, cb, cr);
}

template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeMb(unsigned int mb, Real const (*y)[8][8], Real const (*cb)[8][8],
                                                     Real const (*cr)[8][8]) const {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    this->setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    if (leftWidth == 8 && rightWidth == 8) {
        writeWholeRows<Sample>(mb, topHeight, bottomHeight, y, cb, cr);
        return;
    }
    writeBlocks<Sample, Real, 8>(mb, 32, y, cb, cr);
}

template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int mb, unsigned int topHeight,
                                                            unsigned int bottomHeight, Real const (*y)[8][8],
                                                            Real const (*cb)[8][8], Real const (*cr)[8][8]) const {
    PixelBuffer const& buffer = this->m_pixelBuffer;
    std::uint8_t* firstPixel = movedBy(buffer.pixels, static_cast<std::int64_t>(mb * 32 * sizeof(Sample)));
    const auto maxValue = static_cast<Real>(this->m_maxValue);
    for (unsigned int mbRow = 0; mbRow < topHeight + bottomHeight; ++mbRow) {
        const unsigned int half = mbRow < topHeight ? 0 : 1;
        const unsigned int row = mbRow - half * topHeight;
        PixelRows<target>::write422(y[2 * half][row], y[2 * half + 1][row], cb[half][row], cr[half][row],
                                    this->m_sampleScale, maxValue, static_cast<Sample*>(nullptr),
                                    lineBelow(firstPixel, mbRow, buffer.lineStride), this->m_streams);
    }
}

template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeMb16s(unsigned int mb, std::int16_t const (*y)[8][8],
                                                        std::int16_t const (*cb)[8][8],
                                                        std::int16_t const (*cr)[8][8]) const {
    writeBlocks<Sample, std::int16_t, 8>(mb, 32, y, cb, cr);
}

template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeMb16s_Half(unsigned int mb, std::int16_t const (*y)[4][4],
                                                             std::int16_t const (*cb)[4][4],
                                                             std::int16_t const (*cr)[4][4]) const {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    this->setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    if (leftWidth != 4 || rightWidth != 4) {
        writeBlocks<Sample, std::int16_t, 4>(mb, 16, y, cb, cr);
        return;
    }
    PixelBuffer const& buffer = this->m_pixelBuffer;
    std::uint8_t* firstPixel = movedBy(buffer.pixels, std::int64_t{mb} * 16);
    for (unsigned int mbRow = 0; mbRow < topHeight + bottomHeight; ++mbRow) {
        const unsigned int half = mbRow < topHeight ? 0 : 1;
        const unsigned int row = mbRow - half * topHeight;
        ReducedRows<target>::writeHalf422(y[2 * half][row], y[2 * half + 1][row], cb[half][row], cr[half][row],
                                          lineBelow(firstPixel, mbRow, buffer.lineStride));
    }
}

template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeMb16s_Quarter(unsigned int mb, std::int16_t const (*y)[2][2],
                                                                std::int16_t const (*cb)[2][2],
                                                                std::int16_t const (*cr)[2][2]) const {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    this->setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    if (leftWidth != 2 || rightWidth != 2) {
        writeBlocks<Sample, std::int16_t, 2>(mb, 8, y, cb, cr);
        return;
    }
    PixelBuffer const& buffer = this->m_pixelBuffer;
    std::uint8_t* firstPixel = movedBy(buffer.pixels, std::int64_t{mb} * 8);
    std::uint8_t rows[4][8];
    ReducedRows<target>::quarter422(y[0][0], cb[0][0], cr[0][0], rows);
    // A clipped macroblock loses rows at its end: its upper rows are whole when it has lower ones.
    for (unsigned int mbRow = 0; mbRow < topHeight + bottomHeight; ++mbRow)
        std::memcpy(lineBelow(firstPixel, mbRow, buffer.lineStride), rows[mbRow], sizeof rows[mbRow]);
}

// Takes no account of the width, and both rows show the Cr of the first block.
template <OptimizationTarget target, class Real>
template <class Sample>
void Slice422MacroblockWriter<target, Real>::writeMb16s_Eighth(unsigned int mb, std::int16_t const* y,
                                                               std::int16_t const* cb, std::int16_t const* cr) const {
    PixelBuffer const& buffer = this->m_pixelBuffer;
    std::uint8_t* out = movedBy(buffer.pixels, static_cast<std::int64_t>(mb * 4 * sizeof(Sample)));
    writePixels<Sample, std::int16_t>(cb, y, cr, 2, out);
    if (static_cast<std::uint32_t>(buffer.height) > 1)
        writePixels<Sample, std::int16_t>(cb + 1, y + 2, cr, 2, lineBelow(out, 1, buffer.lineStride));
}

template <OptimizationTarget target, class Real>
template <class Sample, class Value, unsigned int size>
void Slice422MacroblockWriter<target, Real>::writeBlocks(unsigned int mb, unsigned int mbPitch,
                                                         Value const (*y)[size][size], Value const (*cb)[size][size],
                                                         Value const (*cr)[size][size]) const {
    PixelBuffer const& buffer = this->m_pixelBuffer;
    std::uint8_t* firstPixel = movedBy(buffer.pixels, static_cast<std::int64_t>(mb * mbPitch * sizeof(Sample)));
    walkMacroblock(*this, mb, firstPixel, buffer.lineStride, 2 * sizeof(Sample),
                   [&](QuadrantRow const& part, std::uint8_t* out) {
                       if constexpr (kHasEmptyGroups<target, Sample, Value, size>) {
                           if (part.width == 8)
                               return;
                       }
                       const unsigned int chromaBlock = part.quadrant >> 1;
                       const unsigned int chromaColumn = (part.quadrant & 1) * (size / 2);
                       writePixels<Sample, Value>(&cb[chromaBlock][part.row][chromaColumn], y[part.quadrant][part.row],
                                                  &cr[chromaBlock][part.row][chromaColumn], part.width, out);
                   });
}

template <OptimizationTarget target, class Real>
template <class Sample, class Value>
void Slice422MacroblockWriter<target, Real>::writePixels(Value const* cb, Value const* y, Value const* cr,
                                                         unsigned int width, std::uint8_t* out) const {
    for (unsigned int x = 0; x < width; ++x) {
        const Value* chroma = (x & 1) == 0 ? cb : cr;
        storeSample<Sample>(out, 2 * x, this->encodeSample(static_cast<Real>(chroma[x / 2])));
        storeSample<Sample>(out, 2 * x + 1, this->encodeSample(static_cast<Real>(y[x])));
    }
}
