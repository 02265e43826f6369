#pragma once

#include <cstdint>

#include "Intrinsics.h"
#include "OutputLevels.h"
#include "PixelRows.h"

template <>
struct PixelRows<OptimizationTarget::AVX2> {
    // The codes of 16 pixels of 4:2:2: eight luma samples each from `leftY` and `rightY`, eight of each chroma.
    struct Codes422 {
        __m256i first8, last8; // 16-bit Cb Y Cr Y
    };

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint16_t*, std::uint8_t* out, bool streams) {
        const Codes422 codes = codes422(leftY, rightY, cb, cr, sampleScale, maxValue);
        storeLine(out, codes.first8, codes.last8, streams);
    }

    static void write422(const float* leftY, const float* rightY, const float* cb, const float* cr, float sampleScale,
                         float maxValue, std::uint8_t*, std::uint8_t* out, bool) {
        const Codes422 codes = codes422(leftY, rightY, cb, cr, sampleScale, maxValue);
        const __m256i bytes = _mm256_packus_epi16(codes.first8, codes.last8);
        store(out, _mm256_permute4x64_epi64(bytes, _MM_SHUFFLE(3, 1, 2, 0)));
    }

    // Eight pixels of 4:4:4: the alpha codes as they are, the colours in the form of a vector group.
    template <bool rgb>
    static void write444(const std::int32_t* alpha, const float* y, const float* cb, const float* cr,
                         OutputLevels const& levels, std::uint16_t*, std::uint8_t* out, bool streams) {
        const Codes444 codes = colorCodes<rgb>(_mm256_loadu_ps(y), _mm256_loadu_ps(cb), _mm256_loadu_ps(cr), levels);
        const __m256 greatest = _mm256_set1_ps(static_cast<float>(levels.maxValue));
        const Pixels444 pixels = pixels444(alpha, limited(codes.first, greatest), limited(codes.second, greatest),
                                           limited(codes.third, greatest));
        storeLine(out, pixels.first4, pixels.last4, streams);
    }

    // Codes of 32768 and more turn negative on the way through signed 16 bits and end at 0.
    template <bool rgb>
    static void write444(const std::int32_t* alpha, const float* y, const float* cb, const float* cr,
                         OutputLevels const& levels, std::uint8_t*, std::uint8_t* out, bool) {
        const Codes444 codes = colorCodes<rgb>(_mm256_loadu_ps(y), _mm256_loadu_ps(cb), _mm256_loadu_ps(cr), levels);
        const Pixels444 pixels = pixels444(alpha, _mm256_cvttps_epi32(codes.first), _mm256_cvttps_epi32(codes.second),
                                           _mm256_cvttps_epi32(codes.third));
        const __m256i bytes = _mm256_packus_epi16(pixels.first4, pixels.last4);
        store(out, _mm256_permute4x64_epi64(bytes, _MM_SHUFFLE(3, 1, 2, 0)));
    }

    static void finishStores() { _mm_sfence(); }

    // What these forms are made of, for other forms of the same pixels.

    static void storeLine(std::uint8_t* out, __m256i first, __m256i last, bool streams) {
        if (streams) {
            _mm256_stream_si256(reinterpret_cast<__m256i*>(out), first);
            _mm256_stream_si256(reinterpret_cast<__m256i*>(out + 32), last);
            return;
        }
        store(out, first);
        store(out + 32, last);
    }

    struct Codes444 {
        __m256 first, second, third;
    };

    // 16-bit codes of four pixels each.
    struct Pixels444 {
        __m256i first4, last4;
    };

    static __m256i limited(__m256 codes, __m256 greatest) {
        return _mm256_cvttps_epi32(_mm256_min_ps(codes, greatest));
    }

    template <bool rgb>
    static Codes444 colorCodes(__m256 luma, __m256 blueness, __m256 redness, OutputLevels const& levels) {
        if constexpr (!rgb) {
            const __m256 scale = _mm256_set1_ps(levels.sampleScale);
            return {sampleCode(luma, scale), sampleCode(blueness, scale), sampleCode(redness, scale)};
        }
        const __m256 chromaReciprocal = _mm256_set1_ps(1.0f / 448.0f);
        const __m256 normalY =
            _mm256_mul_ps(_mm256_add_ps(luma, _mm256_set1_ps(224.0f)), _mm256_set1_ps(1.0f / 438.0f));
        const __m256 normalCb = _mm256_mul_ps(blueness, chromaReciprocal);
        const __m256 normalCr = _mm256_mul_ps(redness, chromaReciprocal);
        const __m256 red = _mm256_fmadd_ps(_mm256_set1_ps(levels.crToRed), normalCr, normalY);
        const __m256 green = _mm256_fmadd_ps(_mm256_set1_ps(levels.crToGreen), normalCr,
                                             _mm256_fmadd_ps(_mm256_set1_ps(levels.cbToGreen), normalCb, normalY));
        const __m256 blue = _mm256_fmadd_ps(_mm256_set1_ps(levels.cbToBlue), normalCb, normalY);
        return {scaledToCode(red, levels), scaledToCode(green, levels), scaledToCode(blue, levels)};
    }

    static __m256 sampleCode(__m256 samples, __m256 scale) {
        return _mm256_fmadd_ps(_mm256_add_ps(samples, _mm256_set1_ps(256.0f)), scale, _mm256_set1_ps(0.5f));
    }

    static void store(std::uint8_t* out, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), v); }

private:
    static __m256 scaledToCode(__m256 color, OutputLevels const& levels) {
        return _mm256_add_ps(_mm256_fmadd_ps(color, _mm256_set1_ps(levels.rgbScale), _mm256_set1_ps(levels.rgbOffset)),
                             _mm256_set1_ps(0.5f));
    }

    // Eight pixels from codes in 32 bits, saturated to unsigned 16 bits.
    static Pixels444 pixels444(const std::int32_t* alpha, __m256i first, __m256i second, __m256i third) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(alpha));
        const __m256i interleave =
            _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
        const __m256i left = _mm256_shuffle_epi8(_mm256_packus_epi32(a, first), interleave);
        const __m256i right = _mm256_shuffle_epi8(_mm256_packus_epi32(second, third), interleave);
        const __m256i low = _mm256_unpacklo_epi32(left, right);
        const __m256i high = _mm256_unpackhi_epi32(left, right);
        return {_mm256_permute2x128_si256(low, high, 0x20), _mm256_permute2x128_si256(low, high, 0x31)};
    }

    // Eight codes in 32 bits, not above the greatest; those below 0 are left to the saturation of the next packing.
    static __m256i sampleCodes(const float* samples, float sampleScale, float maxValue) {
        // The limit is taken before the conversion, which has no value for what exceeds 32 bits.
        return limited(sampleCode(_mm256_loadu_ps(samples), _mm256_set1_ps(sampleScale)), _mm256_set1_ps(maxValue));
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
