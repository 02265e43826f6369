#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

// The instructions of AVX-512 that the kernels use, by four 128-bit lanes, so that the source of the AVX-512 variant
// runs on processors without AVX-512 too. Behind this header the names of the 512-bit types and instructions mean the
// emulation. Most of these instructions work within the lanes; those that cross them are spelled out value by value.

namespace emulated512 {

struct Vector {
    __m128i lane[4];
};

template <typename Value>
struct Values {
    static constexpr int kCount = 64 / sizeof(Value);
    Value value[kCount];

    static Values of(Vector const& v) {
        Values values;
        std::memcpy(values.value, &v, sizeof values.value);
        return values;
    }
    Vector vector() const {
        Vector v;
        std::memcpy(&v, value, sizeof v);
        return v;
    }
};

template <typename Operation>
inline Vector eachLane(Operation operation) {
    return {{operation(0), operation(1), operation(2), operation(3)}};
}

inline __m128 floats(__m128i lane) {
    return _mm_castsi128_ps(lane);
}

inline __m128i bits(__m128 lane) {
    return _mm_castps_si128(lane);
}

// Chooses each value from the two tables that follow each other.
template <typename Value>
inline Vector permuted(Vector const& first, Vector const& order, Vector const& second) {
    const auto a = Values<Value>::of(first), b = Values<Value>::of(second), places = Values<Value>::of(order);
    Values<Value> result;
    constexpr int kCount = Values<Value>::kCount;
    for (int i = 0; i < kCount; ++i) {
        const int place = static_cast<int>(places.value[i]) & (2 * kCount - 1);
        result.value[i] = place < kCount ? a.value[place] : b.value[place - kCount];
    }
    return result.vector();
}

inline Vector load(const void* from) {
    Vector v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

inline void store(void* to, Vector const& v) {
    std::memcpy(to, &v, sizeof v);
}

template <typename Value, typename... Given>
inline Vector inOrder(Given... given) {
    const Values<Value> values = {{static_cast<Value>(given)...}};
    return values.vector();
}

inline Vector twice(__m256 half) {
    Vector v;
    std::memcpy(v.lane, &half, sizeof half);
    std::memcpy(v.lane + 2, &half, sizeof half);
    return v;
}

inline __m256 halfOf(Vector const& v, int index) {
    __m256 half;
    std::memcpy(&half, v.lane + 2 * index, sizeof half);
    return half;
}

template <int order>
inline Vector shuffledLanes(Vector const& a, Vector const& b) {
    return {{a.lane[order & 3], a.lane[order >> 2 & 3], b.lane[order >> 4 & 3], b.lane[order >> 6 & 3]}};
}

} // namespace emulated512

// An instruction that does in each lane what its 128-bit form does.
#define RAVELO_EMULATED(name, parameters, expression)                                                                  \
    inline emulated512::Vector emulated512_##name parameters {                                                         \
        return emulated512::eachLane([&](int i) { return expression; });                                               \
    }
#define RAVELO_EMULATED_INTEGERS(name)                                                                                 \
    RAVELO_EMULATED(name, (emulated512::Vector const& a, emulated512::Vector const& b),                                \
                    _mm_##name(a.lane[i], b.lane[i]))
#define RAVELO_EMULATED_FLOATS(name)                                                                                   \
    RAVELO_EMULATED(name, (emulated512::Vector const& a, emulated512::Vector const& b),                                \
                    emulated512::bits(_mm_##name(emulated512::floats(a.lane[i]), emulated512::floats(b.lane[i]))))
#define RAVELO_EMULATED_FUSED(name)                                                                                    \
    RAVELO_EMULATED(name, (emulated512::Vector const& a, emulated512::Vector const& b, emulated512::Vector const& c),  \
                    emulated512::bits(_mm_##name(emulated512::floats(a.lane[i]), emulated512::floats(b.lane[i]),       \
                                                 emulated512::floats(c.lane[i]))))

RAVELO_EMULATED_INTEGERS(adds_epi16)
RAVELO_EMULATED_INTEGERS(subs_epi16)
RAVELO_EMULATED_INTEGERS(mulhi_epi16)
RAVELO_EMULATED_INTEGERS(madd_epi16)
RAVELO_EMULATED_INTEGERS(add_epi32)
RAVELO_EMULATED_INTEGERS(packs_epi32)
RAVELO_EMULATED_INTEGERS(unpacklo_epi16)
RAVELO_EMULATED_INTEGERS(unpacklo_epi32)
RAVELO_EMULATED_INTEGERS(unpackhi_epi32)
RAVELO_EMULATED_INTEGERS(unpacklo_epi64)
RAVELO_EMULATED_INTEGERS(unpackhi_epi64)
RAVELO_EMULATED_INTEGERS(and_si128)
RAVELO_EMULATED_FLOATS(add_ps)
RAVELO_EMULATED_FLOATS(sub_ps)
RAVELO_EMULATED_FLOATS(mul_ps)
RAVELO_EMULATED_FLOATS(unpacklo_ps)
RAVELO_EMULATED_FLOATS(unpackhi_ps)
RAVELO_EMULATED_FUSED(fmadd_ps)
RAVELO_EMULATED_FUSED(fmsub_ps)
RAVELO_EMULATED_FUSED(fnmadd_ps)
RAVELO_EMULATED(slli_epi32, (emulated512::Vector const& a, int count), _mm_slli_epi32(a.lane[i], count))
RAVELO_EMULATED(srai_epi16, (emulated512::Vector const& a, int count), _mm_srai_epi16(a.lane[i], count))
RAVELO_EMULATED(srai_epi32, (emulated512::Vector const& a, int count), _mm_srai_epi32(a.lane[i], count))
RAVELO_EMULATED(cvtepi32_ps, (emulated512::Vector const& a), emulated512::bits(_mm_cvtepi32_ps(a.lane[i])))

template <int order>
RAVELO_EMULATED(shuffle_epi32, (emulated512::Vector const& a), _mm_shuffle_epi32(a.lane[i], order))
template <int order>
RAVELO_EMULATED(shuffle_ps, (emulated512::Vector const& a, emulated512::Vector const& b),
                emulated512::bits(_mm_shuffle_ps(emulated512::floats(a.lane[i]), emulated512::floats(b.lane[i]),
                                                 order)))

#undef RAVELO_EMULATED_FUSED
#undef RAVELO_EMULATED_FLOATS
#undef RAVELO_EMULATED_INTEGERS
#undef RAVELO_EMULATED

// Compilers have some of the instructions as macros.
#undef _mm512_extractf32x8_ps
#undef _mm512_setr_epi32
#undef _mm512_setr_epi64
#undef _mm512_shuffle_epi32
#undef _mm512_shuffle_i64x2
#undef _mm512_shuffle_ps
#undef _mm512_slli_epi32
#undef _mm512_srai_epi16
#undef _mm512_srai_epi32

#define __m512 emulated512::Vector
#define __m512d emulated512::Vector
#define __m512i emulated512::Vector
#define _mm512_add_epi32 emulated512_add_epi32
#define _mm512_add_ps emulated512_add_ps
#define _mm512_adds_epi16 emulated512_adds_epi16
#define _mm512_and_si512 emulated512_and_si128
#define _mm512_broadcast_f32x8(half) emulated512::twice(half)
#define _mm512_broadcast_i32x4(quarter) (emulated512::Vector{{(quarter), (quarter), (quarter), (quarter)}})
#define _mm512_castpd_ps(v) (v)
#define _mm512_castps512_ps256(v) emulated512::halfOf(v, 0)
#define _mm512_castps_pd(v) (v)
#define _mm512_castps_si512(v) (v)
#define _mm512_castsi512_ps(v) (v)
#define _mm512_cvtepi32_ps emulated512_cvtepi32_ps
#define _mm512_extractf32x8_ps(v, index) emulated512::halfOf(v, index)
#define _mm512_fmadd_ps emulated512_fmadd_ps
#define _mm512_fmsub_ps emulated512_fmsub_ps
#define _mm512_fnmadd_ps emulated512_fnmadd_ps
#define _mm512_loadu_si512(from) emulated512::load(from)
#define _mm512_madd_epi16 emulated512_madd_epi16
#define _mm512_mul_ps emulated512_mul_ps
#define _mm512_mulhi_epi16 emulated512_mulhi_epi16
#define _mm512_packs_epi32 emulated512_packs_epi32
#define _mm512_permutex2var_epi32(a, order, b) emulated512::permuted<std::uint32_t>(a, order, b)
#define _mm512_permutex2var_epi64(a, order, b) emulated512::permuted<std::uint64_t>(a, order, b)
#define _mm512_permutex2var_pd(a, order, b) emulated512::permuted<std::uint64_t>(a, order, b)
#define _mm512_set1_epi16(value) _mm512_broadcast_i32x4(_mm_set1_epi16(value))
#define _mm512_set1_epi32(value) _mm512_broadcast_i32x4(_mm_set1_epi32(value))
#define _mm512_set1_ps(value) emulated512::twice(_mm256_set1_ps(value))
#define _mm512_setr_epi32(...) emulated512::inOrder<std::uint32_t>(__VA_ARGS__)
#define _mm512_setr_epi64(...) emulated512::inOrder<std::uint64_t>(__VA_ARGS__)
#define _mm512_setzero_si512() _mm512_broadcast_i32x4(_mm_setzero_si128())
#define _mm512_shuffle_epi32(v, order) emulated512_shuffle_epi32<(order)>(v)
#define _mm512_shuffle_i64x2(a, b, order) emulated512::shuffledLanes<(order)>(a, b)
#define _mm512_shuffle_ps(a, b, order) emulated512_shuffle_ps<(order)>(a, b)
#define _mm512_slli_epi32 emulated512_slli_epi32
#define _mm512_srai_epi16 emulated512_srai_epi16
#define _mm512_srai_epi32 emulated512_srai_epi32
#define _mm512_storeu_si512(to, v) emulated512::store(to, v)
#define _mm512_sub_ps emulated512_sub_ps
#define _mm512_subs_epi16 emulated512_subs_epi16
#define _mm512_unpackhi_epi32 emulated512_unpackhi_epi32
#define _mm512_unpackhi_epi64 emulated512_unpackhi_epi64
#define _mm512_unpackhi_ps emulated512_unpackhi_ps
#define _mm512_unpacklo_epi16 emulated512_unpacklo_epi16
#define _mm512_unpacklo_epi32 emulated512_unpacklo_epi32
#define _mm512_unpacklo_epi64 emulated512_unpacklo_epi64
#define _mm512_unpacklo_ps emulated512_unpacklo_ps

// The sources ask for this before they use 512-bit vectors.
#ifndef __AVX512BW__
#define __AVX512BW__ 1
#endif
