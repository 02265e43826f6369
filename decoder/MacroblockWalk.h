#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "SliceMacroblockWriter.h"

// One row of one quadrant of a macroblock, as the walk hands it to a pixel rule.
struct QuadrantRow {
    unsigned int quadrant; // 0 top left, 1 top right, 2 bottom left, 3 bottom right
    unsigned int row;      // of the quadrant's blocks
    unsigned int mbRow;    // of the macroblock
    unsigned int width;    // pixels, 1 to half a macroblock
};

// Visits the rows of a clipped macroblock from the top, each with its left and then its right part, and calls
// writePart(QuadrantRow, std::uint8_t* out) for every part that has pixels. `firstPixel` is the macroblock's first
// byte.
template <class Writer, class WritePart>
void walkMacroblock(Writer const& writer, unsigned int mb, std::uint8_t* firstPixel, std::int64_t lineStride,
                    unsigned int bytesPerPixel, WritePart const& writePart) {
    unsigned int leftWidth, rightWidth, topHeight, bottomHeight;
    writer.setBlockBounds(mb, leftWidth, rightWidth, topHeight, bottomHeight);
    for (unsigned int mbRow = 0; mbRow < topHeight + bottomHeight; ++mbRow) {
        const bool isTop = mbRow < topHeight;
        const unsigned int row = isTop ? mbRow : mbRow - topHeight;
        const unsigned int firstQuadrant = isTop ? 0 : 2;
        std::uint8_t* out = lineBelow(firstPixel, mbRow, lineStride);
        if (leftWidth != 0)
            writePart(QuadrantRow{firstQuadrant, row, mbRow, leftWidth}, out);
        if (rightWidth != 0)
            writePart(QuadrantRow{firstQuadrant + 1, row, mbRow, rightWidth}, out + leftWidth * bytesPerPixel);
    }
}

// Whether a member of full size for 16-bit blocks and 16-bit samples leaves whole groups of eight empty, as AVX2 does.
// No decode reaches these members.
template <OptimizationTarget target, class Sample, class Value, unsigned int size>
constexpr bool kHasEmptyGroups = target == OptimizationTarget::AVX2 &&
                                 sizeof(Sample) == 2 && size == 8 && std::is_same_v<Value, std::int16_t>;

// Stores the low bits of a code as sample `index` of an output of any alignment.
template <class Sample>
static inline void storeSample(std::uint8_t* out, unsigned int index, std::int32_t code) {
    const auto sample = static_cast<Sample>(code);
    std::memcpy(out + index * sizeof(Sample), &sample, sizeof sample);
}
