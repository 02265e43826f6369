#pragma once

#include <cstddef>
#include <cstdint>

#include "Inline.h"
#include "Intrinsics.h"
#include "OutputLevels.h"
#include "SlicePlanes.h"
#include "Targets.h"

// The vertical reconstruction: from coefficients in frequency order straight to codes in the output.
//
// In frequency order the same coefficient of neighbouring blocks is side by side in memory. A vector takes it of as
// many blocks as it has elements, and the transform runs on whole vectors: nothing is gathered before it and nothing is
// exchanged inside it. What has to be exchanged are the codes after it, which are half as wide or less. The arithmetic
// is that of the plain reconstruction, operation by operation, so the results are the same to the last bit: of the
// kernels that fuse (l9, k0) for AVX2, of those that do not (y8, e9) for Baseline.

// What is the same for all blocks of a component of a slice, by raster position.
template <OptimizationTarget target>
struct VerticalPlan {
    // The vector forms fill a vector with a value from memory in one step; Baseline loads it whole.
    static constexpr std::size_t kCopies = kHasVectorForms<target> ? 1 : 4;

    // `factors` are those of dequantisation, `pattern` leads from raster position to scan index. `unit` is a power of
    // two that all factors are multiplied by.
    VerticalPlan(const float* factors, const std::uint32_t* pattern, std::uint32_t numBlocks, float unit) {
        for (int i = 0; i < 64; ++i) {
            for (std::size_t copy = 0; copy < kCopies; ++copy)
                factor[i][copy] = factors[i] * unit;
            offset[i] = pattern[i] * numBlocks;
        }
    }

    alignas(64) float factor[64][kCopies];
    std::uint32_t offset[64]; // of a coefficient of the component's first block, in elements
};

// The macroblocks of a slice that are not clipped at the right, and where they go.
template <OptimizationTarget target>
struct VerticalSlice {
    const std::int16_t* coefficients[3]; // Y, Cb and Cr, whole blocks; kScanPadding elements after each may be read
    VerticalPlan<target> const* plans[3];
    std::uint32_t numMbs;  // from the slice's first
    std::uint32_t numRows; // of the macroblocks, 1 to 16
    std::uint8_t* pixels;  // of the first macroblock
    std::int64_t lineStride;
    bool streams;               // as in PixelRows
    std::uint16_t const* alpha; // the plane, where the form reads one
    std::uint64_t alphaPitch;   // samples from row to row
};

// What the vertical form of a slice writes.
struct VerticalOutput {
    bool is444;
    bool rgb;                // 4:4:4 only
    bool isDeep;             // codes of 16 bits
    unsigned int alphaDepth; // 4:4:4 only: 0 without alpha, 8 or 16
};

// The forms, each for codes of type Sample: Cb Y Cr Y, the same samples in planes, and A Y Cb Cr or A R G B with opaque
// pixels (alphaDepth 0) or with a plane of 8 or 16 bits.
template <OptimizationTarget target>
struct VerticalReconstruction;

// Transforms a column of vectors in place, by way of a copy that stays in registers.
template <class Floats, class Transform>
RAVELO_INLINE void transformInRegisters(Floats (&column)[8], Transform const& transform) {
    Floats x[8];
#pragma GCC unroll 8
    for (int row = 0; row < 8; ++row)
        x[row] = column[row];
    transform(x);
#pragma GCC unroll 8
    for (int row = 0; row < 8; ++row)
        column[row] = x[row];
}

// Fetches lines of the output into the cache for writing, a few at a time while there is other work, so that the stores
// that come later do not wait for them.
class OutputPrefetch {
public:
    // `numRows` rows of `bytesPerRow` bytes.
    OutputPrefetch(std::uint8_t* pixels, std::int64_t lineStride, std::uint32_t bytesPerRow, std::uint32_t numRows)
        : m_row(reinterpret_cast<std::uintptr_t>(pixels)),
          m_lineStride(static_cast<std::uintptr_t>(lineStride)),
          m_bytesPerRow(bytesPerRow),
          m_rowsLeft(numRows) {}

    // Always inlined, since units for different processors share it.
    RAVELO_INLINE void fetch(unsigned int numLines) {
        for (unsigned int i = 0; i < numLines && m_rowsLeft != 0; ++i) {
            prefetchForWriting(reinterpret_cast<const void*>(m_row + m_byte));
            m_byte += 64;
            if (m_byte >= m_bytesPerRow) {
                m_byte = 0;
                m_row += m_lineStride;
                --m_rowsLeft;
            }
        }
    }

private:
    std::uintptr_t m_row;
    std::uintptr_t m_lineStride;
    std::uint32_t m_bytesPerRow;
    std::uint32_t m_byte = 0; // of the row
    std::uint32_t m_rowsLeft;
};
