#pragma once

#include <cstddef>
#include <cstdint>

#include "Inline.h"
#include "OutputForm.h"
#include "WideRgb.h"

// Lines of samples to pixels over whatever the including unit has as 512-bit intrinsics.
//
// The arithmetic is that of RgbLines, operation by operation: in single precision, and for the pixels for which that is
// not enough in double.
//
// Internal linkage throughout: the units that include this have instructions of their own.
namespace {

RAVELO_INLINE __m512 all(double value) {
    return _mm512_set1_ps(static_cast<float>(value));
}

RAVELO_INLINE __m512 greaterMagnitude(__m512 a, __m512 b) {
    constexpr int kGreaterMagnitude = 3, kWithoutSign = 2 << 2;
    return _mm512_range_ps(a, b, kGreaterMagnitude | kWithoutSign);
}

RAVELO_INLINE __m512 lesserMagnitude(__m512 a, __m512 b) {
    constexpr int kLesserMagnitude = 2, kWithoutSign = 2 << 2;
    return _mm512_range_ps(a, b, kLesserMagnitude | kWithoutSign);
}

struct Samples {
    __m512 y, cb, cr;

    RAVELO_INLINE __m512 greatest() const { return greaterMagnitude(y, greaterMagnitude(cb, cr)); }
};

struct Rgb {
    __m512 red, green, blue;
};

struct RgbCodes {
    __m512i red, green, blue;
};

// Chroma of 4:2:2 as the sum of both neighbours.
template <bool is444>
RAVELO_INLINE __m512 chromaAt(const float* chroma, std::uint32_t x) {
    if constexpr (is444)
        return _mm512_loadu_ps(chroma + x);
    const __m512 values = _mm512_loadu_ps(chroma + x / 2);
    const __m512i left = _mm512_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    const __m512i right = _mm512_setr_epi32(0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8);
    return _mm512_add_ps(_mm512_permutexvar_ps(left, values), _mm512_permutexvar_ps(right, values));
}

template <bool is444>
RAVELO_INLINE Samples samplesAt(SampleLine const& line, std::uint32_t x) {
    return {_mm512_loadu_ps(line.y + x), chromaAt<is444>(line.cb, x), chromaAt<is444>(line.cr, x)};
}

struct Factors {
    explicit RAVELO_INLINE Factors(RgbFactors const& rgb)
        : luma(all(rgb.luma)),
          offset(all(rgb.offset)),
          crToRed(all(rgb.crToRed)),
          cbToGreen(all(rgb.cbToGreen)),
          crToGreen(all(rgb.crToGreen)),
          cbToBlue(all(rgb.cbToBlue)) {}

    RAVELO_INLINE Rgb operator()(Samples const& samples) const {
        const __m512 light = _mm512_fmadd_ps(samples.y, luma, offset);
        return {_mm512_fmadd_ps(samples.cr, crToRed, light),
                _mm512_fmadd_ps(samples.cb, cbToGreen, _mm512_fmadd_ps(samples.cr, crToGreen, light)),
                _mm512_fmadd_ps(samples.cb, cbToBlue, light)};
    }

    __m512 luma, offset, crToRed, cbToGreen, crToGreen, cbToBlue;
};

// The same in double precision, eight pixels at a time.

struct PreciseRgb {
    __m512d red, green, blue;
};

template <bool is444>
RAVELO_INLINE __m512d preciseChromaAt(const float* chroma, std::uint32_t x) {
    if constexpr (is444)
        return _mm512_cvtps_pd(_mm256_loadu_ps(chroma + x));
    const __m256 values = _mm256_loadu_ps(chroma + x / 2);
    const __m256 left = _mm256_permutevar8x32_ps(values, _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3));
    const __m256 right = _mm256_permutevar8x32_ps(values, _mm256_setr_epi32(0, 1, 1, 2, 2, 3, 3, 4));
    return _mm512_add_pd(_mm512_cvtps_pd(left), _mm512_cvtps_pd(right));
}

template <bool is444>
RAVELO_INLINE PreciseRgb preciseRgbAt(RgbFactors const& rgb, SampleLine const& line, std::uint32_t x) {
    const __m512d y = _mm512_cvtps_pd(_mm256_loadu_ps(line.y + x));
    const __m512d cb = preciseChromaAt<is444>(line.cb, x), cr = preciseChromaAt<is444>(line.cr, x);
    const __m512d light = _mm512_fmadd_pd(y, _mm512_set1_pd(rgb.luma), _mm512_set1_pd(rgb.offset));
    return {
        _mm512_fmadd_pd(cr, _mm512_set1_pd(rgb.crToRed), light),
        _mm512_fmadd_pd(cb, _mm512_set1_pd(rgb.cbToGreen), _mm512_fmadd_pd(cr, _mm512_set1_pd(rgb.crToGreen), light)),
        _mm512_fmadd_pd(cb, _mm512_set1_pd(rgb.cbToBlue), light)};
}

RAVELO_INLINE __m512i joined(__m256i low, __m256i high) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

RAVELO_INLINE __m512 roundedToSingle(__m512d low, __m512d high) {
    return _mm512_castsi512_ps(
        joined(_mm256_castps_si256(_mm512_cvtpd_ps(low)), _mm256_castps_si256(_mm512_cvtpd_ps(high))));
}

// At most `most` and not below 0, cut.
RAVELO_INLINE __m256i codesOf(__m512d values, double most) {
    return _mm512_cvttpd_epi32(_mm512_max_pd(_mm512_min_pd(values, _mm512_set1_pd(most)), _mm512_set1_pd(0)));
}

// Not inlined, since they are rare and would keep the loops around them from being so.
template <bool is444>
[[gnu::noinline]] RgbCodes preciseCodesAt(RgbFactors const& factors, SampleLine const& line, std::uint32_t x,
                                          double most) {
    const PreciseRgb low = preciseRgbAt<is444>(factors, line, x), high = preciseRgbAt<is444>(factors, line, x + 8);
    return {joined(codesOf(low.red, most), codesOf(high.red, most)),
            joined(codesOf(low.green, most), codesOf(high.green, most)),
            joined(codesOf(low.blue, most), codesOf(high.blue, most))};
}

template <bool is444>
[[gnu::noinline]] Rgb preciseValuesAt(RgbFactors const& factors, SampleLine const& line, std::uint32_t x) {
    const PreciseRgb low = preciseRgbAt<is444>(factors, line, x), high = preciseRgbAt<is444>(factors, line, x + 8);
    return {roundedToSingle(low.red, high.red), roundedToSingle(low.green, high.green),
            roundedToSingle(low.blue, high.blue)};
}

// Alpha from 0 to the value of white.
RAVELO_INLINE __m512 alphaAt(FormedPicture const& picture, SampleLine const& line, std::uint32_t x, float rounding) {
    const __m512 samples = _mm512_min_ps(_mm512_loadu_ps(line.alpha + x), _mm512_set1_ps(picture.greatestAlpha));
    return _mm512_fmadd_ps(samples, _mm512_set1_ps(picture.alphaScale), _mm512_set1_ps(rounding));
}

RAVELO_INLINE void store(std::uint8_t* out, __m512i pixels, bool streams) {
    if (streams)
        _mm512_stream_si512(reinterpret_cast<__m512i*>(out), pixels);
    else
        _mm512_storeu_si512(out, pixels);
}

// Codes of 8 bits. Those below 0 are left to the packing.
struct ByteCodes {
    static constexpr unsigned int kBytesPerPixel = 4;
    static constexpr std::int32_t kWhite = 255;
    static constexpr float kMostInSingle = kMostInSingleForBytes;

    static RAVELO_INLINE __m512i of(__m512 values) {
        return _mm512_cvttps_epi32(_mm512_min_ps(values, all(kWhite + 0.5)));
    }
    static RAVELO_INLINE void storePixels(std::uint8_t* out, __m512i a, __m512i b, __m512i c, __m512i d, bool streams) {
        const __m512i bytes = _mm512_packus_epi16(_mm512_packs_epi32(a, b), _mm512_packs_epi32(c, d));
        const __m512i order =
            _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
        store(out, _mm512_shuffle_epi8(bytes, order), streams);
    }
};

// Codes of 16 bits.
struct WordCodes {
    static constexpr unsigned int kBytesPerPixel = 8;
    static constexpr std::int32_t kWhite = 65535;
    static constexpr float kMostInSingle = kMostInSingleForWords;

    static RAVELO_INLINE __m512i of(__m512 values) {
        return _mm512_cvttps_epi32(_mm512_max_ps(_mm512_min_ps(values, all(kWhite + 0.5)), all(0)));
    }
    static RAVELO_INLINE void storePixels(std::uint8_t* out, __m512i a, __m512i b, __m512i c, __m512i d, bool streams) {
        const __m512i left = _mm512_or_si512(a, _mm512_slli_epi32(b, 16));
        const __m512i right = _mm512_or_si512(c, _mm512_slli_epi32(d, 16));
        const __m512i low = _mm512_unpacklo_epi32(left, right), high = _mm512_unpackhi_epi32(left, right);
        store(out, _mm512_permutex2var_epi64(low, _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11), high), streams);
        store(out + 64, _mm512_permutex2var_epi64(low, _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15), high), streams);
    }
};

// Calls write(line, x, out, streams) for every sixteen pixels of a part.
template <unsigned int bytesPerPixel, class Write>
RAVELO_INLINE void forEachSixteen(FormedPicture const& picture, WideRgbPart const& part, Write const& write) {
    const auto address = reinterpret_cast<std::uintptr_t>(part.out);
    const bool streams = picture.streams && address % kCacheLineBytes == 0;
    for (std::uint32_t i = 0; i < part.numLines; ++i) {
        const auto below = [&](const float* samples) __attribute__((always_inline)) {
            return samples + std::size_t{i} * SamplePlane::kPitch;
        };
        SampleLine const& first = part.firstLine;
        const SampleLine line{below(first.y), below(first.cb), below(first.cr),
                              first.alpha == nullptr ? nullptr : below(first.alpha)};
        std::uint8_t* out = lineBelow(part.out, i, part.lineStride);
        for (std::uint32_t x = part.first; x < part.end; x += kWidePixels) {
            write(line, x, out, streams);
            out += kWidePixels * bytesPerPixel;
        }
    }
}

template <class Codes, bool is444, bool isBgra>
void writeCodes(FormedPicture const& picture, WideRgbPart const& part) {
    const Factors factors(picture.rgb);
    const auto write = [&](SampleLine const& line, std::uint32_t x, std::uint8_t* out, bool streams)
        __attribute__((always_inline)) {
        const Samples samples = samplesAt<is444>(line, x);
        const Rgb rgb = factors(samples);
        RgbCodes codes = {Codes::of(rgb.red), Codes::of(rgb.green), Codes::of(rgb.blue)};
        const __mmask16 inDouble =
            _mm512_cmp_ps_mask(samples.greatest(), _mm512_set1_ps(Codes::kMostInSingle), _CMP_GT_OQ);
        if (__builtin_expect(inDouble != 0, 0)) {
            const RgbCodes precise = preciseCodesAt<is444>(picture.rgb, line, x, Codes::kWhite + 0.5);
            codes = {_mm512_mask_mov_epi32(codes.red, inDouble, precise.red),
                     _mm512_mask_mov_epi32(codes.green, inDouble, precise.green),
                     _mm512_mask_mov_epi32(codes.blue, inDouble, precise.blue)};
        }
        const __m512i alpha = line.alpha == nullptr ? _mm512_set1_epi32(Codes::kWhite)
                                                    : _mm512_cvttps_epi32(alphaAt(picture, line, x, 0.5f));
        Codes::storePixels(out, isBgra ? codes.blue : codes.red, codes.green, isBgra ? codes.red : codes.blue, alpha,
                           streams);
    };
    forEachSixteen<Codes::kBytesPerPixel>(picture, part, write);
}

// Binary16 in the low halves, rounded to nearest, ties to even.
RAVELO_INLINE __m512i halvesOf(__m512 values) {
    return _mm512_cvtepu16_epi32(_mm512_cvtps_ph(values, 0));
}

template <bool is444>
void writeHalves(FormedPicture const& picture, WideRgbPart const& part) {
    constexpr std::int32_t kOne = 0x3C00;
    const Factors factors(picture.rgb);
    const auto write = [&](SampleLine const& line, std::uint32_t x, std::uint8_t* out, bool streams)
        __attribute__((always_inline)) {
        const Samples samples = samplesAt<is444>(line, x);
        Rgb rgb = factors(samples);
        const __m512 bound =
            _mm512_fmadd_ps(samples.greatest(), _mm512_set1_ps(kLeastHalfPerStep), _mm512_set1_ps(kLeastHalfInSingle));
        const __m512 smallest = lesserMagnitude(rgb.red, lesserMagnitude(rgb.green, rgb.blue));
        const __mmask16 inDouble = _mm512_cmp_ps_mask(bound, smallest, _CMP_GT_OQ);
        if (__builtin_expect(inDouble != 0, 0)) {
            const Rgb precise = preciseValuesAt<is444>(picture.rgb, line, x);
            rgb = {_mm512_mask_mov_ps(rgb.red, inDouble, precise.red),
                   _mm512_mask_mov_ps(rgb.green, inDouble, precise.green),
                   _mm512_mask_mov_ps(rgb.blue, inDouble, precise.blue)};
        }
        const __m512i alpha =
            line.alpha == nullptr ? _mm512_set1_epi32(kOne) : halvesOf(alphaAt(picture, line, x, 0.0f));
        WordCodes::storePixels(out, halvesOf(rgb.red), halvesOf(rgb.green), halvesOf(rgb.blue), alpha, streams);
    };
    forEachSixteen<WordCodes::kBytesPerPixel>(picture, part, write);
}

template <bool is444>
void writeInForm(FormedPicture const& picture, WideRgbPart const& part) {
    const bool isBgra = picture.output.form == PixelForm::Bgra;
    if (picture.output.form == PixelForm::RgbaHalf)
        writeHalves<is444>(picture, part);
    else if (picture.isDeep)
        isBgra ? writeCodes<WordCodes, is444, true>(picture, part) : writeCodes<WordCodes, is444, false>(picture, part);
    else
        isBgra ? writeCodes<ByteCodes, is444, true>(picture, part) : writeCodes<ByteCodes, is444, false>(picture, part);
}

} // namespace
