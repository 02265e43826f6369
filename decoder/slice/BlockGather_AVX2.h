#pragma once

#include "BlockGather.h"
#include "Intrinsics.h"

// Whole blocks sixteen at a time: each half of a vector transposes eight blocks.
template <>
struct BlockGather<OptimizationTarget::AVX2, 8> {
    static void run(ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
        std::uint32_t first = 0;
        for (; first + 16 <= scan.numBlocks; first += 16)
            gatherSixteen(scan.coefficients + first, scan.numBlocks, pattern, blocks + 64 * first);
        if (first < scan.numBlocks) {
            const EightBlocks<OptimizationTarget::AVX2> eight{scan.coefficients + first, scan.numBlocks, pattern};
            eight.gather8x8(blocks + 64 * first, scan.numBlocks < 8 ? scan.numBlocks : 8);
        }
    }

private:
    static void gatherSixteen(const std::int16_t* coefficients, std::uint32_t numBlocks, const std::uint32_t* pattern,
                              std::int16_t* blocks) {
        for (int row = 0; row < 8; ++row) {
            __m256i pairs[8], quads[8], rows[8];
            for (int i = 0; i < 4; ++i) {
                const __m256i even = values(coefficients + pattern[8 * row + 2 * i] * numBlocks);
                const __m256i odd = values(coefficients + pattern[8 * row + 2 * i + 1] * numBlocks);
                pairs[i] = _mm256_unpacklo_epi16(even, odd);
                pairs[i + 4] = _mm256_unpackhi_epi16(even, odd);
            }
            for (int i = 0; i < 8; i += 2) {
                quads[i] = _mm256_unpacklo_epi32(pairs[i], pairs[i + 1]);
                quads[i + 1] = _mm256_unpackhi_epi32(pairs[i], pairs[i + 1]);
            }
            for (int half = 0; half < 2; ++half) {
                rows[4 * half] = _mm256_unpacklo_epi64(quads[4 * half], quads[4 * half + 2]);
                rows[4 * half + 1] = _mm256_unpackhi_epi64(quads[4 * half], quads[4 * half + 2]);
                rows[4 * half + 2] = _mm256_unpacklo_epi64(quads[4 * half + 1], quads[4 * half + 3]);
                rows[4 * half + 3] = _mm256_unpackhi_epi64(quads[4 * half + 1], quads[4 * half + 3]);
            }
            for (int block = 0; block < 8; ++block) {
                std::int16_t* to = blocks + 64 * block + 8 * row;
                _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(rows[block]));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 8 * 64), _mm256_extracti128_si256(rows[block], 1));
            }
        }
    }

    static __m256i values(const std::int16_t* from) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    }
};
