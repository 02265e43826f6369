#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "Inline.h"
#include "SliceMacroblockWriter.h"
#include "Targets.h"

// One row of one quadrant of a macroblock, as the walk hands it to a pixel rule.
struct QuadrantRow {
    unsigned int quadrant; // 0 top left, 1 top right, 2 bottom left, 3 bottom right
    unsigned int row;      // of the quadrant's blocks
    unsigned int mbRow;    // of the macroblock
    unsigned int width;    // pixels, 1 to half a macroblock
};

// The lines of a reduced macroblock are visited from lower to higher addresses: where the stride has no room for what
// is written to the right of the picture, that falls on the line with the next higher addresses, and the picture's own
// pixels are to be written after it. At full size nothing is written there.
template <unsigned int size>
static inline unsigned int visitedRow(unsigned int index, unsigned int numRows, std::int64_t lineStride) {
    return size < 8 && lineStride < 0 ? numRows - 1 - index : index;
}

// Both walks are always inlined: the compiler then keeps what a rule refers to in registers, while a separate function
// would read it from memory again after each store.

// Visits the rows of a macroblock of blocks of `size` x `size` values, each with its left and then its right part, and
// calls writePart(QuadrantRow, std::uint8_t* out) for every part that has pixels.
template <unsigned int size, class Writer, class WritePart>
RAVELO_INLINE void walkMacroblock(Writer const& writer, unsigned int mb, std::uint64_t bytesPerMb,
                                  unsigned int bytesPerPixel, WritePart const& writePart) {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    writer.setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    std::uint8_t* const firstPixel = writer.firstPixel(mb, bytesPerMb);
    const std::int64_t lineStride = writer.pixelBuffer().lineStride;
    const unsigned int numRows = topHeight + bottomHeight;
    for (unsigned int index = 0; index < numRows; ++index) {
        const unsigned int mbRow = visitedRow<size>(index, numRows, lineStride);
        const bool isTop = mbRow < topHeight;
        const unsigned int row = isTop ? mbRow : mbRow - topHeight;
        const unsigned int firstQuadrant = isTop ? 0 : 2;
        std::uint8_t* const out = lineBelow(firstPixel, mbRow, lineStride);
        // One call for both sides, so that the compiler inlines the pixel rule once.
#pragma GCC unroll 1
        for (unsigned int side = 0; side < 2; ++side) {
            const unsigned int width = side == 0 ? leftWidth : rightWidth;
            if (width != 0)
                writePart(QuadrantRow{firstQuadrant + side, row, mbRow, width}, out + side * leftWidth * bytesPerPixel);
        }
    }
}

// One row of a macroblock that is not clipped at the right.
struct WholeRow {
    unsigned int half;  // 0 top, 1 bottom
    unsigned int row;   // of the half's blocks
    unsigned int mbRow; // of the macroblock
};

// Visits the rows of a macroblock of blocks of `size` x `size` values and calls
// writeRow(WholeRow, std::uint8_t* out) for each. Returns false, without any call, where the macroblock is clipped at
// the right.
template <unsigned int size, class Writer, class WriteRow>
RAVELO_INLINE bool walkWholeRows(Writer const& writer, unsigned int mb, std::uint64_t bytesPerMb,
                                 WriteRow const& writeRow) {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    writer.setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    if (leftWidth != size || rightWidth != size)
        return false;
    std::uint8_t* const firstPixel = writer.firstPixel(mb, bytesPerMb);
    const std::int64_t lineStride = writer.pixelBuffer().lineStride;
    const unsigned int numRows = topHeight + bottomHeight;
    for (unsigned int index = 0; index < numRows; ++index) {
        const unsigned int mbRow = visitedRow<size>(index, numRows, lineStride);
        const unsigned int half = mbRow < topHeight ? 0 : 1;
        writeRow(WholeRow{half, mbRow - half * topHeight, mbRow}, lineBelow(firstPixel, mbRow, lineStride));
    }
    return true;
}

// Whether a member of full size for 16-bit blocks and 16-bit samples leaves whole groups of eight empty, as AVX2 does.
// No decode reaches these members.
template <OptimizationTarget target, class Sample, class Value, unsigned int size>
constexpr bool kHasEmptyGroups = kHasVectorForms<target> &&
                                 sizeof(Sample) == 2 && size == 8 && std::is_same_v<Value, std::int16_t>;

// Stores the low bits of a code as sample `index` of an output of any alignment.
template <class Sample>
static inline void storeSample(std::uint8_t* out, unsigned int index, std::int32_t code) {
    const auto sample = static_cast<Sample>(code);
    std::memcpy(out + index * sizeof(Sample), &sample, sizeof sample);
}
