#pragma once

#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The instructions of AVX-512 that the kernels, the scan in lanes and the wide forms use, by four 128-bit
// lanes, so that their sources run on processors without AVX-512 too. After this header the names of the 512-bit types
// and instructions mean the emulation. Most of these instructions work within the lanes; those that cross them are
// spelled out value by value.

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

inline __m128d doubles(__m128i lane) {
    return _mm_castsi128_pd(lane);
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

// The processor refuses other addresses, too.
inline void requireAlignment(const void* address) {
    if (reinterpret_cast<std::uintptr_t>(address) % sizeof(Vector) != 0)
        std::abort();
}

inline Vector loadAligned(const void* from) {
    requireAlignment(from);
    return load(from);
}

inline void storeAligned(void* to, Vector const& v) {
    requireAlignment(to);
    store(to, v);
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

// The upper half of what a 256-bit register is taken for may hold anything.
inline Vector lowerHalf(__m256i half) {
    Vector v;
    std::memset(&v, 0xA5, sizeof v);
    std::memcpy(v.lane, &half, sizeof half);
    return v;
}

inline Vector withHalf(Vector v, __m256i half, int index) {
    std::memcpy(v.lane + 2 * index, &half, sizeof half);
    return v;
}

// The lower half of a vector.
inline __m256i lowerHalfOf(Vector const& v) {
    __m256i half;
    std::memcpy(&half, v.lane, sizeof half);
    return half;
}

// As many values from `from` as a vector of a wider type holds, each extended to that type.
template <typename Wide, typename Narrow, typename From>
inline Vector extended(From const& from) {
    Narrow narrow[64 / sizeof(Wide)];
    static_assert(sizeof narrow <= sizeof from);
    std::memcpy(narrow, &from, sizeof narrow);
    Values<Wide> values;
    for (int i = 0; i < Values<Wide>::kCount; ++i)
        values.value[i] = narrow[i];
    return values.vector();
}

// The words of the table whose numbers are in the low five bits of those of `order`, and 0 without a bit of the mask.
inline Vector permutedWords(__mmask32 mask, Vector const& order, Vector const& table) {
    const auto places = Values<std::uint16_t>::of(order), from = Values<std::uint16_t>::of(table);
    Values<std::uint16_t> result;
    for (int i = 0; i < 32; ++i)
        result.value[i] = (mask >> i & 1) != 0 ? from.value[places.value[i] & 31] : std::uint16_t{0};
    return result.vector();
}

// Stores the words with a bit of the mask, whole or their lower bytes.
template <typename Stored>
inline void storeWords(void* to, __mmask32 mask, Vector const& v) {
    const auto values = Values<std::uint16_t>::of(v);
    for (int i = 0; i < 32; ++i) {
        if ((mask >> i & 1) != 0)
            static_cast<Stored*>(to)[i] = static_cast<Stored>(values.value[i]);
    }
}

// All ones in the values of a lane whose bits of the mask are set.
inline __m128i maskOfLane(__mmask16 mask, int i) {
    const __m128i places = _mm_setr_epi32(1, 2, 4, 8);
    return _mm_cmpeq_epi32(_mm_and_si128(_mm_set1_epi32(mask >> 4 * i), places), places);
}

// The mask of the values that an operation of 128-bit lanes makes negative.
template <typename Operation>
inline __mmask16 maskOfSigns(Operation operation) {
    int mask = 0;
    for (int i = 0; i < 4; ++i)
        mask |= _mm_movemask_ps(floats(operation(i))) << 4 * i;
    return static_cast<__mmask16>(mask);
}

// The greater or the lesser of the magnitudes of two values each, as the lowest bit of `order` says.
template <int order>
inline Vector chosenMagnitudes(Vector const& a, Vector const& b) {
    static_assert((order & ~1) == (2 << 2 | 2)); // magnitudes without their signs
    const __m128 signs = _mm_set1_ps(-0.0f);
    return eachLane([&](int i) {
        const __m128 x = _mm_andnot_ps(signs, floats(a.lane[i])), y = _mm_andnot_ps(signs, floats(b.lane[i]));
        return bits((order & 1) != 0 ? _mm_max_ps(x, y) : _mm_min_ps(x, y));
    });
}

inline __mmask16 greaterFloats(Vector const& a, Vector const& b) {
    return maskOfSigns([&](int i) { return bits(_mm_cmpgt_ps(floats(a.lane[i]), floats(b.lane[i]))); });
}

// Eight values each, the half of a vector of doubles.
inline Vector toDoubles(__m256 values) {
    return {{_mm_castpd_si128(_mm_cvtps_pd(_mm256_castps256_ps128(values))),
             _mm_castpd_si128(_mm_cvtps_pd(_mm_permute_ps(_mm256_castps256_ps128(values), 0x0E))),
             _mm_castpd_si128(_mm_cvtps_pd(_mm256_extractf128_ps(values, 1))),
             _mm_castpd_si128(_mm_cvtps_pd(_mm_permute_ps(_mm256_extractf128_ps(values, 1), 0x0E)))}};
}

template <typename Operation>
inline __m256i fromDoubles(Operation operation) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(operation(0), operation(1))),
                                   _mm_unpacklo_epi64(operation(2), operation(3)), 1);
}

inline __m256 toFloats(Vector const& v) {
    return _mm256_castsi256_ps(fromDoubles([&](int i) { return bits(_mm_cvtpd_ps(doubles(v.lane[i]))); }));
}

inline __m256i cutToIntegers(Vector const& v) {
    return fromDoubles([&](int i) { return _mm_cvttpd_epi32(doubles(v.lane[i])); });
}

template <int rounding>
inline __m256i toHalves(Vector const& v) {
    return fromDoubles([&](int i) { return _mm_cvtps_ph(floats(v.lane[i]), rounding); });
}

inline __mmask16 signsOf(Vector const& v) {
    return maskOfSigns([&](int i) { return v.lane[i]; });
}

inline __mmask16 equal(Vector const& a, Vector const& b) {
    return maskOfSigns([&](int i) { return _mm_cmpeq_epi32(a.lane[i], b.lane[i]); });
}

inline __mmask16 greater(Vector const& a, Vector const& b) {
    return maskOfSigns([&](int i) { return _mm_cmpgt_epi32(a.lane[i], b.lane[i]); });
}

// The values of `chosen` where the mask has a bit, and of `others` elsewhere.
inline Vector masked(Vector const& others, __mmask16 mask, Vector const& chosen) {
    return eachLane([&](int i) { return _mm_blendv_epi8(others.lane[i], chosen.lane[i], maskOfLane(mask, i)); });
}

// Each byte of the table whose number is in the low six bits of a byte of `order`.
inline Vector permutedBytes(Vector const& order, Vector const& table) {
    return eachLane([&](int i) {
        const __m128i place = _mm_and_si128(order.lane[i], _mm_set1_epi8(15));
        const __m128i laneOfTable = _mm_and_si128(order.lane[i], _mm_set1_epi8(48));
        __m128i result = _mm_setzero_si128();
        for (int j = 0; j < 4; ++j) {
            const __m128i isHere = _mm_cmpeq_epi8(laneOfTable, _mm_set1_epi8(static_cast<char>(16 * j)));
            result = _mm_or_si128(result, _mm_and_si128(isHere, _mm_shuffle_epi8(table.lane[j], place)));
        }
        return result;
    });
}

inline Vector keptBytes(std::uint64_t mask, Vector const& v) {
    auto values = Values<std::uint8_t>::of(v);
    for (int i = 0; i < 64; ++i) {
        if ((mask >> i & 1) == 0)
            values.value[i] = 0;
    }
    return values.vector();
}

// The upper half of two values that are shifted left as one, by the low five bits of a count.
inline Vector shiftedPairs(Vector const& upper, Vector const& lower, Vector const& counts) {
    return eachLane([&](int i) {
        const __m128i left = _mm_and_si128(counts.lane[i], _mm_set1_epi32(31));
        const __m128i right = _mm_sub_epi32(_mm_set1_epi32(32), left); // a shift by 32 leaves nothing
        return _mm_or_si128(_mm_sllv_epi32(upper.lane[i], left), _mm_srlv_epi32(lower.lane[i], right));
    });
}

inline Vector leadingZeros(Vector const& v) {
    auto values = Values<std::uint32_t>::of(v);
    for (std::uint32_t& value : values.value)
        value = static_cast<std::uint32_t>(std::countl_zero(value));
    return values.vector();
}

// Adds the products of four unsigned bytes with four signed ones to each value.
inline Vector addedProducts(Vector const& sums, Vector const& unsignedBytes, Vector const& signedBytes) {
    return eachLane([&](int i) {
        const __m128i a = unsignedBytes.lane[i], b = signedBytes.lane[i];
        const __m128i lower = _mm_madd_epi16(_mm_cvtepu8_epi16(a), _mm_cvtepi8_epi16(b));
        const __m128i upper =
            _mm_madd_epi16(_mm_cvtepu8_epi16(_mm_srli_si128(a, 8)), _mm_cvtepi8_epi16(_mm_srli_si128(b, 8)));
        return _mm_add_epi32(sums.lane[i], _mm_hadd_epi32(lower, upper));
    });
}

// The bit of `truth` at the number that the bits of a, b and c make.
template <int truth>
inline Vector logic(Vector const& a, Vector const& b, Vector const& c) {
    const __m128i ones = _mm_set1_epi32(-1);
    return eachLane([&](int i) {
        __m128i result = _mm_setzero_si128();
        for (int number = 0; number < 8; ++number) {
            const auto bitOr = [&](int bit, __m128i v) { return (number & bit) != 0 ? v : _mm_xor_si128(v, ones); };
            if ((truth >> number & 1) != 0)
                result = _mm_or_si128(result, _mm_and_si128(_mm_and_si128(bitOr(4, a.lane[i]), bitOr(2, b.lane[i])),
                                                            bitOr(1, c.lane[i])));
        }
        return result;
    });
}

template <int scale>
inline void scatter(void* base, __mmask16 mask, Vector const& index, Vector const& values) {
    const auto places = Values<std::int32_t>::of(index), from = Values<std::int32_t>::of(values);
    for (int i = 0; i < 16; ++i) {
        if ((mask >> i & 1) != 0)
            std::memcpy(static_cast<char*>(base) + std::ptrdiff_t{places.value[i]} * scale, &from.value[i], 4);
    }
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
#define RAVELO_EMULATED_DOUBLES(name, parameters, ...)                                                                 \
    RAVELO_EMULATED(name, parameters, _mm_castpd_si128(_mm_##name(__VA_ARGS__)))
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
RAVELO_EMULATED_INTEGERS(packus_epi16)
RAVELO_EMULATED_INTEGERS(packus_epi32)
RAVELO_EMULATED_INTEGERS(unpacklo_epi8)
RAVELO_EMULATED_INTEGERS(unpackhi_epi8)
RAVELO_EMULATED_INTEGERS(unpacklo_epi16)
RAVELO_EMULATED_INTEGERS(unpackhi_epi16)
RAVELO_EMULATED_INTEGERS(unpacklo_epi32)
RAVELO_EMULATED_INTEGERS(unpackhi_epi32)
RAVELO_EMULATED_INTEGERS(unpacklo_epi64)
RAVELO_EMULATED_INTEGERS(unpackhi_epi64)
RAVELO_EMULATED_INTEGERS(and_si128)
RAVELO_EMULATED_INTEGERS(andnot_si128)
RAVELO_EMULATED_INTEGERS(or_si128)
RAVELO_EMULATED_INTEGERS(xor_si128)
RAVELO_EMULATED_INTEGERS(sub_epi32)
RAVELO_EMULATED_INTEGERS(min_epi32)
RAVELO_EMULATED_INTEGERS(max_epi32)
RAVELO_EMULATED_INTEGERS(min_epu32)
RAVELO_EMULATED_INTEGERS(sllv_epi32)
RAVELO_EMULATED_INTEGERS(srlv_epi32)
RAVELO_EMULATED_INTEGERS(shuffle_epi8)
RAVELO_EMULATED_FLOATS(add_ps)
RAVELO_EMULATED_FLOATS(sub_ps)
RAVELO_EMULATED_FLOATS(mul_ps)
RAVELO_EMULATED_FLOATS(max_ps)
RAVELO_EMULATED_FLOATS(min_ps)
RAVELO_EMULATED_DOUBLES(add_pd, (emulated512::Vector const& a, emulated512::Vector const& b),
                        emulated512::doubles(a.lane[i]), emulated512::doubles(b.lane[i]))
RAVELO_EMULATED_DOUBLES(max_pd, (emulated512::Vector const& a, emulated512::Vector const& b),
                        emulated512::doubles(a.lane[i]), emulated512::doubles(b.lane[i]))
RAVELO_EMULATED_DOUBLES(min_pd, (emulated512::Vector const& a, emulated512::Vector const& b),
                        emulated512::doubles(a.lane[i]), emulated512::doubles(b.lane[i]))
RAVELO_EMULATED_DOUBLES(fmadd_pd,
                        (emulated512::Vector const& a, emulated512::Vector const& b, emulated512::Vector const& c),
                        emulated512::doubles(a.lane[i]), emulated512::doubles(b.lane[i]),
                        emulated512::doubles(c.lane[i]))
RAVELO_EMULATED_FLOATS(unpacklo_ps)
RAVELO_EMULATED_FLOATS(unpackhi_ps)
RAVELO_EMULATED_FUSED(fmadd_ps)
RAVELO_EMULATED_FUSED(fmsub_ps)
RAVELO_EMULATED_FUSED(fnmadd_ps)
RAVELO_EMULATED(slli_epi32, (emulated512::Vector const& a, int count), _mm_slli_epi32(a.lane[i], count))
RAVELO_EMULATED(srli_epi32, (emulated512::Vector const& a, int count), _mm_srli_epi32(a.lane[i], count))
RAVELO_EMULATED(srai_epi16, (emulated512::Vector const& a, int count), _mm_srai_epi16(a.lane[i], count))
RAVELO_EMULATED(srai_epi32, (emulated512::Vector const& a, int count), _mm_srai_epi32(a.lane[i], count))
RAVELO_EMULATED(cvtepi32_ps, (emulated512::Vector const& a), emulated512::bits(_mm_cvtepi32_ps(a.lane[i])))
RAVELO_EMULATED(cvttps_epi32, (emulated512::Vector const& a), _mm_cvttps_epi32(emulated512::floats(a.lane[i])))

template <int order>
RAVELO_EMULATED(shuffle_epi32, (emulated512::Vector const& a), _mm_shuffle_epi32(a.lane[i], order))
template <int order>
RAVELO_EMULATED(shuffle_ps, (emulated512::Vector const& a, emulated512::Vector const& b),
                emulated512::bits(_mm_shuffle_ps(emulated512::floats(a.lane[i]), emulated512::floats(b.lane[i]),
                                                 order)))

#undef RAVELO_EMULATED_FUSED
#undef RAVELO_EMULATED_DOUBLES
#undef RAVELO_EMULATED_FLOATS
#undef RAVELO_EMULATED_INTEGERS
#undef RAVELO_EMULATED

// Compilers have some of the instructions as macros.
#undef _mm512_cmp_ps_mask
#undef _mm512_cmpeq_epi32_mask
#undef _mm512_cmpge_epi32_mask
#undef _mm512_cmple_epi32_mask
#undef _mm512_cmplt_epi32_mask
#undef _mm512_cvtps_ph
#undef _mm512_inserti64x4
#undef _mm512_mask_i32scatter_epi32
#undef _mm512_range_ps
#undef _mm512_srli_epi32
#undef _mm512_ternarylogic_epi32
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
#define _mm512_add_pd emulated512_add_pd
#define _mm512_add_ps emulated512_add_ps
#define _mm512_adds_epi16 emulated512_adds_epi16
#define _mm512_and_si512 emulated512_and_si128
#define _mm512_andnot_si512 emulated512_andnot_si128
#define _mm512_broadcast_f32x8(half) emulated512::twice(half)
#define _mm512_broadcast_i32x4(quarter) (emulated512::Vector{{(quarter), (quarter), (quarter), (quarter)}})
#define _mm512_castpd_ps(v) (v)
#define _mm512_castps512_ps256(v) emulated512::halfOf(v, 0)
#define _mm512_castps_pd(v) (v)
#define _mm512_castps_si512(v) (v)
#define _mm512_castsi256_si512(half) emulated512::lowerHalf(half)
#define _mm512_castsi512_ps(v) (v)
#define _mm512_castsi512_si256(v) emulated512::lowerHalfOf(v)
#define _mm512_cmp_ps_mask(a, b, order) emulated512::greaterFloats(a, b)
#define _mm512_cmpeq_epi32_mask(a, b) emulated512::equal(a, b)
#define _mm512_cmpge_epi32_mask(a, b) static_cast<__mmask16>(~emulated512::greater(b, a))
#define _mm512_cmple_epi32_mask(a, b) static_cast<__mmask16>(~emulated512::greater(a, b))
#define _mm512_cmplt_epi32_mask(a, b) emulated512::greater(b, a)
#define _mm512_cvtepi16_epi32(half) emulated512::extended<std::int32_t, std::int16_t>(half)
#define _mm512_cvtepi32_ps emulated512_cvtepi32_ps
#define _mm512_cvtepu16_epi32(half) emulated512::extended<std::int32_t, std::uint16_t>(half)
#define _mm512_cvtepu16_epi64(quarter) emulated512::extended<std::int64_t, std::uint16_t>(quarter)
#define _mm512_cvtpd_ps(v) emulated512::toFloats(v)
#define _mm512_cvtps_pd(half) emulated512::toDoubles(half)
#define _mm512_cvtps_ph(v, rounding) emulated512::toHalves<(rounding)>(v)
#define _mm512_cvttpd_epi32(v) emulated512::cutToIntegers(v)
#define _mm512_cvttps_epi32 emulated512_cvttps_epi32
#define _mm512_dpbusd_epi32 emulated512::addedProducts
#define _mm512_extractf32x8_ps(v, index) emulated512::halfOf(v, index)
#define _mm512_fmadd_pd emulated512_fmadd_pd
#define _mm512_fmadd_ps emulated512_fmadd_ps
#define _mm512_fmsub_ps emulated512_fmsub_ps
#define _mm512_fnmadd_ps emulated512_fnmadd_ps
#define _mm512_inserti64x4(v, half, index) emulated512::withHalf(v, half, index)
#define _mm512_load_si512(from) emulated512::loadAligned(from)
#define _mm512_loadu_ps(from) emulated512::load(from)
#define _mm512_loadu_si512(from) emulated512::load(from)
#define _mm512_lzcnt_epi32 emulated512::leadingZeros
#define _mm512_madd_epi16 emulated512_madd_epi16
#define _mm512_mask_add_epi32(others, mask, a, b) emulated512::masked(others, mask, _mm512_add_epi32(a, b))
#define _mm512_mask_cvtepi16_storeu_epi8(to, mask, v) emulated512::storeWords<std::uint8_t>(to, mask, v)
#define _mm512_mask_i32scatter_epi32(base, mask, index, v, scale) emulated512::scatter<(scale)>(base, mask, index, v)
#define _mm512_mask_mov_epi32(others, mask, v) emulated512::masked(others, mask, v)
#define _mm512_mask_mov_ps(others, mask, v) emulated512::masked(others, mask, v)
#define _mm512_mask_storeu_epi16(to, mask, v) emulated512::storeWords<std::uint16_t>(to, mask, v)
#define _mm512_mask_sub_epi32(others, mask, a, b) emulated512::masked(others, mask, _mm512_sub_epi32(a, b))
#define _mm512_maskz_permutexvar_epi16(mask, order, table) emulated512::permutedWords(mask, order, table)
#define _mm512_maskz_permutexvar_epi8(mask, order, table)                                                              \
    emulated512::keptBytes(mask, emulated512::permutedBytes(order, table))
#define _mm512_max_epi32 emulated512_max_epi32
#define _mm512_max_pd emulated512_max_pd
#define _mm512_max_ps emulated512_max_ps
#define _mm512_min_epi32 emulated512_min_epi32
#define _mm512_min_epu32 emulated512_min_epu32
#define _mm512_min_pd emulated512_min_pd
#define _mm512_min_ps emulated512_min_ps
#define _mm512_movepi32_mask(v) emulated512::signsOf(v)
#define _mm512_mul_ps emulated512_mul_ps
#define _mm512_mulhi_epi16 emulated512_mulhi_epi16
#define _mm512_or_si512 emulated512_or_si128
#define _mm512_packs_epi32 emulated512_packs_epi32
#define _mm512_packus_epi16 emulated512_packus_epi16
#define _mm512_packus_epi32 emulated512_packus_epi32
#define _mm512_permutex2var_epi32(a, order, b) emulated512::permuted<std::uint32_t>(a, order, b)
#define _mm512_permutex2var_epi64(a, order, b) emulated512::permuted<std::uint64_t>(a, order, b)
#define _mm512_permutex2var_pd(a, order, b) emulated512::permuted<std::uint64_t>(a, order, b)
#define _mm512_permutexvar_epi64(order, v) emulated512::permuted<std::uint64_t>(v, order, v)
#define _mm512_permutexvar_epi8(order, table) emulated512::permutedBytes(order, table)
#define _mm512_permutexvar_ps(order, v) emulated512::permuted<std::uint32_t>(v, order, v)
#define _mm512_range_ps(a, b, order) emulated512::chosenMagnitudes<(order)>(a, b)
#define _mm512_set1_epi16(value) _mm512_broadcast_i32x4(_mm_set1_epi16(value))
#define _mm512_set1_epi32(value) _mm512_broadcast_i32x4(_mm_set1_epi32(value))
#define _mm512_set1_epi8(value) _mm512_broadcast_i32x4(_mm_set1_epi8(value))
#define _mm512_set1_pd(value) _mm512_broadcast_i32x4(_mm_castpd_si128(_mm_set1_pd(value)))
#define _mm512_set1_ps(value) emulated512::twice(_mm256_set1_ps(value))
#define _mm512_setr_epi32(...) emulated512::inOrder<std::uint32_t>(__VA_ARGS__)
#define _mm512_setr_epi64(...) emulated512::inOrder<std::uint64_t>(__VA_ARGS__)
#define _mm512_setzero_si512() _mm512_broadcast_i32x4(_mm_setzero_si128())
#define _mm512_shldv_epi32 emulated512::shiftedPairs
#define _mm512_shuffle_epi32(v, order) emulated512_shuffle_epi32<(order)>(v)
#define _mm512_shuffle_epi8 emulated512_shuffle_epi8
#define _mm512_shuffle_i64x2(a, b, order) emulated512::shuffledLanes<(order)>(a, b)
#define _mm512_shuffle_ps(a, b, order) emulated512_shuffle_ps<(order)>(a, b)
#define _mm512_slli_epi32 emulated512_slli_epi32
#define _mm512_sllv_epi32 emulated512_sllv_epi32
#define _mm512_srai_epi16 emulated512_srai_epi16
#define _mm512_srai_epi32 emulated512_srai_epi32
#define _mm512_srli_epi32 emulated512_srli_epi32
#define _mm512_srlv_epi32 emulated512_srlv_epi32
#define _mm512_store_si512(to, v) emulated512::storeAligned(to, v)
#define _mm512_storeu_si512(to, v) emulated512::store(to, v)
#define _mm512_stream_si512(to, v) emulated512::storeAligned(to, v)
#define _mm512_sub_epi32 emulated512_sub_epi32
#define _mm512_sub_ps emulated512_sub_ps
#define _mm512_subs_epi16 emulated512_subs_epi16
#define _mm512_ternarylogic_epi32(a, b, c, truth) emulated512::logic<(truth)>(a, b, c)
#define _mm512_unpackhi_epi16 emulated512_unpackhi_epi16
#define _mm512_unpackhi_epi32 emulated512_unpackhi_epi32
#define _mm512_unpackhi_epi64 emulated512_unpackhi_epi64
#define _mm512_unpackhi_epi8 emulated512_unpackhi_epi8
#define _mm512_unpackhi_ps emulated512_unpackhi_ps
#define _mm512_unpacklo_epi16 emulated512_unpacklo_epi16
#define _mm512_unpacklo_epi32 emulated512_unpacklo_epi32
#define _mm512_unpacklo_epi64 emulated512_unpacklo_epi64
#define _mm512_unpacklo_epi8 emulated512_unpacklo_epi8
#define _mm512_unpacklo_ps emulated512_unpacklo_ps
#define _mm512_xor_si512 emulated512_xor_si128

// The sources ask for this before they use 512-bit vectors.
#ifndef __AVX512BW__
#define __AVX512BW__ 1
#endif
