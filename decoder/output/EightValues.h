#pragma once

#include "Intrinsics.h"
#include "OptimizationTarget.h"

// Eight neighbouring values of a line, in as many vectors as a target needs for them. EightValues_AVX2.h and
// EightValues_Baseline.h give each target its own:
//
// EightFloats and EightDoubles have load (from floats), broadcast, operator+, multiplyAdd (fused where the target
// fuses) and limited (to at most the argument). sumsOfNeighbours takes five values of 4:2:2 chroma and gives c0 + c0,
// c0 + c1, c1 + c1 and so on: twice the chroma of eight pixels, sited on the even ones.
template <OptimizationTarget target>
struct EightFloats;
template <OptimizationTarget target>
struct EightDoubles;

// Eight integers; storePixels stores them as samples of eight pixels.
template <OptimizationTarget target>
struct EightInts;

// Four floats as binary16 in the low half of 32 bits each, rounded to nearest, ties to even. Beyond 65504 by half a
// unit they are infinite. Every step is exact or an integer, so the rounding mode of the thread has no influence. The
// values are finite.
template <OptimizationTarget target>
static inline __m128i halfBitsByIntegers(__m128 values) {
    const __m128i bits = _mm_castps_si128(values);
    const __m128i magnitude = _mm_and_si128(bits, _mm_set1_epi32(0x7FFFFFFF));
    const __m128i sign = _mm_and_si128(_mm_srli_epi32(bits, 16), _mm_set1_epi32(0x8000));
    const __m128i one = _mm_set1_epi32(1);
    const auto chosen = [](__m128i mask, __m128i a, __m128i b) {
        return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
    };

    // From 2^-14 up: the exponent is rebased and 13 bits are rounded away; a carry runs into the exponent.
    const __m128i odd = _mm_and_si128(_mm_srli_epi32(magnitude, 13), one);
    const __m128i rebased = _mm_add_epi32(magnitude, _mm_set1_epi32(0xFFF - (112 << 23)));
    const __m128i normal = _mm_srli_epi32(_mm_add_epi32(rebased, odd), 13);

    // Below: units of 2^-24.
    const __m128 units = _mm_mul_ps(_mm_castsi128_ps(magnitude), _mm_set1_ps(16777216.0f));
    const __m128i whole = _mm_cvttps_epi32(units);
    const __m128 rest = _mm_sub_ps(units, _mm_cvtepi32_ps(whole));
    const __m128i isAbove = _mm_castps_si128(_mm_cmpgt_ps(rest, _mm_set1_ps(0.5f)));
    const __m128i isTie = _mm_castps_si128(_mm_cmpeq_ps(rest, _mm_set1_ps(0.5f)));
    const __m128i tieUp = _mm_and_si128(isTie, _mm_cmpeq_epi32(_mm_and_si128(whole, one), one));
    const __m128i subnormal = _mm_sub_epi32(whole, _mm_or_si128(isAbove, tieUp));

    const __m128i isSubnormal = _mm_cmplt_epi32(magnitude, _mm_set1_epi32(113 << 23));
    const __m128i isInfinite = _mm_cmpgt_epi32(magnitude, _mm_set1_epi32((143 << 23) - 1));
    const __m128i finite = chosen(isSubnormal, subnormal, normal);
    return _mm_or_si128(sign, chosen(isInfinite, _mm_set1_epi32(0x7C00), finite));
}
