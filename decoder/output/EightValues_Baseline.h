#pragma once

#include <cstdint>

#include "EightValues.h"
#include "Intrinsics.h"

template <>
struct EightFloats<OptimizationTarget::Baseline> {
    __m128 low, high;

    static EightFloats load(const float* from) { return {_mm_loadu_ps(from), _mm_loadu_ps(from + 4)}; }
    static EightFloats broadcast(double value) {
        const __m128 v = _mm_set1_ps(static_cast<float>(value));
        return {v, v};
    }
    static EightFloats ofWords(const std::uint16_t* from) {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i zero = _mm_setzero_si128();
        return {_mm_cvtepi32_ps(_mm_unpacklo_epi16(words, zero)), _mm_cvtepi32_ps(_mm_unpackhi_epi16(words, zero))};
    }
    static EightFloats sumsOfNeighbours(const float* chroma) {
        const __m128 here = _mm_loadu_ps(chroma);
        const __m128 onEven = _mm_add_ps(here, here), onOdd = _mm_add_ps(here, _mm_loadu_ps(chroma + 1));
        return {_mm_unpacklo_ps(onEven, onOdd), _mm_unpackhi_ps(onEven, onOdd)};
    }
    static EightFloats multiplyAdd(EightFloats a, EightFloats b, EightFloats c) {
        return {_mm_add_ps(_mm_mul_ps(a.low, b.low), c.low), _mm_add_ps(_mm_mul_ps(a.high, b.high), c.high)};
    }

    friend EightFloats operator+(EightFloats a, EightFloats b) {
        return {_mm_add_ps(a.low, b.low), _mm_add_ps(a.high, b.high)};
    }
    EightFloats limited(EightFloats most) const { return {_mm_min_ps(low, most.low), _mm_min_ps(high, most.high)}; }
    EightFloats notBelow(EightFloats least) const { return {_mm_max_ps(low, least.low), _mm_max_ps(high, least.high)}; }
    // The greater of the magnitudes of two values each, and the lesser.
    EightFloats greaterMagnitude(EightFloats other) const {
        const __m128 signs = _mm_set1_ps(-0.0f);
        return {_mm_max_ps(_mm_andnot_ps(signs, low), _mm_andnot_ps(signs, other.low)),
                _mm_max_ps(_mm_andnot_ps(signs, high), _mm_andnot_ps(signs, other.high))};
    }
    EightFloats lesserMagnitude(EightFloats other) const {
        const __m128 signs = _mm_set1_ps(-0.0f);
        return {_mm_min_ps(_mm_andnot_ps(signs, low), _mm_andnot_ps(signs, other.low)),
                _mm_min_ps(_mm_andnot_ps(signs, high), _mm_andnot_ps(signs, other.high))};
    }
    bool hasAbove(EightFloats bounds) const {
        return _mm_movemask_ps(_mm_or_ps(_mm_cmpgt_ps(low, bounds.low), _mm_cmpgt_ps(high, bounds.high))) != 0;
    }
    bool hasAbove(float bound) const { return hasAbove(broadcast(double{bound})); }
    // `a` where a value is above its bound, elsewhere `b`.
    EightFloats choiceWhereAbove(EightFloats bounds, EightFloats a, EightFloats b) const {
        return {chosen(_mm_cmpgt_ps(low, bounds.low), a.low, b.low),
                chosen(_mm_cmpgt_ps(high, bounds.high), a.high, b.high)};
    }
    void store(float* to) const {
        _mm_storeu_ps(to, low);
        _mm_storeu_ps(to + 4, high);
    }

private:
    static __m128 chosen(__m128 mask, __m128 a, __m128 b) {
        return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
    }
};

template <>
struct EightDoubles<OptimizationTarget::Baseline> {
    using Floats = EightFloats<OptimizationTarget::Baseline>;

    __m128d pair[4];

    static EightDoubles load(const float* from) { return fromFour(_mm_loadu_ps(from), _mm_loadu_ps(from + 4)); }
    static EightDoubles broadcast(double value) {
        const __m128d v = _mm_set1_pd(value);
        return {{v, v, v, v}};
    }
    static EightDoubles sumsOfNeighbours(const float* chroma) {
        const EightDoubles values = fromFour(_mm_loadu_ps(chroma), _mm_loadu_ps(chroma + 1));
        EightDoubles sums;
        for (int i = 0; i < 2; ++i) {
            const __m128d here = values.pair[i];
            const __m128d onEven = _mm_add_pd(here, here), onOdd = _mm_add_pd(here, values.pair[i + 2]);
            sums.pair[2 * i] = _mm_unpacklo_pd(onEven, onOdd);
            sums.pair[2 * i + 1] = _mm_unpackhi_pd(onEven, onOdd);
        }
        return sums;
    }
    static EightDoubles multiplyAdd(EightDoubles const& a, EightDoubles const& b, EightDoubles const& c) {
        EightDoubles sums;
        for (int i = 0; i < 4; ++i)
            sums.pair[i] = _mm_add_pd(_mm_mul_pd(a.pair[i], b.pair[i]), c.pair[i]);
        return sums;
    }

    // At most `most`, and not below 0.
    EightDoubles limited(EightDoubles const& most) const {
        EightDoubles values;
        for (int i = 0; i < 4; ++i)
            values.pair[i] = _mm_max_pd(_mm_min_pd(pair[i], most.pair[i]), _mm_setzero_pd());
        return values;
    }
    Floats rounded() const {
        return {_mm_movelh_ps(_mm_cvtpd_ps(pair[0]), _mm_cvtpd_ps(pair[1])),
                _mm_movelh_ps(_mm_cvtpd_ps(pair[2]), _mm_cvtpd_ps(pair[3]))};
    }

private:
    static EightDoubles fromFour(__m128 a, __m128 b) {
        return {
            {_mm_cvtps_pd(a), _mm_cvtps_pd(_mm_movehl_ps(a, a)), _mm_cvtps_pd(b), _mm_cvtps_pd(_mm_movehl_ps(b, b))}};
    }
};

template <>
struct EightInts<OptimizationTarget::Baseline> {
    using Floats = EightFloats<OptimizationTarget::Baseline>;
    using Doubles = EightDoubles<OptimizationTarget::Baseline>;

    __m128i low, high;

    static EightInts broadcast(std::int32_t value) { return {_mm_set1_epi32(value), _mm_set1_epi32(value)}; }
    static EightInts truncated(Floats values) { return {_mm_cvttps_epi32(values.low), _mm_cvttps_epi32(values.high)}; }
    static EightInts truncated(Doubles const& values) {
        return {_mm_unpacklo_epi64(_mm_cvttpd_epi32(values.pair[0]), _mm_cvttpd_epi32(values.pair[1])),
                _mm_unpacklo_epi64(_mm_cvttpd_epi32(values.pair[2]), _mm_cvttpd_epi32(values.pair[3]))};
    }
    // Binary16 in the low halves. The target has no instruction for it.
    static EightInts halves(Floats values, bool) {
        return {halfBitsByIntegers<OptimizationTarget::Baseline>(values.low),
                halfBitsByIntegers<OptimizationTarget::Baseline>(values.high)};
    }

    // Bytes from values up to 255; those below 0 become 0. Where they stream, `out` is a multiple of 16.
    static void storePixels(std::uint8_t* out, EightInts a, EightInts b, EightInts c, EightInts d, bool streams) {
        store(out, fourPixels(a.low, b.low, c.low, d.low), streams);
        store(out + 16, fourPixels(a.high, b.high, c.high, d.high), streams);
    }

    // 16-bit samples from values of [0, 65535].
    static void storeDeepPixels(std::uint8_t* out, EightInts a, EightInts b, EightInts c, EightInts d, bool streams) {
        storeFourDeep(out, a.low, b.low, c.low, d.low, streams);
        storeFourDeep(out + 32, a.high, b.high, c.high, d.high, streams);
    }

    // A plane of bytes, as storePixels stores them.
    void storeBytes(std::uint8_t* out) const {
        const __m128i words = _mm_packs_epi32(low, high);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
    }

private:
    static void store(std::uint8_t* out, __m128i pixels, bool streams) {
        if (streams)
            _mm_stream_si128(reinterpret_cast<__m128i*>(out), pixels);
        else
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), pixels);
    }

    static __m128i fourPixels(__m128i a, __m128i b, __m128i c, __m128i d) {
        const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
        return _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    }

    static void storeFourDeep(std::uint8_t* out, __m128i a, __m128i b, __m128i c, __m128i d, bool streams) {
        const __m128i left = _mm_or_si128(a, _mm_slli_epi32(b, 16));
        const __m128i right = _mm_or_si128(c, _mm_slli_epi32(d, 16));
        store(out, _mm_unpacklo_epi32(left, right), streams);
        store(out + 16, _mm_unpackhi_epi32(left, right), streams);
    }
};
