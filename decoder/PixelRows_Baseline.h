#pragma once

#include <cstdint>
#include <tmmintrin.h>

#include "PixelRows.h"

template <>
struct PixelRows<OptimizationTarget::Baseline> {
    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint16_t*, std::uint8_t* out) {
        const Codes422 left = codes422(leftY, cb, cr, sampleScale, maxValue);
        const Codes422 right = codes422(rightY, cb + 4, cr + 4, sampleScale, maxValue);
        store(out, left.first4);
        store(out + 16, left.last4);
        store(out + 32, right.first4);
        store(out + 48, right.last4);
    }

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint8_t*, std::uint8_t* out) {
        const Codes422 left = codes422(leftY, cb, cr, sampleScale, maxValue);
        const Codes422 right = codes422(rightY, cb + 4, cr + 4, sampleScale, maxValue);
        store(out, _mm_packus_epi16(left.first4, left.last4));
        store(out + 16, _mm_packus_epi16(right.first4, right.last4));
    }

private:
    // 16-bit Cb Y Cr Y of eight pixels.
    struct Codes422 {
        __m128i first4, last4;
    };

    static void store(std::uint8_t* out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v); }

    // Four codes in 32 bits, between 0 and the greatest.
    static __m128i sampleCodes(const float* samples, float sampleScale, float maxValue) {
        const __m128 shifted = _mm_add_ps(_mm_loadu_ps(samples), _mm_set1_ps(256.0f));
        const __m128 codes = _mm_add_ps(_mm_mul_ps(shifted, _mm_set1_ps(sampleScale)), _mm_set1_ps(0.5f));
        // The limits are taken before the conversion, which has no value for what exceeds 32 bits.
        return _mm_cvttps_epi32(_mm_max_ps(_mm_min_ps(codes, _mm_set1_ps(maxValue)), _mm_setzero_ps()));
    }

    // Eight codes of at most 65535 in 16 bits. There is no packing to unsigned 16 bits here, so the codes are packed as
    // signed ones, shifted by half their range.
    static __m128i packed(__m128i low, __m128i high) {
        const __m128i half = _mm_set1_epi32(32768);
        const __m128i shifted = _mm_packs_epi32(_mm_sub_epi32(low, half), _mm_sub_epi32(high, half));
        return _mm_xor_si128(shifted, _mm_set1_epi16(-32768));
    }

    static Codes422 codes422(const float* y, const float* cb, const float* cr, float sampleScale, float maxValue) {
        const __m128i luma = packed(sampleCodes(y, sampleScale, maxValue), sampleCodes(y + 4, sampleScale, maxValue));
        const __m128i chroma = packed(sampleCodes(cb, sampleScale, maxValue), sampleCodes(cr, sampleScale, maxValue));
        const __m128i cbCr = _mm_unpacklo_epi16(chroma, _mm_unpackhi_epi64(chroma, chroma));
        return {_mm_unpacklo_epi16(cbCr, luma), _mm_unpackhi_epi16(cbCr, luma)};
    }
};
