#pragma once

#include "MacroblockWalk.h"
#include "PixelRows.h"
#include "ReducedRows.h"
#include "Slice422MacroblockWriter.h"
#include "SliceMacroblockWriter_Impl.h"

template <OptimizationTarget target, class Real>
Slice422MacroblockWriter<target, Real>::Slice422MacroblockWriter(PixelBuffer const& pixelBuffer)
    : Slice422MacroblockWriter(OutputForm(pixelBuffer), pixelBuffer) {}

template <OptimizationTarget target, class Real>
Slice422MacroblockWriter<target, Real>::Slice422MacroblockWriter(OutputForm const& form, PixelBuffer const& pixelBuffer)
    : Base(form, pixelBuffer) {}

template <OptimizationTarget target, class Real>
template <bool rgb, class Sample, unsigned int alphaDepth, class Value, unsigned int size>
void Slice422MacroblockWriter<target, Real>::write(unsigned int mb, Blocks<Value, size> y, Blocks<Value, size> cb,
                                                   Blocks<Value, size> cr, std::uint16_t const*) const {
    if (writeWholeRows<Sample>(mb, y, cb, cr))
        return;
    walkMacroblock<size>(*this, mb, 4 * size * sizeof(Sample), 2 * sizeof(Sample),
                         [&](QuadrantRow const& part, std::uint8_t* out) {
                             if (kHasEmptyGroups<target, Sample, Value, size> && part.width == 8)
                                 return;
                             const unsigned int chromaBlock = part.quadrant >> 1;
                             const unsigned int chromaColumn = (part.quadrant & 1) * (size / 2);
                             writePixels<Sample>(&cb[chromaBlock][part.row][chromaColumn], y[part.quadrant][part.row],
                                                 &cr[chromaBlock][part.row][chromaColumn], part.width, out);
                         });
}

template <OptimizationTarget target, class Real>
template <class Sample>
bool Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int mb, Blocks<Real, 8> y, Blocks<Real, 8> cb,
                                                            Blocks<Real, 8> cr) const {
    const auto sampleScale = static_cast<Real>(this->levels().sampleScale);
    const auto maxValue = static_cast<Real>(this->levels().maxValue);
    return walkWholeRows<8>(*this, mb, 32 * sizeof(Sample), [&](WholeRow const& row, std::uint8_t* out) {
        PixelRows<target>::write422(y[2 * row.half][row.row], y[2 * row.half + 1][row.row], cb[row.half][row.row],
                                    cr[row.half][row.row], sampleScale, maxValue, static_cast<Sample*>(nullptr), out,
                                    this->form().streams);
    });
}

template <OptimizationTarget target, class Real>
template <class Sample>
bool Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int, Blocks<std::int16_t, 8>,
                                                            Blocks<std::int16_t, 8>, Blocks<std::int16_t, 8>) const {
    return false;
}

template <OptimizationTarget target, class Real>
template <class Sample>
bool Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int mb, Blocks<std::int16_t, 4> y,
                                                            Blocks<std::int16_t, 4> cb,
                                                            Blocks<std::int16_t, 4> cr) const {
    return walkWholeRows<4>(*this, mb, 16, [&](WholeRow const& row, std::uint8_t* out) {
        ReducedRows<target>::writeHalf422(y[2 * row.half][row.row], y[2 * row.half + 1][row.row], cb[row.half][row.row],
                                          cr[row.half][row.row], out);
    });
}

template <OptimizationTarget target, class Real>
template <class Sample>
bool Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int mb, Blocks<std::int16_t, 2> y,
                                                            Blocks<std::int16_t, 2> cb,
                                                            Blocks<std::int16_t, 2> cr) const {
    std::uint8_t rows[4][8];
    ReducedRows<target>::quarter422(y[0][0], cb[0][0], cr[0][0], rows);
    // A macroblock that is clipped at the bottom loses its last rows: its upper rows are whole when it has lower ones.
    return walkWholeRows<2>(*this, mb, 8, [&](WholeRow const& row, std::uint8_t* out) {
        std::memcpy(out, rows[row.mbRow], sizeof rows[row.mbRow]);
    });
}

// Ignores the width, and both rows show the Cr of the first block.
template <OptimizationTarget target, class Real>
template <class Sample>
bool Slice422MacroblockWriter<target, Real>::writeWholeRows(unsigned int mb, Blocks<std::int16_t, 1> y,
                                                            Blocks<std::int16_t, 1> cb,
                                                            Blocks<std::int16_t, 1> cr) const {
    PixelBuffer const& buffer = this->pixelBuffer();
    std::uint8_t* const firstPixel = this->firstPixel(mb, 4);
    const auto writeRow = [&](unsigned int row) {
        writePixels<Sample>(valuesOf(cb + row), valuesOf(y + 2 * row), valuesOf(cr), 2,
                            lineBelow(firstPixel, row, buffer.lineStride));
    };
    // From lower to higher addresses, as visitedRow() has it.
    const bool hasSecondRow = static_cast<std::uint32_t>(buffer.height) > 1;
    if (hasSecondRow && buffer.lineStride < 0)
        writeRow(1);
    writeRow(0);
    if (hasSecondRow && buffer.lineStride >= 0)
        writeRow(1);
    return true;
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
