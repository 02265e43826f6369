#pragma once

#include <cstdint>

#include "Intrinsics.h"
#include "OutputLevels.h"
#include "PixelRows.h"

template <>
struct PixelRows<OptimizationTarget::Baseline> {
    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint16_t*, std::uint8_t* out, bool streams) {
        const Codes422 left = codes422(leftY, cb, cr, sampleScale, maxValue);
        const Codes422 right = codes422(rightY, cb + 4, cr + 4, sampleScale, maxValue);
        storePair(out, left.first4, left.last4, streams);
        storePair(out + 32, right.first4, right.last4, streams);
    }

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint8_t*, std::uint8_t* out, bool) {
        const Codes422 left = codes422(leftY, cb, cr, sampleScale, maxValue);
        const Codes422 right = codes422(rightY, cb + 4, cr + 4, sampleScale, maxValue);
        store(out, _mm_packus_epi16(left.first4, left.last4));
        store(out + 16, _mm_packus_epi16(right.first4, right.last4));
    }

    // Eight pixels of 4:4:4: the alpha codes as they are, the colours with divisions.
    template <bool rgb>
    static void write444(const std::int32_t* alpha, const float* y, const float* cb, const float* cr,
                         OutputLevels const& levels, std::uint16_t*, std::uint8_t* out, bool streams) {
        for (int half = 0; half < 2; ++half) {
            const Pixels444 pixels =
                pixels444<rgb>(alpha + 4 * half, y + 4 * half, cb + 4 * half, cr + 4 * half, levels);
            storePair(out + 32 * half, pixels.first2, pixels.last2, streams);
        }
    }

    template <bool rgb>
    static void write444(const std::int32_t* alpha, const float* y, const float* cb, const float* cr,
                         OutputLevels const& levels, std::uint8_t*, std::uint8_t* out, bool) {
        for (int half = 0; half < 2; ++half) {
            const Pixels444 pixels =
                pixels444<rgb>(alpha + 4 * half, y + 4 * half, cb + 4 * half, cr + 4 * half, levels);
            store(out + 16 * half, _mm_packus_epi16(pixels.first2, pixels.last2));
        }
    }

    static void finishStores() { _mm_sfence(); }

    // What these forms are made of, for other forms of the same pixels.

    static void storePair(std::uint8_t* out, __m128i first, __m128i last, bool streams) {
        if (streams) {
            _mm_stream_si128(reinterpret_cast<__m128i*>(out), first);
            _mm_stream_si128(reinterpret_cast<__m128i*>(out + 16), last);
            return;
        }
        store(out, first);
        store(out + 16, last);
    }

    // 16-bit codes of two pixels each.
    struct Pixels444 {
        __m128i first2, last2;
    };

    // Codes of four pixels in 32 bits, between 0 and the greatest.
    struct Codes444 {
        __m128i first, second, third;
    };

    template <bool rgb>
    static Codes444 colorCodes(__m128 y, __m128 cb, __m128 cr, OutputLevels const& levels) {
        const __m128 greatest = _mm_set1_ps(static_cast<float>(levels.maxValue));
        if constexpr (!rgb) {
            const __m128 scale = _mm_set1_ps(levels.sampleScale);
            return {sampleCodes(y, scale, greatest), sampleCodes(cb, scale, greatest),
                    sampleCodes(cr, scale, greatest)};
        }
        const __m128 normalY = normalLuma(y);
        const __m128 normalCb = _mm_div_ps(cb, _mm_set1_ps(448.0f));
        const __m128 normalCr = _mm_div_ps(cr, _mm_set1_ps(448.0f));
        return {rgbCode(plus(normalY, levels.crToRed, normalCr), levels, greatest),
                rgbCode(plus(plus(normalY, levels.cbToGreen, normalCb), levels.crToGreen, normalCr), levels, greatest),
                rgbCode(plus(normalY, levels.cbToBlue, normalCb), levels, greatest)};
    }

    static void store(std::uint8_t* out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v); }

    // Four codes in 32 bits, between 0 and the greatest.
    static __m128i sampleCodes(__m128 samples, __m128 sampleScale, __m128 greatest) {
        return limited(unlimitedCodes(samples, sampleScale), greatest);
    }

    // The same where those below 0 are left to the next packing.
    static __m128i codesNotAbove(__m128 samples, __m128 sampleScale, __m128 greatest) {
        return _mm_cvttps_epi32(_mm_min_ps(unlimitedCodes(samples, sampleScale), greatest));
    }

    // Eight codes of at most 65535 in 16 bits. There is no packing to unsigned 16 bits here, so the codes are packed as
    // signed ones, shifted by half their range.
    static __m128i packed(__m128i low, __m128i high) {
        const __m128i half = _mm_set1_epi32(32768);
        const __m128i shifted = _mm_packs_epi32(_mm_sub_epi32(low, half), _mm_sub_epi32(high, half));
        return _mm_xor_si128(shifted, _mm_set1_epi16(-32768));
    }

private:
    static __m128 unlimitedCodes(__m128 samples, __m128 sampleScale) {
        const __m128 shifted = _mm_add_ps(samples, _mm_set1_ps(256.0f));
        return _mm_add_ps(_mm_mul_ps(shifted, sampleScale), _mm_set1_ps(0.5f));
    }

    template <bool rgb>
    static Pixels444 pixels444(const std::int32_t* alpha, const float* y, const float* cb, const float* cr,
                               OutputLevels const& levels) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(alpha));
        const Codes444 codes = colorCodes<rgb>(_mm_loadu_ps(y), _mm_loadu_ps(cb), _mm_loadu_ps(cr), levels);
        // A and first, second and third, each pair in one 32-bit value.
        const __m128i left = _mm_or_si128(a, _mm_slli_epi32(codes.first, 16));
        const __m128i right = _mm_or_si128(codes.second, _mm_slli_epi32(codes.third, 16));
        return {_mm_unpacklo_epi32(left, right), _mm_unpackhi_epi32(left, right)};
    }

    static __m128 plus(__m128 sum, float factor, __m128 value) {
        return _mm_add_ps(_mm_mul_ps(_mm_set1_ps(factor), value), sum);
    }

    // (Y + 224) / 438 in double precision.
    static __m128 normalLuma(__m128 y) {
        const __m128d offset = _mm_set1_pd(224.0), range = _mm_set1_pd(438.0);
        const __m128d low = _mm_div_pd(_mm_add_pd(_mm_cvtps_pd(y), offset), range);
        const __m128d high = _mm_div_pd(_mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(y, y)), offset), range);
        return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
    }

    static __m128i rgbCode(__m128 color, OutputLevels const& levels, __m128 greatest) {
        const __m128 scaled = _mm_mul_ps(color, _mm_set1_ps(levels.rgbScale));
        return limited(_mm_add_ps(_mm_add_ps(scaled, _mm_set1_ps(levels.rgbOffset)), _mm_set1_ps(0.5f)), greatest);
    }

    // Codes between 0 and the greatest. The limits are taken before the conversion, which has no value for what exceeds
    // 32 bits.
    static __m128i limited(__m128 codes, __m128 greatest) {
        return _mm_cvttps_epi32(_mm_max_ps(_mm_min_ps(codes, greatest), _mm_setzero_ps()));
    }

    // 16-bit Cb Y Cr Y of eight pixels.
    struct Codes422 {
        __m128i first4, last4;
    };

    static __m128i sampleCodes(const float* samples, float sampleScale, float maxValue) {
        return sampleCodes(_mm_loadu_ps(samples), _mm_set1_ps(sampleScale), _mm_set1_ps(maxValue));
    }

    static Codes422 codes422(const float* y, const float* cb, const float* cr, float sampleScale, float maxValue) {
        const __m128i luma = packed(sampleCodes(y, sampleScale, maxValue), sampleCodes(y + 4, sampleScale, maxValue));
        const __m128i chroma = packed(sampleCodes(cb, sampleScale, maxValue), sampleCodes(cr, sampleScale, maxValue));
        const __m128i cbCr = _mm_unpacklo_epi16(chroma, _mm_unpackhi_epi64(chroma, chroma));
        return {_mm_unpacklo_epi16(cbCr, luma), _mm_unpackhi_epi16(cbCr, luma)};
    }
};
