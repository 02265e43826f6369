#pragma once

#include <cstring>

#include "Intrinsics.h"
#include "MacroblockWalk.h"
#include "PixelRows_AVX2.h"
#include "ReducedRows444.h"

template <>
struct ReducedRows444<OptimizationTarget::AVX2> {
    // Writes a macroblock and returns true, or returns false, having written nothing. The colours are converted by
    // reciprocals or by divisions, `alpha` is the code of all its pixels.
    template <bool rgb, bool byReciprocals, unsigned int size, class Writer>
    static bool write(Writer const& writer, unsigned int mb, const std::int16_t (*y)[size][size],
                      const std::int16_t (*cb)[size][size], const std::int16_t (*cr)[size][size], std::int32_t alpha) {
        // A copy, which the compiler need not read again after each store.
        const OutputLevels levels = writer.levels();
        const __m128i alphaCodes = _mm_set1_epi8(static_cast<char>(alpha));
        const auto pixelsOf = [&](__m128i luma, __m128i blueness, __m128i redness) {
            return pixels(alphaCodes, codes<rgb, byReciprocals>(luma, blueness, redness, levels));
        };
        if constexpr (size == 4) {
            return walkWholeRows<4>(writer, mb, 32, [&](WholeRow const& row, std::uint8_t* out) {
                // The chroma blocks run down the columns.
                const Pixels8 eight = pixelsOf(fours(y[2 * row.half][row.row], y[2 * row.half + 1][row.row]),
                                               fours(cb[row.half][row.row], cb[row.half + 2][row.row]),
                                               fours(cr[row.half][row.row], cr[row.half + 2][row.row]));
                store(out, eight.first4);
                store(out + 16, eight.last4);
            });
        } else if constexpr (size == 2) {
            Pixels8 halves[2]; // two rows each
            for (int half = 0; half < 2; ++half)
                halves[half] =
                    pixelsOf(rowsOfTwo(y[2 * half][0], y[2 * half + 1][0]), rowsOfTwo(cb[half][0], cb[half + 2][0]),
                             rowsOfTwo(cr[half][0], cr[half + 2][0]));
            // A macroblock that is clipped at the bottom loses its last rows: its upper rows are whole when it has
            // lower ones.
            return walkWholeRows<2>(writer, mb, 16, [&](WholeRow const& row, std::uint8_t* out) {
                Pixels8 const& half = halves[row.mbRow / 2];
                store(out, row.mbRow % 2 == 0 ? half.first4 : half.last4);
            });
        } else {
            static_assert(size == 1);
            const Pixels8 four = pixelsOf(loadFour(y[0][0]), columnsFirst(cb[0][0]), columnsFirst(cr[0][0]));
            return walkWholeRows<1>(writer, mb, 8, [&](WholeRow const& row, std::uint8_t* out) {
                _mm_storel_epi64(reinterpret_cast<__m128i*>(out),
                                 row.mbRow == 0 ? four.first4 : _mm_unpackhi_epi64(four.first4, four.first4));
            });
        }
    }

private:
    using Rows = PixelRows<OptimizationTarget::AVX2>;

    // Codes of eight pixels in 16 bits, not clamped.
    struct Codes {
        __m128i first, second, third;
    };

    struct Pixels8 {
        __m128i first4, last4;
    };

    template <bool rgb, bool byReciprocals>
    static Codes codes(__m128i y, __m128i cb, __m128i cr, OutputLevels const& levels) {
        if constexpr (!rgb)
            return {encoded(y), encoded(cb), encoded(cr)};
        const Rows::Codes444 found = byReciprocals ? Rows::colorCodes<true>(floats(y), floats(cb), floats(cr), levels)
                                                   : codesByDivision(floats(y), floats(cb), floats(cr), levels);
        return {narrowed(found.first), narrowed(found.second), narrowed(found.third)};
    }

    // A sample of 8-bit output is (s + 257) >> 1: with integer samples that is what the rule for single precision
    // gives.
    static __m128i encoded(__m128i samples) { return _mm_srai_epi16(_mm_adds_epi16(samples, _mm_set1_epi16(257)), 1); }

    // Luma is divided in double precision, and what becomes of the colours is not fused.
    static Rows::Codes444 codesByDivision(__m256 y, __m256 cb, __m256 cr, OutputLevels const& levels) {
        const __m256 normalY =
            _mm256_set_m128(normalLuma(_mm256_extractf128_ps(y, 1)), normalLuma(_mm256_castps256_ps128(y)));
        const __m256 normalCb = _mm256_div_ps(cb, _mm256_set1_ps(448.0f));
        const __m256 normalCr = _mm256_div_ps(cr, _mm256_set1_ps(448.0f));
        const __m256 red = _mm256_fmadd_ps(_mm256_set1_ps(levels.crToRed), normalCr, normalY);
        const __m256 green = _mm256_fmadd_ps(_mm256_set1_ps(levels.crToGreen), normalCr,
                                             _mm256_fmadd_ps(_mm256_set1_ps(levels.cbToGreen), normalCb, normalY));
        const __m256 blue = _mm256_fmadd_ps(_mm256_set1_ps(levels.cbToBlue), normalCb, normalY);
        const auto code = [&levels](__m256 color) {
            const __m256 scaled = _mm256_mul_ps(color, _mm256_set1_ps(levels.rgbScale));
            return _mm256_add_ps(_mm256_add_ps(scaled, _mm256_set1_ps(levels.rgbOffset)), _mm256_set1_ps(0.5f));
        };
        return {code(red), code(green), code(blue)};
    }

    static __m128 normalLuma(__m128 y) {
        const __m256d shifted = _mm256_add_pd(_mm256_cvtps_pd(y), _mm256_set1_pd(224.0));
        return _mm256_cvtpd_ps(_mm256_div_pd(shifted, _mm256_set1_pd(438.0)));
    }

    static __m256 floats(__m128i samples) { return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(samples)); }

    // Samples of 16 bits give codes that fit in 32 bits by far, so the packings' saturation is all the clamping.
    static __m128i narrowed(__m256 codes) {
        const __m256i whole = _mm256_cvttps_epi32(codes);
        return _mm_packs_epi32(_mm256_castsi256_si128(whole), _mm256_extracti128_si256(whole, 1));
    }

    static Pixels8 pixels(__m128i alpha, Codes const& codes) {
        const __m128i left = _mm_unpacklo_epi8(alpha, _mm_packus_epi16(codes.first, codes.first));
        const __m128i both = _mm_packus_epi16(codes.second, codes.third);
        const __m128i right = _mm_unpacklo_epi8(both, _mm_unpackhi_epi64(both, both));
        return {_mm_unpacklo_epi16(left, right), _mm_unpackhi_epi16(left, right)};
    }

    static __m128i loadFour(const std::int16_t* from) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    }

    // Four samples of a left block, four of a right one.
    static __m128i fours(const std::int16_t* left, const std::int16_t* right) {
        return _mm_unpacklo_epi64(loadFour(left), loadFour(right));
    }

    // Two rows of two samples of each of two blocks: the upper rows of both, then the lower ones.
    static __m128i rowsOfTwo(const std::int16_t* left, const std::int16_t* right) {
        return _mm_unpacklo_epi32(loadFour(left), loadFour(right));
    }

    // Four samples that run down the columns, in the order of the rows.
    static __m128i columnsFirst(const std::int16_t* from) {
        return _mm_shufflelo_epi16(loadFour(from), _MM_SHUFFLE(3, 1, 2, 0));
    }

    static void store(std::uint8_t* out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v); }
};
