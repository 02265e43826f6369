#pragma once

#include <cstddef>
#include <cstdint>

// The variants of every kernel, each in a unit of its own that is compiled for its processors:
//
//   y8  SSE2, the plain arithmetic                  InverseDct_y8.cpp
//   e9  AVX, the plain arithmetic                   InverseDct_e9.cpp
//   l9  AVX2, multiplications and additions fused   InverseDct_l9.cpp
//   k0  AVX-512, multiplications and additions fused InverseDct_k0.cpp
//
// Contracts are those of InverseDct.h and BlockTransforms.h.

#define RAVELO_DECLARE_KERNEL_VARIANT(prefix)                                                                          \
    int prefix##_ippiDCT8x8Inv_32f_C1(const float* src, float* dst);                                                   \
    int prefix##_ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst);                                 \
    int prefix##_ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);                                \
    int prefix##_ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);                                \
    void prefix##_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples,              \
                                   std::size_t numBlocks);                                                             \
    void prefix##_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);        \
    void prefix##_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks)

extern "C" {
RAVELO_DECLARE_KERNEL_VARIANT(y8);
RAVELO_DECLARE_KERNEL_VARIANT(e9);
RAVELO_DECLARE_KERNEL_VARIANT(l9);
RAVELO_DECLARE_KERNEL_VARIANT(k0);
}

#undef RAVELO_DECLARE_KERNEL_VARIANT
