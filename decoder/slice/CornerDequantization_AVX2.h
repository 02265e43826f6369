#pragma once

#include "CornerDequantization.h"
#include "Intrinsics.h"

// Sixteen values at a time; the rounding and saturation are those of To16Bits.
template <>
struct RepeatedFactors<OptimizationTarget::AVX2> {
    static void multiply(std::int16_t* corners, std::uint32_t numValues, const float (&factors)[16]) {
        const __m256 low = _mm256_loadu_ps(factors), high = _mm256_loadu_ps(factors + 8);
        std::uint32_t i = 0;
        for (; i + 16 <= numValues; i += 16) {
            auto* values = reinterpret_cast<__m128i*>(corners + i);
            const __m256i first = product(_mm_loadu_si128(values), low);
            const __m256i second = product(_mm_loadu_si128(values + 1), high);
            // Packing works within halves; the permutation restores the order.
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(first, second), _MM_SHUFFLE(3, 1, 2, 0));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(values), packed);
        }
        // Fewer than four corners of 2x2 are left.
        for (; i < numValues; i += 4) {
            auto* last = reinterpret_cast<__m128i*>(corners + i);
            const __m128 f = _mm_loadu_ps(factors);
            _mm_storel_epi64(last, dequantizedEight<OptimizationTarget::AVX2>(_mm_loadl_epi64(last), f, f));
        }
    }

private:
    static __m256i product(__m128i coefficients, __m256 factors) {
        return _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(coefficients)), factors));
    }
};
