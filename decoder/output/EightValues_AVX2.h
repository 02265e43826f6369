#pragma once

#include <cstdint>

#include "EightValues.h"
#include "Intrinsics.h"

template <>
struct EightFloats<OptimizationTarget::AVX2> {
    __m256 v;

    static EightFloats load(const float* from) { return {_mm256_loadu_ps(from)}; }
    static EightFloats broadcast(double value) { return {_mm256_set1_ps(static_cast<float>(value))}; }
    static EightFloats ofWords(const std::uint16_t* from) {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        return {_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(words))};
    }
    static EightFloats sumsOfNeighbours(const float* chroma) {
        const __m256 values = _mm256_loadu_ps(chroma);
        const __m256 left = _mm256_permutevar8x32_ps(values, _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3));
        const __m256 right = _mm256_permutevar8x32_ps(values, _mm256_setr_epi32(0, 1, 1, 2, 2, 3, 3, 4));
        return {_mm256_add_ps(left, right)};
    }
    static EightFloats multiplyAdd(EightFloats a, EightFloats b, EightFloats c) {
        return {_mm256_fmadd_ps(a.v, b.v, c.v)};
    }

    friend EightFloats operator+(EightFloats a, EightFloats b) { return {_mm256_add_ps(a.v, b.v)}; }
    EightFloats limited(EightFloats most) const { return {_mm256_min_ps(v, most.v)}; }
    EightFloats notBelow(EightFloats least) const { return {_mm256_max_ps(v, least.v)}; }
    // The greater of the magnitudes of two values each, and the lesser.
    EightFloats greaterMagnitude(EightFloats other) const {
        const __m256 signs = _mm256_set1_ps(-0.0f);
        return {_mm256_max_ps(_mm256_andnot_ps(signs, v), _mm256_andnot_ps(signs, other.v))};
    }
    EightFloats lesserMagnitude(EightFloats other) const {
        const __m256 signs = _mm256_set1_ps(-0.0f);
        return {_mm256_min_ps(_mm256_andnot_ps(signs, v), _mm256_andnot_ps(signs, other.v))};
    }
    bool hasAbove(EightFloats bounds) const { return _mm256_movemask_ps(_mm256_cmp_ps(v, bounds.v, _CMP_GT_OQ)) != 0; }
    bool hasAbove(float bound) const { return hasAbove(broadcast(double{bound})); }
    // `a` where a value is above its bound, elsewhere `b`.
    EightFloats choiceWhereAbove(EightFloats bounds, EightFloats a, EightFloats b) const {
        return {_mm256_blendv_ps(b.v, a.v, _mm256_cmp_ps(v, bounds.v, _CMP_GT_OQ))};
    }
    void store(float* to) const { _mm256_storeu_ps(to, v); }
};

template <>
struct EightDoubles<OptimizationTarget::AVX2> {
    using Floats = EightFloats<OptimizationTarget::AVX2>;

    __m256d low, high;

    static EightDoubles load(const float* from) {
        return {_mm256_cvtps_pd(_mm_loadu_ps(from)), _mm256_cvtps_pd(_mm_loadu_ps(from + 4))};
    }
    static EightDoubles broadcast(double value) { return {_mm256_set1_pd(value), _mm256_set1_pd(value)}; }
    static EightDoubles sumsOfNeighbours(const float* chroma) {
        const __m256d here = _mm256_cvtps_pd(_mm_loadu_ps(chroma));
        const __m256d next = _mm256_cvtps_pd(_mm_loadu_ps(chroma + 1));
        const __m256d onEven = _mm256_add_pd(here, here), onOdd = _mm256_add_pd(here, next);
        const __m256d first = _mm256_unpacklo_pd(onEven, onOdd), second = _mm256_unpackhi_pd(onEven, onOdd);
        return {_mm256_permute2f128_pd(first, second, 0x20), _mm256_permute2f128_pd(first, second, 0x31)};
    }
    static EightDoubles multiplyAdd(EightDoubles a, EightDoubles b, EightDoubles c) {
        return {_mm256_fmadd_pd(a.low, b.low, c.low), _mm256_fmadd_pd(a.high, b.high, c.high)};
    }

    // At most `most`, and not below 0.
    EightDoubles limited(EightDoubles most) const {
        const __m256d zero = _mm256_setzero_pd();
        return {_mm256_max_pd(_mm256_min_pd(low, most.low), zero), _mm256_max_pd(_mm256_min_pd(high, most.high), zero)};
    }
    Floats rounded() const {
        return {_mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(low)), _mm256_cvtpd_ps(high), 1)};
    }
};

template <>
struct EightInts<OptimizationTarget::AVX2> {
    using Floats = EightFloats<OptimizationTarget::AVX2>;
    using Doubles = EightDoubles<OptimizationTarget::AVX2>;

    __m256i v;

    static EightInts broadcast(std::int32_t value) { return {_mm256_set1_epi32(value)}; }
    static EightInts truncated(Floats values) { return {_mm256_cvttps_epi32(values.v)}; }
    static EightInts truncated(Doubles const& values) {
        const __m256i low = _mm256_castsi128_si256(_mm256_cvttpd_epi32(values.low));
        return {_mm256_inserti128_si256(low, _mm256_cvttpd_epi32(values.high), 1)};
    }
    // Binary16 in the low halves, which rounds to nearest, ties to even, whatever the thread's mode.
    static EightInts halves(Floats values, bool byInstruction) {
        if (byInstruction) {
            // Not an intrinsic, so that the unit is not built for a feature that its processors may lack.
            __m128i halves;
            __asm__("vcvtps2ph $0, %1, %0" : "=x"(halves) : "x"(values.v));
            return {_mm256_cvtepu16_epi32(halves)};
        }
        return halvesByIntegers(values);
    }

    // Bytes from values up to 255; those below 0 become 0. Where they stream, `out` is a multiple of 32.
    static void storePixels(std::uint8_t* out, EightInts a, EightInts b, EightInts c, EightInts d, bool streams) {
        const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(a.v, b.v), _mm256_packs_epi32(c.v, d.v));
        const __m256i order =
            _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
        store(out, _mm256_shuffle_epi8(bytes, order), streams);
    }

    // 16-bit samples from values of [0, 65535].
    static void storeDeepPixels(std::uint8_t* out, EightInts a, EightInts b, EightInts c, EightInts d, bool streams) {
        const __m256i left = _mm256_or_si256(a.v, _mm256_slli_epi32(b.v, 16));
        const __m256i right = _mm256_or_si256(c.v, _mm256_slli_epi32(d.v, 16));
        const __m256i low = _mm256_unpacklo_epi32(left, right), high = _mm256_unpackhi_epi32(left, right);
        store(out, _mm256_permute2x128_si256(low, high, 0x20), streams);
        store(out + 32, _mm256_permute2x128_si256(low, high, 0x31), streams);
    }

    // A plane of bytes, as storePixels stores them.
    void storeBytes(std::uint8_t* out) const {
        const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
    }

private:
    // Not inlined, since few processors need it.
    [[gnu::noinline]] static EightInts halvesByIntegers(Floats values) {
        const __m128i low = halfBitsByIntegers<OptimizationTarget::AVX2>(_mm256_castps256_ps128(values.v));
        const __m128i high = halfBitsByIntegers<OptimizationTarget::AVX2>(_mm256_extractf128_ps(values.v, 1));
        return {_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1)};
    }

    static void store(std::uint8_t* out, __m256i pixels, bool streams) {
        if (streams)
            _mm256_stream_si256(reinterpret_cast<__m256i*>(out), pixels);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), pixels);
    }
};
