#pragma once

#include <cstdint>

#include "Intrinsics.h"
#include "OptimizationTarget.h"

// The conversion of a dequantised value on its way into a 16-bit transform. The vector forms round to
// nearest, ties to even, and saturate; Baseline cuts towards zero and keeps the low 16 bits.
template <OptimizationTarget target>
struct To16Bits {
    static __m128i narrowed(__m128 low, __m128 high) {
        return _mm_packs_epi32(_mm_cvtps_epi32(low), _mm_cvtps_epi32(high));
    }
};

template <>
struct To16Bits<OptimizationTarget::Baseline> {
    static __m128i narrowed(__m128 low, __m128 high) {
        // The low halves, sign-extended, pass the saturation unchanged.
        const __m128i l = _mm_srai_epi32(_mm_slli_epi32(_mm_cvttps_epi32(low), 16), 16);
        const __m128i h = _mm_srai_epi32(_mm_slli_epi32(_mm_cvttps_epi32(high), 16), 16);
        return _mm_packs_epi32(l, h);
    }
};

// Eight coefficients times eight factors. Products stay within 32 bits: a coefficient has 16 bits, and a factor is at
// most 636 * 255 / 8.
template <OptimizationTarget target>
static inline __m128i dequantizedEight(__m128i coefficients, __m128 lowFactors, __m128 highFactors) {
    const __m128i low = _mm_srai_epi32(_mm_unpacklo_epi16(coefficients, coefficients), 16);
    const __m128i high = _mm_srai_epi32(_mm_unpackhi_epi16(coefficients, coefficients), 16);
    return To16Bits<target>::narrowed(_mm_mul_ps(_mm_cvtepi32_ps(low), lowFactors),
                                      _mm_mul_ps(_mm_cvtepi32_ps(high), highFactors));
}

// Multiplies `numValues` values (a multiple of four) by sixteen factors that repeat, in place.
template <OptimizationTarget target>
struct RepeatedFactors {
    static void multiply(std::int16_t* corners, std::uint32_t numValues, const float (&factors)[16]) {
        const __m128 f[4] = {_mm_loadu_ps(factors), _mm_loadu_ps(factors + 4), _mm_loadu_ps(factors + 8),
                             _mm_loadu_ps(factors + 12)};
        auto* values = reinterpret_cast<__m128i*>(corners);
        for (std::uint32_t i = 0; i < numValues / 8; ++i) {
            const std::uint32_t half = 2 * (i & 1);
            _mm_storeu_si128(values + i, dequantizedEight<target>(_mm_loadu_si128(values + i), f[half], f[half + 1]));
        }
        // An odd number of corners of 2x2 leaves one.
        if (numValues % 8 != 0) {
            __m128i* last = values + numValues / 8;
            _mm_storel_epi64(last, dequantizedEight<target>(_mm_loadl_epi64(last), f[0], f[1]));
        }
    }
};

// Multiplies the corners of `numBlocks` blocks, `size` x `size` values each (4 or 2), by their matrix entries, in
// place. `matrix` has 8 entries a row.
template <OptimizationTarget target, int size>
void dequantizeCorners(std::int16_t* corners, const float* matrix, std::uint32_t numBlocks) {
    // One corner of 4x4, or one of 2x2 four times over.
    float factors[16];
    for (int i = 0; i < 16; ++i) {
        const int position = i % (size * size);
        factors[i] = matrix[8 * (position / size) + position % size];
    }
    RepeatedFactors<target>::multiply(corners, numBlocks * size * size, factors);
}
