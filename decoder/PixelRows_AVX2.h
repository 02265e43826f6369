#pragma once

#include <cstdint>
#include <immintrin.h>

#include "PixelRows.h"

template <>
struct PixelRows<OptimizationTarget::AVX2> {
    // The codes of 16 pixels of 4:2:2: eight luma samples each from `leftY` and `rightY`, eight of each chroma.
    struct Codes422 {
        __m256i first8, last8; // 16-bit Cb Y Cr Y
    };

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint16_t*, std::uint8_t* out) {
        const Codes422 codes = codes422(leftY, rightY, cb, cr, sampleScale, maxValue);
        store(out, codes.first8);
        store(out + 32, codes.last8);
    }

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint8_t*, std::uint8_t* out) {
        const Codes422 codes = codes422(leftY, rightY, cb, cr, sampleScale, maxValue);
        const __m256i bytes = _mm256_packus_epi16(codes.first8, codes.last8);
        store(out, _mm256_permute4x64_epi64(bytes, _MM_SHUFFLE(3, 1, 2, 0)));
    }

private:
    static void store(std::uint8_t* out, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), v); }

    // Eight codes in 32 bits, not above the greatest; those below 0 are left to the saturation of the next packing.
    static __m256i sampleCodes(const float* samples, float sampleScale, float maxValue) {
        const __m256 shifted = _mm256_add_ps(_mm256_loadu_ps(samples), _mm256_set1_ps(256.0f));
        const __m256 codes = _mm256_fmadd_ps(shifted, _mm256_set1_ps(sampleScale), _mm256_set1_ps(0.5f));
        // The limit is taken before the conversion, which has no value for what exceeds 32 bits.
        return _mm256_cvttps_epi32(_mm256_min_ps(codes, _mm256_set1_ps(maxValue)));
    }

    static Codes422 codes422(const float* leftY, const float* rightY, const float* cb, const float* cr,
                             float sampleScale, float maxValue) {
        const __m256i y = _mm256_permute4x64_epi64(
            _mm256_packus_epi32(sampleCodes(leftY, sampleScale, maxValue), sampleCodes(rightY, sampleScale, maxValue)),
            _MM_SHUFFLE(3, 1, 2, 0));
        const __m256i chroma =
            _mm256_packus_epi32(sampleCodes(cb, sampleScale, maxValue), sampleCodes(cr, sampleScale, maxValue));
        const __m256i interleave =
            _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
        const __m256i cbCr = _mm256_shuffle_epi8(chroma, interleave);
        const __m256i low = _mm256_unpacklo_epi16(cbCr, y);
        const __m256i high = _mm256_unpackhi_epi16(cbCr, y);
        return {_mm256_permute2x128_si256(low, high, 0x20), _mm256_permute2x128_si256(low, high, 0x31)};
    }
};
