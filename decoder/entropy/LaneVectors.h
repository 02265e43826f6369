#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Inline.h"

// What the readers in lanes share, over whatever the including unit has as 512-bit intrinsics: words of bits, one for
// each of sixteen 32-bit lanes.
//
// Internal linkage throughout: the units that include this have instructions of their own.
namespace {

constexpr int kNumLanes = 16;

// How the results of a vector are stored.
enum class LaneStores { Scattered, Singly, Not };

// The next 64 bits of every lane, the first of them on top of `high`.
struct LaneWords {
    __m512i high;
    __m512i low;
};

// 32-bit values of all lanes in memory.
struct LaneValues {
    alignas(64) std::int32_t of[std::size_t{kNumLanes}];

    RAVELO_INLINE __m512i load() const { return _mm512_load_si512(of); }
    RAVELO_INLINE void store(__m512i values) { _mm512_store_si512(of, values); }

    // For values that are used one by one. From memory they come by the ports of loads; taken from a register they
    // would use those that the vectors run on, and compilers prefer that.
    RAVELO_INLINE void storeForSingleUse(__m512i values) {
        store(values);
        __asm__("" : "+m"(of));
    }
};

RAVELO_INLINE __m512i all(std::int32_t value) {
    return _mm512_set1_epi32(value);
}

RAVELO_INLINE void skip(LaneWords& words, __m512i count) {
    words.high = _mm512_shldv_epi32(words.high, words.low, count);
    words.low = _mm512_sllv_epi32(words.low, count);
}

// Eight bytes at the byte of each of four lanes.
RAVELO_INLINE __m256i loadFour(const std::uint8_t* const* bytes, const std::int32_t* bytePosition) {
    long long words[4];
    for (int i = 0; i < 4; ++i)
        std::memcpy(&words[i], bytes[i] + bytePosition[i], sizeof words[i]);
    return _mm256_set_epi64x(words[3], words[2], words[1], words[0]);
}

// The bits from `bitPosition` of each range on, also those past its end: a code counts only where the range holds all
// of it, and then no later bit matters. Some processors take long for a gather, so each lane is loaded by itself.
RAVELO_INLINE LaneWords loadWords(const std::uint8_t* const* bytes, __m512i bitPosition) {
    LaneValues byte;
    byte.storeForSingleUse(_mm512_srli_epi32(bitPosition, 3));
    const __m512i lowerLanes =
        _mm512_inserti64x4(_mm512_castsi256_si512(loadFour(bytes, byte.of)), loadFour(bytes + 4, byte.of + 4), 1);
    const __m512i upperLanes = _mm512_inserti64x4(_mm512_castsi256_si512(loadFour(bytes + 8, byte.of + 8)),
                                                  loadFour(bytes + 12, byte.of + 12), 1);
    const __m512i bigEndian =
        _mm512_broadcast_i32x4(_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
    const __m512i first = _mm512_shuffle_epi8(lowerLanes, bigEndian);
    const __m512i second = _mm512_shuffle_epi8(upperLanes, bigEndian);
    const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    LaneWords words = {_mm512_permutex2var_epi32(first, odd, second), _mm512_permutex2var_epi32(first, even, second)};
    skip(words, _mm512_and_si512(bitPosition, all(7)));
    return words;
}

} // namespace
