// The variant for every processor: SSE2, with the plain arithmetic. Its float transform gives the bits of the plain
// form.
//
// On a server processor with AVX-512 a dense block of a float batch takes 110 core clocks, a 4x4 corner 17 and a 2x2
// corner 3.5; the plain form takes 182, 345 and 148.

#include <cstdint>

#include "FixedPointTransforms.h"
#include "Floats128.h"
#include "KernelEntries.h"

namespace {

// Exchanges rows and columns of 4x4 values.
RAVELO_INLINE void transposeQuads(Floats128* x) {
    const __m128 low01 = _mm_unpacklo_ps(x[0].v, x[1].v);
    const __m128 high01 = _mm_unpackhi_ps(x[0].v, x[1].v);
    const __m128 low23 = _mm_unpacklo_ps(x[2].v, x[3].v);
    const __m128 high23 = _mm_unpackhi_ps(x[2].v, x[3].v);
    x[0].v = _mm_movelh_ps(low01, low23);
    x[1].v = _mm_movehl_ps(low23, low01);
    x[2].v = _mm_movelh_ps(high01, high23);
    x[3].v = _mm_movehl_ps(high23, high01);
}

// Half a block, rows 4 * half to 4 * half + 3, with one column per vector.
RAVELO_INLINE void loadColumns(const float* src, int half, Floats128 (&x)[8]) {
    for (int row = 0; row < 4; ++row) {
        x[row] = Floats128::load(src + 32 * half + 8 * row);
        x[4 + row] = Floats128::load(src + 32 * half + 8 * row + 4);
    }
    transposeQuads(x);
    transposeQuads(x + 4);
}

// Copies the factors of dequantisation, one column per row of the copy, in units of kHighHalf.
RAVELO_INLINE void loadMatrixColumns(const float* matrix, float (&matrixColumns)[8][8]) {
    for (int half = 0; half < 2; ++half) {
        Floats128 x[8];
        loadColumns(matrix, half, x);
        for (int column = 0; column < 8; ++column)
            (x[column] * Floats128::broadcast(kHighHalf)).store(matrixColumns[column] + 4 * half);
    }
}

// Half a block of coefficients, dequantised, with one column per vector. Rows are exchanged with columns while two
// neighbouring coefficients still share 32 bits, which halves the shuffles.
RAVELO_INLINE void loadDequantisedColumns(const std::int16_t* coefficients, const float (&matrixColumns)[8][8],
                                          int half, Floats128 (&x)[8]) {
    const std::int16_t* const rows = coefficients + 32 * half;
    const Int128 low01 = unpackLow32(Int128::load(rows), Int128::load(rows + 8));
    const Int128 high01 = unpackHigh32(Int128::load(rows), Int128::load(rows + 8));
    const Int128 low23 = unpackLow32(Int128::load(rows + 16), Int128::load(rows + 24));
    const Int128 high23 = unpackHigh32(Int128::load(rows + 16), Int128::load(rows + 24));
    const Int128 columnPairs[4] = {unpackLow64(low01, low23), unpackHigh64(low01, low23), unpackLow64(high01, high23),
                                   unpackHigh64(high01, high23)};
    for (int pair = 0; pair < 4; ++pair) {
        const __m128i both = columnPairs[pair].v;
        const Floats128 left = {_mm_cvtepi32_ps(_mm_slli_epi32(both, 16))};
        const Floats128 right = {_mm_cvtepi32_ps(_mm_and_si128(both, _mm_set1_epi32(kHighHalfBits)))};
        x[2 * pair] = left * Floats128::load(matrixColumns[2 * pair] + 4 * half);
        x[2 * pair + 1] = right * Floats128::load(matrixColumns[2 * pair + 1] + 4 * half);
    }
}

// Row pass of half a block. Leaves its rows in `rows`: columns 0 to 3 of the four rows, then columns 4 to 7.
RAVELO_INLINE void transformRows(Floats128 (&x)[8], int half, Floats128* rows) {
    for (int column = 0; column < 8; ++column)
        x[column] = x[column] * Floats128::load(tab_scale[kScaleRowOfColumn[column]] + 4 * half);
    plainTransform(x);
    transposeQuads(x);
    transposeQuads(x + 4);
    for (int i = 0; i < 8; ++i)
        rows[i] = x[i];
}

RAVELO_INLINE void transformColumns(const Floats128 (&upper)[8], const Floats128 (&lower)[8], float* dst) {
    for (int side = 0; side < 2; ++side) {
        Floats128 x[8];
        for (int row = 0; row < 4; ++row) {
            x[row] = upper[4 * side + row];
            x[4 + row] = lower[4 * side + row];
        }
        plainTransform(x);
        for (int row = 0; row < 8; ++row)
            x[row].store(dst + 8 * row + 4 * side);
    }
}

void y8_dct_8x8_inv_32f(const float* src, float* dst) {
    Floats128 rows[2][8];
    for (int half = 0; half < 2; ++half) {
        Floats128 x[8];
        loadColumns(src, half, x);
        transformRows(x, half, rows[half]);
    }
    transformColumns(rows[0], rows[1], dst);
}

void y8_dct_8x8_inv_a10_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8(src, dst);
}

void y8_dct_8x8To4x4_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8To4x4(src, dst);
}

void y8_dct_8x8To2x2_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8To2x2(src, dst);
}

} // namespace

RAVELO_DEFINE_KERNEL_ENTRIES(y8)

void y8_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks) {
    float matrixColumns[8][8];
    loadMatrixColumns(matrix, matrixColumns);
    for (std::size_t block = 0; block < numBlocks; ++block) {
        Floats128 rows[2][8];
        for (int half = 0; half < 2; ++half) {
            Floats128 x[8];
            loadDequantisedColumns(coefficients + 64 * block, matrixColumns, half, x);
            transformRows(x, half, rows[half]);
        }
        transformColumns(rows[0], rows[1], samples + 64 * block);
    }
}

void y8_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    transformCorners<HalfSizeCorners, Int128>(corners, samples, numBlocks);
}

void y8_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    transformCorners<QuarterSizeCorners, Int128>(corners, samples, numBlocks);
}
