#pragma once

#include <cstdint>

#include "Inline.h"
#include "Intrinsics.h"

// Vectors of 16-bit values for the fixed-point transforms, one type per register width. Every operation works within
// 128-bit lanes, so the algorithms are written once, and a wider vector has more lanes.
//
// The unnamed namespace is on purpose, here and in the other headers of the variants: each unit is compiled for
// different processors, and a definition that the linker shared between them could run on a processor that lacks its
// instructions.

namespace {

struct Int128 {
    static constexpr int kLanes = 1;
    __m128i v;

    static RAVELO_INLINE Int128 load(const std::int16_t* from) {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))};
    }
    static RAVELO_INLINE Int128 broadcastLane(const std::int16_t* from) { return load(from); }
    static RAVELO_INLINE Int128 broadcast16(int value) { return {_mm_set1_epi16(static_cast<short>(value))}; }
    static RAVELO_INLINE Int128 broadcast32(int value) { return {_mm_set1_epi32(value)}; }
    static RAVELO_INLINE Int128 zero() { return {_mm_setzero_si128()}; }
    RAVELO_INLINE void store(std::int16_t* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
};

RAVELO_INLINE Int128 addSaturated(Int128 a, Int128 b) {
    return {_mm_adds_epi16(a.v, b.v)};
}
RAVELO_INLINE Int128 subSaturated(Int128 a, Int128 b) {
    return {_mm_subs_epi16(a.v, b.v)};
}
RAVELO_INLINE Int128 highHalf(Int128 a, Int128 b) {
    return {_mm_mulhi_epi16(a.v, b.v)};
}
RAVELO_INLINE Int128 pairProducts(Int128 a, Int128 b) {
    return {_mm_madd_epi16(a.v, b.v)};
}
RAVELO_INLINE Int128 add32(Int128 a, Int128 b) {
    return {_mm_add_epi32(a.v, b.v)};
}
RAVELO_INLINE Int128 sub32(Int128 a, Int128 b) {
    return {_mm_sub_epi32(a.v, b.v)};
}
RAVELO_INLINE Int128 pack32(Int128 a, Int128 b) {
    return {_mm_packs_epi32(a.v, b.v)};
}
RAVELO_INLINE Int128 unpackLow16(Int128 a, Int128 b) {
    return {_mm_unpacklo_epi16(a.v, b.v)};
}
RAVELO_INLINE Int128 unpackLow32(Int128 a, Int128 b) {
    return {_mm_unpacklo_epi32(a.v, b.v)};
}
RAVELO_INLINE Int128 unpackHigh32(Int128 a, Int128 b) {
    return {_mm_unpackhi_epi32(a.v, b.v)};
}
RAVELO_INLINE Int128 unpackLow64(Int128 a, Int128 b) {
    return {_mm_unpacklo_epi64(a.v, b.v)};
}
RAVELO_INLINE Int128 unpackHigh64(Int128 a, Int128 b) {
    return {_mm_unpackhi_epi64(a.v, b.v)};
}
template <int bits>
RAVELO_INLINE Int128 shiftRight16(Int128 a) {
    return {_mm_srai_epi16(a.v, bits)};
}
template <int bits>
RAVELO_INLINE Int128 shiftRight32(Int128 a) {
    return {_mm_srai_epi32(a.v, bits)};
}
template <int order>
RAVELO_INLINE Int128 shuffle32(Int128 a) {
    return {_mm_shuffle_epi32(a.v, order)};
}
// Even or odd 32-bit values of two vectors, those of `a` in the lower half of each lane.
RAVELO_INLINE Int128 evens32(Int128 a, Int128 b) {
    return {_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.v), _mm_castsi128_ps(b.v), 0x88))};
}
RAVELO_INLINE Int128 odds32(Int128 a, Int128 b) {
    return {_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.v), _mm_castsi128_ps(b.v), 0xDD))};
}

#ifdef __AVX2__

struct Int256 {
    static constexpr int kLanes = 2;
    __m256i v;

    static RAVELO_INLINE Int256 load(const std::int16_t* from) {
        return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from))};
    }
    static RAVELO_INLINE Int256 broadcastLane(const std::int16_t* from) {
        return {_mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)))};
    }
    static RAVELO_INLINE Int256 broadcast16(int value) { return {_mm256_set1_epi16(static_cast<short>(value))}; }
    static RAVELO_INLINE Int256 broadcast32(int value) { return {_mm256_set1_epi32(value)}; }
    static RAVELO_INLINE Int256 zero() { return {_mm256_setzero_si256()}; }
    RAVELO_INLINE void store(std::int16_t* to) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v); }
};

RAVELO_INLINE Int256 addSaturated(Int256 a, Int256 b) {
    return {_mm256_adds_epi16(a.v, b.v)};
}
RAVELO_INLINE Int256 subSaturated(Int256 a, Int256 b) {
    return {_mm256_subs_epi16(a.v, b.v)};
}
RAVELO_INLINE Int256 highHalf(Int256 a, Int256 b) {
    return {_mm256_mulhi_epi16(a.v, b.v)};
}
RAVELO_INLINE Int256 pairProducts(Int256 a, Int256 b) {
    return {_mm256_madd_epi16(a.v, b.v)};
}
RAVELO_INLINE Int256 add32(Int256 a, Int256 b) {
    return {_mm256_add_epi32(a.v, b.v)};
}
RAVELO_INLINE Int256 pack32(Int256 a, Int256 b) {
    return {_mm256_packs_epi32(a.v, b.v)};
}
RAVELO_INLINE Int256 unpackLow16(Int256 a, Int256 b) {
    return {_mm256_unpacklo_epi16(a.v, b.v)};
}
RAVELO_INLINE Int256 unpackLow32(Int256 a, Int256 b) {
    return {_mm256_unpacklo_epi32(a.v, b.v)};
}
RAVELO_INLINE Int256 unpackHigh32(Int256 a, Int256 b) {
    return {_mm256_unpackhi_epi32(a.v, b.v)};
}
RAVELO_INLINE Int256 unpackLow64(Int256 a, Int256 b) {
    return {_mm256_unpacklo_epi64(a.v, b.v)};
}
RAVELO_INLINE Int256 unpackHigh64(Int256 a, Int256 b) {
    return {_mm256_unpackhi_epi64(a.v, b.v)};
}
template <int bits>
RAVELO_INLINE Int256 shiftRight16(Int256 a) {
    return {_mm256_srai_epi16(a.v, bits)};
}
template <int bits>
RAVELO_INLINE Int256 shiftRight32(Int256 a) {
    return {_mm256_srai_epi32(a.v, bits)};
}
template <int order>
RAVELO_INLINE Int256 shuffle32(Int256 a) {
    return {_mm256_shuffle_epi32(a.v, order)};
}
RAVELO_INLINE Int256 evens32(Int256 a, Int256 b) {
    return {_mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a.v), _mm256_castsi256_ps(b.v), 0x88))};
}
RAVELO_INLINE Int256 odds32(Int256 a, Int256 b) {
    return {_mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a.v), _mm256_castsi256_ps(b.v), 0xDD))};
}

#endif

#ifdef __AVX512BW__

struct Int512 {
    static constexpr int kLanes = 4;
    __m512i v;

    static RAVELO_INLINE Int512 load(const std::int16_t* from) { return {_mm512_loadu_si512(from)}; }
    static RAVELO_INLINE Int512 broadcastLane(const std::int16_t* from) {
        return {_mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)))};
    }
    static RAVELO_INLINE Int512 broadcast16(int value) { return {_mm512_set1_epi16(static_cast<short>(value))}; }
    static RAVELO_INLINE Int512 broadcast32(int value) { return {_mm512_set1_epi32(value)}; }
    static RAVELO_INLINE Int512 zero() { return {_mm512_setzero_si512()}; }
    RAVELO_INLINE void store(std::int16_t* to) const { _mm512_storeu_si512(to, v); }
};

RAVELO_INLINE Int512 addSaturated(Int512 a, Int512 b) {
    return {_mm512_adds_epi16(a.v, b.v)};
}
RAVELO_INLINE Int512 subSaturated(Int512 a, Int512 b) {
    return {_mm512_subs_epi16(a.v, b.v)};
}
RAVELO_INLINE Int512 highHalf(Int512 a, Int512 b) {
    return {_mm512_mulhi_epi16(a.v, b.v)};
}
RAVELO_INLINE Int512 pairProducts(Int512 a, Int512 b) {
    return {_mm512_madd_epi16(a.v, b.v)};
}
RAVELO_INLINE Int512 add32(Int512 a, Int512 b) {
    return {_mm512_add_epi32(a.v, b.v)};
}
RAVELO_INLINE Int512 pack32(Int512 a, Int512 b) {
    return {_mm512_packs_epi32(a.v, b.v)};
}
RAVELO_INLINE Int512 unpackLow16(Int512 a, Int512 b) {
    return {_mm512_unpacklo_epi16(a.v, b.v)};
}
RAVELO_INLINE Int512 unpackLow32(Int512 a, Int512 b) {
    return {_mm512_unpacklo_epi32(a.v, b.v)};
}
RAVELO_INLINE Int512 unpackHigh32(Int512 a, Int512 b) {
    return {_mm512_unpackhi_epi32(a.v, b.v)};
}
RAVELO_INLINE Int512 unpackLow64(Int512 a, Int512 b) {
    return {_mm512_unpacklo_epi64(a.v, b.v)};
}
RAVELO_INLINE Int512 unpackHigh64(Int512 a, Int512 b) {
    return {_mm512_unpackhi_epi64(a.v, b.v)};
}
template <int bits>
RAVELO_INLINE Int512 shiftRight16(Int512 a) {
    return {_mm512_srai_epi16(a.v, bits)};
}
template <int bits>
RAVELO_INLINE Int512 shiftRight32(Int512 a) {
    return {_mm512_srai_epi32(a.v, bits)};
}
template <int order>
RAVELO_INLINE Int512 shuffle32(Int512 a) {
    return {_mm512_shuffle_epi32(a.v, static_cast<_MM_PERM_ENUM>(order))};
}
RAVELO_INLINE Int512 evens32(Int512 a, Int512 b) {
    return {_mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(a.v), _mm512_castsi512_ps(b.v), 0x88))};
}
RAVELO_INLINE Int512 odds32(Int512 a, Int512 b) {
    return {_mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(a.v), _mm512_castsi512_ps(b.v), 0xDD))};
}

#endif

} // namespace
