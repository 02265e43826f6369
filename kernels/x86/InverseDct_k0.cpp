// The variant for processors with AVX-512 F, CD, BW, DQ and VL. Two blocks at a time in 512-bit vectors, with the
// arithmetic and the bits of the AVX2 variant: 37 to 39 core clocks for a dense block of a float batch where l9 takes
// 55, and 7 for a 4x4 corner instead of 10.
//
// The transforms of a single block gain nothing over l9: 62 clocks for the float one in both.

#include <cstdint>

#include "FixedPointTransforms.h"
#include "FloatBlocks256.h"
#include "FloatBlocks512.h"
#include "KernelEntries.h"

namespace {

// The lower half of each vector belongs to the first block of a pair, the upper half to the second.
RAVELO_INLINE Floats512 loadTwice(const float* from) {
    return {_mm512_broadcast_f32x8(_mm256_loadu_ps(from))};
}

// Exchanges rows and columns of both blocks.
RAVELO_INLINE void transposePair(Floats512 (&x)[8]) {
    __m512 quads[8];
    for (int half = 0; half < 2; ++half) {
        const Floats512* const rows = x + 4 * half;
        const __m512 low01 = _mm512_unpacklo_ps(rows[0].v, rows[1].v);
        const __m512 high01 = _mm512_unpackhi_ps(rows[0].v, rows[1].v);
        const __m512 low23 = _mm512_unpacklo_ps(rows[2].v, rows[3].v);
        const __m512 high23 = _mm512_unpackhi_ps(rows[2].v, rows[3].v);
        quads[4 * half] = _mm512_shuffle_ps(low01, low23, 0x44);
        quads[4 * half + 1] = _mm512_shuffle_ps(low01, low23, 0xEE);
        quads[4 * half + 2] = _mm512_shuffle_ps(high01, high23, 0x44);
        quads[4 * half + 3] = _mm512_shuffle_ps(high01, high23, 0xEE);
    }
    const __m512i evenLanes = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
    const __m512i oddLanes = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);
    for (int column = 0; column < 4; ++column) {
        const __m512d upper = _mm512_castps_pd(quads[column]);
        const __m512d lower = _mm512_castps_pd(quads[4 + column]);
        x[column].v = _mm512_castpd_ps(_mm512_permutex2var_pd(upper, evenLanes, lower));
        x[4 + column].v = _mm512_castpd_ps(_mm512_permutex2var_pd(upper, oddLanes, lower));
    }
}

// Loads a pair of blocks of coefficients with one dequantised column of each per vector. A row is four 32-bit values of
// two neighbouring coefficients; four permutations collect the pairs of columns of each block, four more move the
// blocks together.
RAVELO_INLINE void loadDequantisedPair(const std::int16_t* coefficients, const Floats512 (&matrixColumns)[8],
                                       Floats512 (&x)[8]) {
    const __m512i pairs01 = _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 1, 5, 9, 13, 17, 21, 25, 29);
    const __m512i pairs23 = _mm512_setr_epi32(2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15, 19, 23, 27, 31);
    const __m512i firstUpper = _mm512_loadu_si512(coefficients);
    const __m512i firstLower = _mm512_loadu_si512(coefficients + 32);
    const __m512i secondUpper = _mm512_loadu_si512(coefficients + 64);
    const __m512i secondLower = _mm512_loadu_si512(coefficients + 96);
    const __m512i first01 = _mm512_permutex2var_epi32(firstUpper, pairs01, firstLower);
    const __m512i first23 = _mm512_permutex2var_epi32(firstUpper, pairs23, firstLower);
    const __m512i second01 = _mm512_permutex2var_epi32(secondUpper, pairs01, secondLower);
    const __m512i second23 = _mm512_permutex2var_epi32(secondUpper, pairs23, secondLower);
    const __m512i columnPairs[4] = {
        _mm512_shuffle_i64x2(first01, second01, 0x44), _mm512_shuffle_i64x2(first01, second01, 0xEE),
        _mm512_shuffle_i64x2(first23, second23, 0x44), _mm512_shuffle_i64x2(first23, second23, 0xEE)};
    for (int pair = 0; pair < 4; ++pair) {
        const __m512i both = columnPairs[pair];
        const Floats512 left = {_mm512_cvtepi32_ps(_mm512_slli_epi32(both, 16))};
        const Floats512 right = {_mm512_cvtepi32_ps(_mm512_and_si512(both, _mm512_set1_epi32(kHighHalfBits)))};
        x[2 * pair] = left * matrixColumns[2 * pair];
        x[2 * pair + 1] = right * matrixColumns[2 * pair + 1];
    }
}

RAVELO_INLINE void storePair(const Floats512 (&x)[8], float* dst) {
    for (int row = 0; row < 8; ++row) {
        _mm256_storeu_ps(dst + 8 * row, _mm512_castps512_ps256(x[row].v));
        _mm256_storeu_ps(dst + 64 + 8 * row, _mm512_extractf32x8_ps(x[row].v, 1));
    }
}

void k0_dct_8x8_inv_32f(const float* src, float* dst) {
    Floats256 x[8];
    loadColumns(src, x);
    fusedBlock(x, dst);
}

void k0_dct_8x8_inv_a10_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8(src, dst);
}

void k0_dct_8x8To4x4_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8To4x4(src, dst);
}

void k0_dct_8x8To2x2_inv_16s(const std::int16_t* src, std::int16_t* dst) {
    fixedPoint8x8To2x2(src, dst);
}

} // namespace

RAVELO_DEFINE_KERNEL_ENTRIES(k0)

void k0_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks) {
    float matrixColumns[8][8];
    loadMatrixColumns(matrix, matrixColumns);
    Floats512 pairColumns[8];
    for (int column = 0; column < 8; ++column)
        pairColumns[column] = loadTwice(matrixColumns[column]);
    const Floats512 scales[4] = {loadTwice(tab_scale[0]), loadTwice(tab_scale[1]), loadTwice(tab_scale[2]),
                                 loadTwice(tab_scale[3])};
    std::size_t block = 0;
    for (; block + 2 <= numBlocks; block += 2) {
        Floats512 x[8];
        loadDequantisedPair(coefficients + 64 * block, pairColumns, x);
        fusedScaledTransform(x, scales);
        transposePair(x);
        fusedTransform(x);
        storePair(x, samples + 64 * block);
    }
    if (block < numBlocks) {
        Floats256 x[8];
        loadDequantisedColumns(coefficients + 64 * block, matrixColumns, x);
        fusedBlock(x, samples + 64 * block);
    }
}

void k0_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    transformCorners<HalfSizeCorners, Int512, Int256, Int128>(corners, samples, numBlocks);
}

void k0_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    transformCorners<QuarterSizeCorners, Int512, Int256, Int128>(corners, samples, numBlocks);
}
