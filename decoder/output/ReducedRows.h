#pragma once

#include <cstdint>

#include "Intrinsics.h"
#include "OptimizationTarget.h"

// The vector forms of reduced 4:2:2 macroblocks. A sample of 8-bit output is (s + 257) >> 1, saturated, for both
// targets: with integer samples that is what the rule for single precision gives.
template <OptimizationTarget target>
struct ReducedRows {
    // One row of eight pixels of a half-size macroblock.
    static void writeHalf422(const std::int16_t* leftY, const std::int16_t* rightY, const std::int16_t* cb,
                             const std::int16_t* cr, std::uint8_t* out) {
        const __m128i luma = encoded(_mm_unpacklo_epi64(loadFour(leftY), loadFour(rightY)));
        const __m128i chroma = encoded(_mm_unpacklo_epi16(loadFour(cb), loadFour(cr)));
        const __m128i bytes = _mm_packus_epi16(chroma, luma);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, _mm_srli_si128(bytes, 8)));
    }

    // The four rows of four pixels of a quarter-size macroblock, eight bytes each. `y` holds four blocks of 2x2
    // samples, `cb` and `cr` two.
    static void quarter422(const std::int16_t* y, const std::int16_t* cb, const std::int16_t* cr,
                           std::uint8_t (*rows)[8]) {
        const __m128i luma = _mm_packus_epi16(encoded(loadEight(y)), encoded(loadEight(y + 8)));
        const __m128i chroma = _mm_packus_epi16(encoded(loadEight(cb)), encoded(loadEight(cr)));
        // Both in the order of the rows: two samples of the left block and two of the right; Cb Cr Cb Cr.
        const __m128i lumaRows =
            _mm_shuffle_epi8(luma, _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15));
        const __m128i chromaRows =
            _mm_shuffle_epi8(chroma, _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
        auto* out = reinterpret_cast<__m128i*>(rows);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(chromaRows, lumaRows));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(chromaRows, lumaRows));
    }

private:
    static __m128i loadFour(const std::int16_t* from) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    }
    static __m128i loadEight(const std::int16_t* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    }
    // Codes that the next packing saturates to bytes.
    static __m128i encoded(__m128i samples) { return _mm_srai_epi16(_mm_adds_epi16(samples, _mm_set1_epi16(257)), 1); }
};
