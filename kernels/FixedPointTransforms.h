#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "DctTables.h"
#include "IntVectors.h"

// The fixed-point transforms in vector form, with the arithmetic of the plain form bit for bit. Row passes multiply and
// add pairs of 16-bit values into 32 bits; column passes work on as many columns as a vector holds.

namespace {

// --- Column passes -------------------------------------------------------------------------------------------------

template <typename Vector>
RAVELO_INLINE Vector times(Vector a, std::int16_t factor) {
    return highHalf(a, Vector::broadcast16(factor));
}

// Product with a factor that is stored less 1.
template <typename Vector>
RAVELO_INLINE Vector timesPlusOne(Vector a, std::int16_t factor) {
    return addSaturated(times(a, factor), a);
}

template <typename Vector>
struct OddColumns {
    Vector a, b, c, d;
};

template <typename Vector>
RAVELO_INLINE OddColumns<Vector> oddColumns(Vector r1, Vector r3, Vector r5, Vector r7) {
    return {
        addSaturated(timesPlusOne(r5, tg_3_16), r3),
        subSaturated(r5, timesPlusOne(r3, tg_3_16)),
        addSaturated(r1, times(r7, tg_1_16)),
        subSaturated(times(r1, tg_1_16), r7),
    };
}

template <typename Vector>
RAVELO_INLINE void fullColumns(Vector (&r)[8]) {
    const auto [a, b, c, d] = oddColumns(r[1], r[3], r[5], r[7]);
    const Vector u = subSaturated(c, a);
    const Vector v = subSaturated(d, b);
    const Vector odd[4] = {addSaturated(c, a), timesPlusOne(addSaturated(u, v), cos_4_16),
                           timesPlusOne(subSaturated(u, v), cos_4_16), addSaturated(d, b)};
    const Vector e = addSaturated(r[2], times(r[6], tg_2_16));
    const Vector g = subSaturated(times(r[2], tg_2_16), r[6]);
    const Vector s = addSaturated(r[0], r[4]);
    const Vector m = subSaturated(r[0], r[4]);
    const Vector even[4] = {addSaturated(s, e), addSaturated(m, g), subSaturated(m, g), subSaturated(s, e)};
    for (int i = 0; i < 4; ++i) {
        r[i] = shiftRight16<kColumnShift8x8>(addSaturated(even[i], odd[i]));
        r[7 - i] = shiftRight16<kColumnShift8x8>(subSaturated(even[i], odd[i]));
    }
}

template <typename Vector>
RAVELO_INLINE void halfColumns(Vector r0, Vector r2, Vector r6, OddColumns<Vector> const& oddPart, Vector (&out)[4]) {
    const auto [a, b, c, d] = oddPart;
    const Vector u = subSaturated(c, a);
    const Vector v = subSaturated(d, b);
    const Vector h = timesPlusOne(addSaturated(u, v), cos_4_16);
    const Vector j = timesPlusOne(subSaturated(u, v), cos_4_16);
    const Vector e = addSaturated(r2, times(r6, tg_2_16));
    const Vector g = subSaturated(times(r2, tg_2_16), r6);
    const Vector w = addSaturated(e, g);
    const Vector z = addSaturated(r0, r0);
    const Vector k = addSaturated(z, w);
    const Vector l = subSaturated(z, w);
    const Vector hOuter = addSaturated(h, addSaturated(c, a));
    const Vector jInner = addSaturated(addSaturated(d, b), j);
    out[0] = shiftRight16<kColumnShift4x4>(addSaturated(k, hOuter));
    out[1] = shiftRight16<kColumnShift4x4>(addSaturated(l, jInner));
    out[2] = shiftRight16<kColumnShift4x4>(subSaturated(l, jInner));
    out[3] = shiftRight16<kColumnShift4x4>(subSaturated(k, hOuter));
}

template <typename Vector>
RAVELO_INLINE void quarterColumns(Vector r0, OddColumns<Vector> const& oddPart, Vector& top, Vector& bottom) {
    const auto [a, b, c, d] = oddPart;
    const Vector y = timesPlusOne(subSaturated(c, a), cos_4_16);
    const Vector n = addSaturated(addSaturated(d, b), addSaturated(c, a));
    const Vector t = addSaturated(n, addSaturated(y, y));
    const Vector twice = addSaturated(r0, r0);
    const Vector z = addSaturated(twice, twice);
    top = shiftRight16<kColumnShift2x2>(addSaturated(z, t));
    bottom = shiftRight16<kColumnShift2x2>(subSaturated(z, t));
}

// The odd part where rows 5 and 7 are zero: their products vanish and what is left is this.
template <typename Vector>
RAVELO_INLINE OddColumns<Vector> lowOddColumns(Vector r1, Vector r3) {
    return {r3, subSaturated(Vector::zero(), timesPlusOne(r3, tg_3_16)), r1, times(r1, tg_1_16)};
}

// --- Row passes of a single block ----------------------------------------------------------------------------------

// Brings a row into the order x0 x2 x1 x3 x4 x6 x5 x7, so that each 32-bit value holds a pair of the tables.
RAVELO_INLINE Int128 pairedRow(const std::int16_t* row) {
    const __m128i x = Int128::load(row).v;
    return {_mm_shufflehi_epi16(_mm_shufflelo_epi16(x, 0xD8), 0xD8)};
}

RAVELO_INLINE Int128 fullRowPass(const std::int16_t* row, FullRowTable const& table, std::int32_t rounding) {
    const Int128 x = pairedRow(row);
    const std::int16_t* const t = table.value;
    const Int128 even = add32(
        add32(pairProducts(shuffle32<0x00>(x), Int128::load(t)), pairProducts(shuffle32<0xAA>(x), Int128::load(t + 8))),
        Int128::broadcast32(rounding));
    const Int128 odd = add32(pairProducts(shuffle32<0x55>(x), Int128::load(t + 16)),
                             pairProducts(shuffle32<0xFF>(x), Int128::load(t + 24)));
    const Int128 firstHalf = shiftRight32<kRowShift>(add32(even, odd));
    const Int128 mirroredHalf = shiftRight32<kRowShift>(sub32(even, odd));
    return pack32(firstHalf, shuffle32<0x1B>(mirroredHalf));
}

// The four outputs of a half-size row, in the lower half of the result.
RAVELO_INLINE Int128 halfRowPass(const std::int16_t* row, HalfRowTable const& table, std::int32_t rounding) {
    const Int128 x = pairedRow(row);
    const Int128 sums = add32(pairProducts(shuffle32<0x50>(x), Int128::load(table.value)),
                              pairProducts(shuffle32<0xFA>(x), Int128::load(table.value + 8)));
    const Int128 evenPart = add32(shuffle32<0x44>(sums), Int128::broadcast32(rounding)); // s0 s1 s0 s1
    const Int128 oddPart = shuffle32<0xEE>(sums);                                        // s2 s3 s2 s3
    const Int128 pair = unpackLow64(add32(evenPart, oddPart), shuffle32<0x11>(sub32(evenPart, oddPart)));
    const Int128 out = shiftRight32<kRowShift>(pair);
    return pack32(out, out);
}

// The two outputs of a quarter-size row, in the lowest 32 bits of the result.
RAVELO_INLINE Int128 quarterRowPass(const std::int16_t* row, QuarterRowTable const& t, std::int32_t rounding) {
    const auto negated = [](std::int16_t value) { return static_cast<short>(-value); };
    const Int128 x = Int128::load(row);
    const Int128 plus = {_mm_setr_epi16(t.a0, t.a1, 0, negated(t.a3), 0, t.a5, 0, negated(t.a7))};
    const Int128 minus = {_mm_setr_epi16(t.a0, negated(t.a1), 0, t.a3, 0, negated(t.a5), 0, t.a7)};
    const Int128 first = pairProducts(x, plus);
    const Int128 second = pairProducts(x, minus);
    const Int128 halves = add32(unpackLow32(first, second), unpackHigh32(first, second));
    const Int128 sums = add32(add32(halves, shuffle32<0x4E>(halves)), Int128::broadcast32(rounding));
    const Int128 out = shiftRight32<kRowShift>(sums);
    return pack32(out, out);
}

// --- Single blocks -------------------------------------------------------------------------------------------------

RAVELO_INLINE void fixedPoint8x8(const std::int16_t* src, std::int16_t* dst) {
    Int128 r[8] = {
        fullRowPass(src, tab_i_04, round_i_0),      fullRowPass(src + 8, tab_i_17, round_i_1),
        fullRowPass(src + 16, tab_i_26, round_i_2), fullRowPass(src + 24, tab_i_35, round_i_3),
        fullRowPass(src + 32, tab_i_04, round_i_4), fullRowPass(src + 40, tab_i_35, round_i_5),
        fullRowPass(src + 48, tab_i_26, round_i_6), fullRowPass(src + 56, tab_i_17, round_i_7),
    };
    fullColumns(r);
    for (int row = 0; row < 8; ++row)
        r[row].store(dst + 8 * row);
}

RAVELO_INLINE void fixedPoint8x8To4x4(const std::int16_t* src, std::int16_t* dst) {
    const Int128 r0 = halfRowPass(src, tab_i4_04, round_i4_0);
    const Int128 r1 = halfRowPass(src + 8, tab_i4_17, round_i_1);
    const Int128 r2 = halfRowPass(src + 16, tab_i4_26, round_i_2);
    const Int128 r3 = halfRowPass(src + 24, tab_i4_35, round_i_3);
    const Int128 r5 = halfRowPass(src + 40, tab_i4_35, round_i_5);
    const Int128 r6 = halfRowPass(src + 48, tab_i4_26, round_i_6);
    const Int128 r7 = halfRowPass(src + 56, tab_i4_17, round_i_7);
    Int128 out[4];
    halfColumns(r0, r2, r6, oddColumns(r1, r3, r5, r7), out);
    unpackLow64(out[0], out[1]).store(dst);
    unpackLow64(out[2], out[3]).store(dst + 8);
}

RAVELO_INLINE void fixedPoint8x8To2x2(const std::int16_t* src, std::int16_t* dst) {
    const Int128 r0 = quarterRowPass(src, tab_i2_04, round_i2_0);
    const Int128 r1 = quarterRowPass(src + 8, tab_i2_17, round_i_1);
    const Int128 r3 = quarterRowPass(src + 24, tab_i2_35, round_i_3);
    const Int128 r5 = quarterRowPass(src + 40, tab_i2_35, round_i_5);
    const Int128 r7 = quarterRowPass(src + 56, tab_i2_17, round_i_7);
    Int128 top;
    Int128 bottom;
    quarterColumns(r0, oddColumns(r1, r3, r5, r7), top, bottom);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), unpackLow32(top, bottom).v);
}

// --- Batches of corners --------------------------------------------------------------------------------------------

// Rows 0 and 1, and rows 2 and 3, of as many corners as a vector has lanes.
template <typename Vector>
struct CornerRows {
    Vector rows01, rows23;
};

RAVELO_INLINE CornerRows<Int128> loadCorners(const std::int16_t* from, Int128) {
    return {Int128::load(from), Int128::load(from + 8)};
}

RAVELO_INLINE void storeCorners(CornerRows<Int128> const& corners, std::int16_t* to) {
    corners.rows01.store(to);
    corners.rows23.store(to + 8);
}

#ifdef __AVX2__

RAVELO_INLINE CornerRows<Int256> loadCorners(const std::int16_t* from, Int256) {
    const __m256i first = Int256::load(from).v;
    const __m256i second = Int256::load(from + 16).v;
    return {{_mm256_permute2x128_si256(first, second, 0x20)}, {_mm256_permute2x128_si256(first, second, 0x31)}};
}

RAVELO_INLINE void storeCorners(CornerRows<Int256> const& corners, std::int16_t* to) {
    const __m256i rows01 = corners.rows01.v;
    const __m256i rows23 = corners.rows23.v;
    Int256{_mm256_permute2x128_si256(rows01, rows23, 0x20)}.store(to);
    Int256{_mm256_permute2x128_si256(rows01, rows23, 0x31)}.store(to + 16);
}

#endif

#ifdef __AVX512BW__

RAVELO_INLINE CornerRows<Int512> loadCorners(const std::int16_t* from, Int512) {
    const __m512i first = Int512::load(from).v;
    const __m512i second = Int512::load(from + 32).v;
    return {{_mm512_shuffle_i64x2(first, second, 0x88)}, {_mm512_shuffle_i64x2(first, second, 0xDD)}};
}

RAVELO_INLINE void storeCorners(CornerRows<Int512> const& corners, std::int16_t* to) {
    const __m512i lowOrder = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i highOrder = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    Int512{_mm512_permutex2var_epi64(corners.rows01.v, lowOrder, corners.rows23.v)}.store(to);
    Int512{_mm512_permutex2var_epi64(corners.rows01.v, highOrder, corners.rows23.v)}.store(to + 32);
}

#endif

// Weights of (x0, x1) and of (x2, x3) in the four outputs of a half-size row, two times four pairs.
struct alignas(32) CornerRowTable {
    std::int16_t value[16];
};

consteval CornerRowTable cornerRowTable(HalfRowTable const& table) {
    const std::int16_t* const t = table.value;
    const int value[16] = {
        t[0], t[4], t[2], t[6], t[2], -t[6], t[0], -t[4], // x0, x1
        t[1], t[5], t[3], t[7], t[3], -t[7], t[1], -t[5], // x2, x3
    };
    CornerRowTable result = {};
    for (int i = 0; i < 16; ++i)
        result.value[i] = static_cast<std::int16_t>(value[i]);
    return result;
}

constexpr CornerRowTable kCornerRow0 = cornerRowTable(tab_i4_04);
constexpr CornerRowTable kCornerRow1 = cornerRowTable(tab_i4_17);
constexpr CornerRowTable kCornerRow2 = cornerRowTable(tab_i4_26);
constexpr CornerRowTable kCornerRow3 = cornerRowTable(tab_i4_35);

// One row of one corner per lane: the row's two pairs are at the 32-bit places `place` and `place` + 1 of each lane.
template <int place, typename Vector>
RAVELO_INLINE Vector cornerRowSums(Vector rows, CornerRowTable const& table, std::int32_t rounding) {
    const Vector low = pairProducts(shuffle32<place * 0x55>(rows), Vector::broadcastLane(table.value));
    const Vector high = pairProducts(shuffle32<(place + 1) * 0x55>(rows), Vector::broadcastLane(table.value + 8));
    return shiftRight32<kRowShift>(add32(add32(low, high), Vector::broadcast32(rounding)));
}

template <int place, typename Vector>
RAVELO_INLINE Vector cornerRow(Vector first, Vector second, CornerRowTable const& table, std::int32_t rounding) {
    return pack32(cornerRowSums<place>(first, table, rounding), cornerRowSums<place>(second, table, rounding));
}

// Two corners per lane. Rows 5, 6 and 7 of the blocks are zero, and their rounding constants vanish in the shift.
template <typename Vector>
RAVELO_INLINE void transform4x4Group(const std::int16_t* corners, std::int16_t* samples) {
    constexpr int kSecondHalf = 16 * Vector::kLanes;
    const CornerRows<Vector> a = loadCorners(corners, Vector{});
    const CornerRows<Vector> b = loadCorners(corners + kSecondHalf, Vector{});
    const Vector r0 = cornerRow<0>(a.rows01, b.rows01, kCornerRow0, round_i4_0);
    const Vector r1 = cornerRow<2>(a.rows01, b.rows01, kCornerRow1, round_i_1);
    const Vector r2 = cornerRow<0>(a.rows23, b.rows23, kCornerRow2, round_i_2);
    const Vector r3 = cornerRow<2>(a.rows23, b.rows23, kCornerRow3, round_i_3);
    Vector out[4];
    halfColumns(r0, r2, Vector::zero(), lowOddColumns(r1, r3), out);
    storeCorners(CornerRows<Vector>{unpackLow64(out[0], out[1]), unpackLow64(out[2], out[3])}, samples);
    storeCorners(CornerRows<Vector>{unpackHigh64(out[0], out[1]), unpackHigh64(out[2], out[3])}, samples + kSecondHalf);
}

// Both outputs of a row of four corners per lane, first outputs in the lower half.
template <typename Vector>
RAVELO_INLINE Vector quarterCornerRow(Vector pairs, QuarterRowTable const& table, std::int32_t rounding) {
    const int a0 = table.a0;
    const int a1 = table.a1;
    const Vector plus = Vector::broadcast32(a1 * 65536 + a0);
    const Vector minus = Vector::broadcast32(-a1 * 65536 + a0);
    const Vector r = Vector::broadcast32(rounding);
    return pack32(shiftRight32<kRowShift>(add32(pairProducts(pairs, plus), r)),
                  shiftRight32<kRowShift>(add32(pairProducts(pairs, minus), r)));
}

// Four corners per lane. Rows 3, 5 and 7 of the blocks are zero, and their rounding constants vanish in the shift.
template <typename Vector>
RAVELO_INLINE void transform2x2Group(const std::int16_t* corners, std::int16_t* samples) {
    constexpr int kSecondHalf = 8 * Vector::kLanes;
    const Vector a = Vector::load(corners);
    const Vector b = Vector::load(corners + kSecondHalf);
    const Vector r0 = quarterCornerRow(evens32(a, b), tab_i2_04, round_i2_0);
    const Vector r1 = quarterCornerRow(odds32(a, b), tab_i2_17, round_i_1);
    Vector top;
    Vector bottom;
    quarterColumns(r0, lowOddColumns(r1, Vector::zero()), top, bottom);
    // Each holds the left samples of four blocks, then the right ones.
    const Vector topPairs = unpackLow16(top, shuffle32<0xEE>(top));
    const Vector bottomPairs = unpackLow16(bottom, shuffle32<0xEE>(bottom));
    unpackLow32(topPairs, bottomPairs).store(samples);
    unpackHigh32(topPairs, bottomPairs).store(samples + kSecondHalf);
}

// The two kinds of corners: values of a block, and blocks that one lane of a vector takes at a time.
struct HalfSizeCorners {
    static constexpr std::size_t kValuesPerBlock = 16;
    static constexpr std::size_t kBlocksPerLane = 2;

    template <typename Vector>
    static RAVELO_INLINE void transformGroup(const std::int16_t* corners, std::int16_t* samples) {
        transform4x4Group<Vector>(corners, samples);
    }
};

struct QuarterSizeCorners {
    static constexpr std::size_t kValuesPerBlock = 4;
    static constexpr std::size_t kBlocksPerLane = 4;

    template <typename Vector>
    static RAVELO_INLINE void transformGroup(const std::int16_t* corners, std::int16_t* samples) {
        transform2x2Group<Vector>(corners, samples);
    }
};

// Transforms all corners: whole groups with the first of the vector types, what is left with the next. The last
// corners, fewer than the narrowest group, go through a buffer of a whole group, so that nothing outside the caller's
// buffers is touched.
template <typename Corners, typename Vector, typename... Narrower>
RAVELO_INLINE void transformCorners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    constexpr std::size_t kGroupValues = Corners::kValuesPerBlock * Corners::kBlocksPerLane * Vector::kLanes;
    const std::size_t numValues = Corners::kValuesPerBlock * numBlocks;
    std::size_t done = 0;
    for (; numValues - done >= kGroupValues; done += kGroupValues)
        Corners::template transformGroup<Vector>(corners + done, samples + done);
    const std::size_t rest = numValues - done;
    if (rest == 0)
        return;
    if constexpr (sizeof...(Narrower) > 0) {
        transformCorners<Corners, Narrower...>(corners + done, samples + done, rest / Corners::kValuesPerBlock);
    } else {
        std::int16_t group[kGroupValues] = {};
        std::memcpy(group, corners + done, rest * sizeof(std::int16_t));
        Corners::template transformGroup<Vector>(group, group);
        std::memcpy(samples + done, group, rest * sizeof(std::int16_t));
    }
}

} // namespace
