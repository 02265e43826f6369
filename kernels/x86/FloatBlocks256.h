#pragma once

#include <cstdint>

#include "FloatTransforms.h"

// Blocks of floats in eight 256-bit vectors, for the units that are compiled for AVX and later.

namespace {

struct Floats256 {
    __m256 v;

    static RAVELO_INLINE Floats256 load(const float* from) { return {_mm256_loadu_ps(from)}; }
    static RAVELO_INLINE Floats256 broadcast(float value) { return {_mm256_set1_ps(value)}; }
    RAVELO_INLINE void store(float* to) const { _mm256_storeu_ps(to, v); }
};

RAVELO_INLINE Floats256 operator+(Floats256 a, Floats256 b) {
    return {_mm256_add_ps(a.v, b.v)};
}
RAVELO_INLINE Floats256 operator-(Floats256 a, Floats256 b) {
    return {_mm256_sub_ps(a.v, b.v)};
}
RAVELO_INLINE Floats256 operator*(Floats256 a, Floats256 b) {
    return {_mm256_mul_ps(a.v, b.v)};
}

#ifdef __FMA__
// a * b + c, a * b - c and c - a * b, each rounded once.
RAVELO_INLINE Floats256 mulAdd(Floats256 a, Floats256 b, Floats256 c) {
    return {_mm256_fmadd_ps(a.v, b.v, c.v)};
}
RAVELO_INLINE Floats256 mulSub(Floats256 a, Floats256 b, Floats256 c) {
    return {_mm256_fmsub_ps(a.v, b.v, c.v)};
}
RAVELO_INLINE Floats256 subMul(Floats256 c, Floats256 a, Floats256 b) {
    return {_mm256_fnmadd_ps(a.v, b.v, c.v)};
}
#endif

// Exchanges rows and columns of a block that holds one row per vector.
RAVELO_INLINE void transposeBlock(Floats256 (&x)[8]) {
    __m256 quads[8];
    for (int half = 0; half < 2; ++half) {
        const Floats256* const rows = x + 4 * half;
        const __m256 low01 = _mm256_unpacklo_ps(rows[0].v, rows[1].v);
        const __m256 high01 = _mm256_unpackhi_ps(rows[0].v, rows[1].v);
        const __m256 low23 = _mm256_unpacklo_ps(rows[2].v, rows[3].v);
        const __m256 high23 = _mm256_unpackhi_ps(rows[2].v, rows[3].v);
        quads[4 * half] = _mm256_shuffle_ps(low01, low23, 0x44);
        quads[4 * half + 1] = _mm256_shuffle_ps(low01, low23, 0xEE);
        quads[4 * half + 2] = _mm256_shuffle_ps(high01, high23, 0x44);
        quads[4 * half + 3] = _mm256_shuffle_ps(high01, high23, 0xEE);
    }
    for (int column = 0; column < 4; ++column) {
        x[column].v = _mm256_permute2f128_ps(quads[column], quads[4 + column], 0x20);
        x[4 + column].v = _mm256_permute2f128_ps(quads[column], quads[4 + column], 0x31);
    }
}

RAVELO_INLINE void storeBlock(const Floats256 (&x)[8], float* dst) {
    for (int row = 0; row < 8; ++row)
        x[row].store(dst + 8 * row);
}

// Loads a block of floats with one column per vector.
RAVELO_INLINE void loadColumns(const float* src, Floats256 (&x)[8]) {
    for (int row = 0; row < 8; ++row)
        x[row] = Floats256::load(src + 8 * row);
    transposeBlock(x);
}

// Copies the factors of dequantisation, one column per row of the copy, in units of kHighHalf.
RAVELO_INLINE void loadMatrixColumns(const float* matrix, float (&matrixColumns)[8][8]) {
    Floats256 x[8];
    loadColumns(matrix, x);
    for (int column = 0; column < 8; ++column)
        (x[column] * Floats256::broadcast(kHighHalf)).store(matrixColumns[column]);
}

#ifdef __AVX2__

// Loads a block of coefficients with one dequantised column per vector. Rows are exchanged with columns while two
// neighbouring coefficients still share 32 bits, which halves the shuffles; the shifts that part them extend their
// signs.
RAVELO_INLINE void loadDequantisedColumns(const std::int16_t* coefficients, const float (&matrixColumns)[8][8],
                                          Floats256 (&x)[8]) {
    const auto rowPair = [=](int row) { // rows r and r + 4
        const __m128i upper = Int128::load(coefficients + 8 * row).v;
        return _mm256_inserti128_si256(_mm256_castsi128_si256(upper), Int128::load(coefficients + 8 * (row + 4)).v, 1);
    };
    const Int256 rows04 = {rowPair(0)};
    const Int256 rows15 = {rowPair(1)};
    const Int256 rows26 = {rowPair(2)};
    const Int256 rows37 = {rowPair(3)};
    const Int256 low01 = unpackLow32(rows04, rows15);
    const Int256 low23 = unpackLow32(rows26, rows37);
    const Int256 high01 = {_mm256_unpackhi_epi32(rows04.v, rows15.v)};
    const Int256 high23 = {_mm256_unpackhi_epi32(rows26.v, rows37.v)};
    const Int256 columnPairs[4] = {unpackLow64(low01, low23), unpackHigh64(low01, low23), unpackLow64(high01, high23),
                                   unpackHigh64(high01, high23)};
    for (int pair = 0; pair < 4; ++pair) {
        const __m256i both = columnPairs[pair].v;
        const __m256i left = _mm256_slli_epi32(both, 16);
        const __m256i right = _mm256_and_si256(both, _mm256_set1_epi32(kHighHalfBits));
        x[2 * pair].v = _mm256_mul_ps(_mm256_cvtepi32_ps(left), Floats256::load(matrixColumns[2 * pair]).v);
        x[2 * pair + 1].v = _mm256_mul_ps(_mm256_cvtepi32_ps(right), Floats256::load(matrixColumns[2 * pair + 1]).v);
    }
}

// Transforms a block that holds one column per vector and stores its rows.
RAVELO_INLINE void fusedBlock(Floats256 (&x)[8], float* dst) {
    const Floats256 scales[4] = {Floats256::load(tab_scale[0]), Floats256::load(tab_scale[1]),
                                 Floats256::load(tab_scale[2]), Floats256::load(tab_scale[3])};
    fusedScaledTransform(x, scales);
    transposeBlock(x);
    fusedTransform(x);
    storeBlock(x, dst);
}

#endif

} // namespace
