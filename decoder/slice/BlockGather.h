#pragma once

#include <cstdint>

#include "CoefficientScan.h"
#include "Intrinsics.h"
#include "OptimizationTarget.h"

// Assembles blocks: from frequency order, where the values of one scan index are contiguous for all blocks, to raster
// order, dense, block after block. `size` is 8, 4 or 2: only the top left corner of that size is taken, and a block of
// the result has size * size values.

// Elements after the last coefficient that may be read, and after the last block that may be written.
constexpr std::uint32_t kGatherPadding = 96;

// The definition, one value at a time.
template <OptimizationTarget target, int size>
void gatherBlocksPlainly(ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
    for (std::uint32_t block = 0; block < scan.numBlocks; ++block)
        for (int row = 0; row < size; ++row)
            for (int column = 0; column < size; ++column)
                *blocks++ = scan.coefficients[pattern[8 * row + column] * scan.numBlocks + block];
}

// Eight blocks at a time, from block `first` on: eight values of one scan index are one vector, and a transposition
// gives rows of blocks. Of a component with fewer blocks the vectors hold values of the next scan index too, whose
// results are not stored.
template <OptimizationTarget target>
struct EightBlocks {
    const std::int16_t* coefficients; // of the first block
    std::uint32_t numBlocks;          // of the component
    const std::uint32_t* pattern;

    __m128i values(int row, int column) const {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + pattern[8 * row + column] * numBlocks));
    }

    static void store(std::int16_t* to, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
    static void storeLow(std::int16_t* to, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(to), v); }

    // `blocks` receives min(8, numBlocks) blocks.
    void gather8x8(std::int16_t* blocks, std::uint32_t numStored) const {
        for (int row = 0; row < 8; ++row) {
            __m128i pairs[8], quads[8], rows[8];
            for (int i = 0; i < 4; ++i) {
                const __m128i even = values(row, 2 * i), odd = values(row, 2 * i + 1);
                pairs[i] = _mm_unpacklo_epi16(even, odd);
                pairs[i + 4] = _mm_unpackhi_epi16(even, odd);
            }
            for (int i = 0; i < 8; i += 2) {
                quads[i] = _mm_unpacklo_epi32(pairs[i], pairs[i + 1]);
                quads[i + 1] = _mm_unpackhi_epi32(pairs[i], pairs[i + 1]);
            }
            for (int half = 0; half < 2; ++half) {
                rows[4 * half] = _mm_unpacklo_epi64(quads[4 * half], quads[4 * half + 2]);
                rows[4 * half + 1] = _mm_unpackhi_epi64(quads[4 * half], quads[4 * half + 2]);
                rows[4 * half + 2] = _mm_unpacklo_epi64(quads[4 * half + 1], quads[4 * half + 3]);
                rows[4 * half + 3] = _mm_unpackhi_epi64(quads[4 * half + 1], quads[4 * half + 3]);
            }
            for (std::uint32_t block = 0; block < numStored; ++block)
                store(blocks + 64 * block + 8 * row, rows[block]);
        }
    }

    // `blocks` receives eight corners of 4x4.
    void gather4x4(std::int16_t* blocks) const {
        for (int row = 0; row < 4; ++row) {
            const __m128i c0 = values(row, 0), c1 = values(row, 1), c2 = values(row, 2), c3 = values(row, 3);
            const __m128i low01 = _mm_unpacklo_epi16(c0, c1), high01 = _mm_unpackhi_epi16(c0, c1);
            const __m128i low23 = _mm_unpacklo_epi16(c2, c3), high23 = _mm_unpackhi_epi16(c2, c3);
            const __m128i twoRows[4] = {_mm_unpacklo_epi32(low01, low23), _mm_unpackhi_epi32(low01, low23),
                                        _mm_unpacklo_epi32(high01, high23), _mm_unpackhi_epi32(high01, high23)};
            for (int i = 0; i < 4; ++i) {
                storeLow(blocks + 32 * i + 4 * row, twoRows[i]);
                storeLow(blocks + 32 * i + 16 + 4 * row, _mm_unpackhi_epi64(twoRows[i], twoRows[i]));
            }
        }
    }

    // `blocks` receives eight corners of 2x2.
    void gather2x2(std::int16_t* blocks) const {
        const __m128i c00 = values(0, 0), c01 = values(0, 1), c10 = values(1, 0), c11 = values(1, 1);
        const __m128i lowTop = _mm_unpacklo_epi16(c00, c01), highTop = _mm_unpackhi_epi16(c00, c01);
        const __m128i lowBottom = _mm_unpacklo_epi16(c10, c11), highBottom = _mm_unpackhi_epi16(c10, c11);
        store(blocks, _mm_unpacklo_epi32(lowTop, lowBottom));
        store(blocks + 8, _mm_unpackhi_epi32(lowTop, lowBottom));
        store(blocks + 16, _mm_unpacklo_epi32(highTop, highBottom));
        store(blocks + 24, _mm_unpackhi_epi32(highTop, highBottom));
    }
};

// The same result in vector form. Reads and writes up to kGatherPadding elements beyond the last block.
template <OptimizationTarget target, int size>
struct BlockGather {
    static void run(ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
        for (std::uint32_t first = 0; first < scan.numBlocks; first += 8) {
            const EightBlocks<target> eight{scan.coefficients + first, scan.numBlocks, pattern};
            std::int16_t* to = blocks + first * size * size;
            if constexpr (size == 8)
                eight.gather8x8(to, scan.numBlocks < 8 ? scan.numBlocks : 8);
            else if constexpr (size == 4)
                eight.gather4x4(to);
            else
                eight.gather2x2(to);
        }
    }
};

template <OptimizationTarget target, int size>
void gatherBlocks(ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
    BlockGather<target, size>::run(scan, pattern, blocks);
}
