#include "PlainInverseDct.h"

#include <cstring>

#include "DctTables.h"

namespace {

// Sums of products are taken modulo 2 to the 32, without saturation; blocks of extreme values do wrap.
using WrappingSum = std::uint32_t;

WrappingSum product(std::int16_t factor, std::int16_t x) {
    return static_cast<WrappingSum>(std::int32_t{factor} * x);
}

std::int16_t saturate(std::int32_t value) {
    if (value < INT16_MIN)
        return INT16_MIN;
    if (value > INT16_MAX)
        return INT16_MAX;
    return static_cast<std::int16_t>(value);
}

std::int16_t rowOutput(WrappingSum sum) {
    return saturate(static_cast<std::int32_t>(sum) >> kRowShift);
}

std::int16_t add(std::int16_t a, std::int16_t b) {
    return saturate(a + b);
}

std::int16_t sub(std::int16_t a, std::int16_t b) {
    return saturate(a - b);
}

// The high half of a signed product, rounded towards minus infinity.
std::int16_t hi(std::int16_t a, std::int16_t b) {
    return static_cast<std::int16_t>((std::int32_t{a} * b) >> 16);
}

// Product with a factor that is stored less 1.
std::int16_t hiPlusOne(std::int16_t a, std::int16_t b) {
    return add(hi(a, b), a);
}

std::int16_t shiftedRight(std::int16_t value, int bits) {
    return static_cast<std::int16_t>(value >> bits);
}

// The intermediate values of the odd rows that all three column passes share.
struct OddColumn {
    std::int16_t a, b, c, d;
};

OddColumn oddColumn(std::int16_t r1, std::int16_t r3, std::int16_t r5, std::int16_t r7) {
    return {
        .a = add(hiPlusOne(r5, tg_3_16), r3),
        .b = sub(r5, hiPlusOne(r3, tg_3_16)),
        .c = add(r1, hi(r7, tg_1_16)),
        .d = sub(hi(r1, tg_1_16), r7),
    };
}

void fullRow(const std::int16_t x[8], FullRowTable const& table, std::int32_t rounding, std::int16_t out[8]) {
    const std::int16_t* const t = table.value;
    for (int i = 0; i < 4; ++i) {
        const WrappingSum even = product(t[2 * i], x[0]) + product(t[2 * i + 1], x[2]) + product(t[8 + 2 * i], x[4]) +
                                 product(t[9 + 2 * i], x[6]) + static_cast<WrappingSum>(rounding);
        const WrappingSum odd = product(t[16 + 2 * i], x[1]) + product(t[17 + 2 * i], x[3]) +
                                product(t[24 + 2 * i], x[5]) + product(t[25 + 2 * i], x[7]);
        out[i] = rowOutput(even + odd);
        out[7 - i] = rowOutput(even - odd);
    }
}

void fullColumn(const std::int16_t row[8][8], int column, std::int16_t out[8][8]) {
    const auto r = [&](int index) { return row[index][column]; };
    const auto [a, b, c, d] = oddColumn(r(1), r(3), r(5), r(7));
    const std::int16_t b0 = add(c, a);
    const std::int16_t b3 = add(d, b);
    const std::int16_t u = sub(c, a);
    const std::int16_t v = sub(d, b);
    const std::int16_t b1 = hiPlusOne(add(u, v), cos_4_16);
    const std::int16_t b2 = hiPlusOne(sub(u, v), cos_4_16);

    const std::int16_t e = add(r(2), hi(r(6), tg_2_16));
    const std::int16_t g = sub(hi(r(2), tg_2_16), r(6));
    const std::int16_t s = add(r(0), r(4));
    const std::int16_t m = sub(r(0), r(4));
    const std::int16_t even[4] = {add(s, e), add(m, g), sub(m, g), sub(s, e)};
    const std::int16_t odd[4] = {b0, b1, b2, b3};
    for (int i = 0; i < 4; ++i) {
        out[i][column] = shiftedRight(add(even[i], odd[i]), kColumnShift8x8);
        out[7 - i][column] = shiftedRight(sub(even[i], odd[i]), kColumnShift8x8);
    }
}

void halfRow(const std::int16_t x[8], HalfRowTable const& table, std::int32_t rounding, std::int16_t out[4]) {
    const std::int16_t* const t = table.value;
    WrappingSum s[4];
    for (int i = 0; i < 4; ++i) {
        const int parity = i / 2; // the first two sums weigh the even values, the last two the odd ones
        s[i] = product(t[2 * i], x[parity]) + product(t[2 * i + 1], x[2 + parity]) +
               product(t[8 + 2 * i], x[4 + parity]) + product(t[9 + 2 * i], x[6 + parity]);
    }
    const auto r = static_cast<WrappingSum>(rounding);
    out[0] = rowOutput(s[0] + s[2] + r);
    out[1] = rowOutput(s[1] + s[3] + r);
    out[2] = rowOutput(s[1] - s[3] + r);
    out[3] = rowOutput(s[0] - s[2] + r);
}

void halfColumn(const std::int16_t row[8][4], int column, std::int16_t out[4][4]) {
    const auto r = [&](int index) { return row[index][column]; };
    const auto [a, b, c, d] = oddColumn(r(1), r(3), r(5), r(7));
    const std::int16_t u = sub(c, a);
    const std::int16_t v = sub(d, b);
    const std::int16_t h = hiPlusOne(add(u, v), cos_4_16);
    const std::int16_t j = hiPlusOne(sub(u, v), cos_4_16);
    const std::int16_t e = add(r(2), hi(r(6), tg_2_16));
    const std::int16_t g = sub(hi(r(2), tg_2_16), r(6));
    const std::int16_t w = add(e, g);
    const std::int16_t z = add(r(0), r(0));
    const std::int16_t k = add(z, w);
    const std::int16_t l = sub(z, w);
    const std::int16_t hOuter = add(h, add(c, a));
    const std::int16_t jInner = add(add(d, b), j);
    out[0][column] = shiftedRight(add(k, hOuter), kColumnShift4x4);
    out[1][column] = shiftedRight(add(l, jInner), kColumnShift4x4);
    out[2][column] = shiftedRight(sub(l, jInner), kColumnShift4x4);
    out[3][column] = shiftedRight(sub(k, hOuter), kColumnShift4x4);
}

void quarterRow(const std::int16_t x[8], QuarterRowTable const& table, std::int32_t rounding, std::int16_t out[2]) {
    const WrappingSum mean = product(table.a0, x[0]) + static_cast<WrappingSum>(rounding);
    const WrappingSum slope =
        product(table.a1, x[1]) - product(table.a3, x[3]) + product(table.a5, x[5]) - product(table.a7, x[7]);
    out[0] = rowOutput(mean + slope);
    out[1] = rowOutput(mean - slope);
}

// The doubled terms saturate before they are summed, so a large block can clip differently from a plain sum.
void quarterColumn(const std::int16_t row[8][2], int column, std::int16_t out[2][2]) {
    const auto r = [&](int index) { return row[index][column]; };
    const auto [a, b, c, d] = oddColumn(r(1), r(3), r(5), r(7));
    const std::int16_t u = sub(c, a);
    const std::int16_t y = hiPlusOne(u, cos_4_16);
    const std::int16_t n = add(add(d, b), add(c, a));
    const std::int16_t t = add(n, add(y, y));
    const std::int16_t z = add(add(r(0), r(0)), add(r(0), r(0)));
    out[0][column] = shiftedRight(add(z, t), kColumnShift2x2);
    out[1][column] = shiftedRight(sub(z, t), kColumnShift2x2);
}

// The one-dimensional float transform, in place, of eight values at distance `stride`. Every operation rounds to
// single precision; contraction is off, so none is fused.
void floatTransform(float* x, int stride) {
    const auto at = [=](int index) -> float& { return x[index * stride]; };
    const float a = at(3) + at(5) * c_tg_3_16;
    const float b = at(5) - at(3) * c_tg_3_16;
    const float c = at(1) + at(7) * c_tg_1_16;
    const float d = at(1) * c_tg_1_16 - at(7);
    const float u = c - a;
    const float v = d - b;
    const float odd[4] = {a + c, (u + v) * c_cos_4_16, (u - v) * c_cos_4_16, b + d};

    const float s = at(0) + at(4);
    const float m = at(0) - at(4);
    const float e = at(2) + at(6) * c_tg_2_16;
    const float g = at(2) * c_tg_2_16 - at(6);
    const float even[4] = {s + e, m + g, m - g, s - e};
    for (int i = 0; i < 4; ++i) {
        at(i) = odd[i] + even[i];
        at(7 - i) = even[i] - odd[i];
    }
}

void floatBlockTransform(float x[8][8]) {
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            x[row][column] *= tab_scale[kScaleRowOfColumn[column]][row];
    }
    for (int row = 0; row < 8; ++row)
        floatTransform(x[row], 1);
    for (int column = 0; column < 8; ++column)
        floatTransform(&x[0][column], 8);
}

} // namespace

void plain_dct_8x8_inv_32f(const float* src, float* dst) {
    float x[8][8];
    std::memcpy(x, src, sizeof x);
    floatBlockTransform(x);
    std::memcpy(dst, x, sizeof x);
}

void plain_dct_8x8_inv_a10_16s(const std::int16_t* src, std::int16_t* dst) {
    std::int16_t x[8][8];
    std::memcpy(x, src, sizeof x);
    std::int16_t row[8][8];
    fullRow(x[0], tab_i_04, round_i_0, row[0]);
    fullRow(x[1], tab_i_17, round_i_1, row[1]);
    fullRow(x[2], tab_i_26, round_i_2, row[2]);
    fullRow(x[3], tab_i_35, round_i_3, row[3]);
    fullRow(x[4], tab_i_04, round_i_4, row[4]);
    fullRow(x[5], tab_i_35, round_i_5, row[5]);
    fullRow(x[6], tab_i_26, round_i_6, row[6]);
    fullRow(x[7], tab_i_17, round_i_7, row[7]);
    std::int16_t out[8][8];
    for (int column = 0; column < 8; ++column)
        fullColumn(row, column, out);
    std::memcpy(dst, out, sizeof out);
}

void plain_dct_8x8To4x4_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    std::int16_t x[8][8];
    std::memcpy(x, src, sizeof x);
    std::int16_t row[8][4] = {}; // row 4 averages to nothing and stays unused
    halfRow(x[0], tab_i4_04, round_i4_0, row[0]);
    halfRow(x[1], tab_i4_17, round_i_1, row[1]);
    halfRow(x[2], tab_i4_26, round_i_2, row[2]);
    halfRow(x[3], tab_i4_35, round_i_3, row[3]);
    halfRow(x[5], tab_i4_35, round_i_5, row[5]);
    halfRow(x[6], tab_i4_26, round_i_6, row[6]);
    halfRow(x[7], tab_i4_17, round_i_7, row[7]);
    std::int16_t out[4][4];
    for (int column = 0; column < 4; ++column)
        halfColumn(row, column, out);
    std::memcpy(dst, out, sizeof out);
}

void plain_dct_8x8To2x2_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    std::int16_t x[8][8];
    std::memcpy(x, src, sizeof x);
    std::int16_t row[8][2] = {}; // rows 2, 4 and 6 average to nothing and stay unused
    quarterRow(x[0], tab_i2_04, round_i2_0, row[0]);
    quarterRow(x[1], tab_i2_17, round_i_1, row[1]);
    quarterRow(x[3], tab_i2_35, round_i_3, row[3]);
    quarterRow(x[5], tab_i2_35, round_i_5, row[5]);
    quarterRow(x[7], tab_i2_17, round_i_7, row[7]);
    std::int16_t out[2][2];
    for (int column = 0; column < 2; ++column)
        quarterColumn(row, column, out);
    std::memcpy(dst, out, sizeof out);
}

void plain_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples,
                            std::size_t numBlocks) {
    for (std::size_t block = 0; block < numBlocks; ++block) {
        float dequantised[64];
        for (std::size_t i = 0; i < 64; ++i)
            dequantised[i] = static_cast<float>(coefficients[64 * block + i]) * matrix[i];
        plain_dct_8x8_inv_32f(dequantised, samples + 64 * block);
    }
}

void plain_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    for (std::size_t block = 0; block < numBlocks; ++block) {
        std::int16_t extended[8][8] = {};
        for (int row = 0; row < 4; ++row)
            std::memcpy(extended[row], corners + 16 * block + 4 * row, 4 * sizeof(std::int16_t));
        plain_dct_8x8To4x4_inv_16s(extended[0], samples + 16 * block);
    }
}

void plain_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    for (std::size_t block = 0; block < numBlocks; ++block) {
        std::int16_t extended[8][8] = {};
        for (int row = 0; row < 2; ++row)
            std::memcpy(extended[row], corners + 4 * block + 2 * row, 2 * sizeof(std::int16_t));
        plain_dct_8x8To2x2_inv_16s(extended[0], samples + 4 * block);
    }
}
