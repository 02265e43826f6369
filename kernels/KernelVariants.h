#pragma once

#include <cstddef>
#include <cstdint>

#include "VariantList.h"
#include "VariantSelection.h"

// The kernels of every variant. Those with the prefix xx are in the unit InverseDct_xx.cpp, which is compiled for its
// processors. Contracts are those of InverseDct.h and BlockTransforms.h.

#define RAVELO_DECLARE_KERNELS(prefix)                                                                                 \
    int prefix##_ippiDCT8x8Inv_32f_C1(const float* src, float* dst);                                                   \
    int prefix##_ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst);                                 \
    int prefix##_ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);                                \
    int prefix##_ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);                                \
    void prefix##_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples,              \
                                   std::size_t numBlocks);                                                             \
    void prefix##_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);        \
    void prefix##_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);

#define RAVELO_DECLARE_VARIANT(prefix, Name, kernels, features, fused) RAVELO_DECLARE_KERNELS(kernels)
extern "C" {
RAVELO_KERNEL_VARIANTS(RAVELO_DECLARE_VARIANT)
}
#undef RAVELO_DECLARE_VARIANT

// A variant with its kernels.
struct KernelVariant : Variant {
    int (*inverse8x8Float)(const float* src, float* dst);
    int (*inverse8x8)(const std::int16_t* src, std::int16_t* dst);
    int (*inverse8x8To4x4)(const std::int16_t* src, std::int16_t* dst);
    int (*inverse8x8To2x2)(const std::int16_t* src, std::int16_t* dst);
    void (*inverse8x8Blocks)(const std::int16_t* coefficients, const float* matrix, float* samples,
                             std::size_t numBlocks);
    void (*inverse4x4Corners)(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
    void (*inverse2x2Corners)(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
};

// The members of KernelVariant in their order.
#define RAVELO_KERNELS_OF(prefix)                                                                                      \
    prefix##_ippiDCT8x8Inv_32f_C1, prefix##_ippiDCT8x8Inv_A10_16s_C1, prefix##_ippiDCT8x8To4x4Inv_16s_C1,              \
        prefix##_ippiDCT8x8To2x2Inv_16s_C1, prefix##_inverse8x8Blocks, prefix##_inverse4x4Corners,                     \
        prefix##_inverse2x2Corners

// All variants with their kernels, by index.
#define RAVELO_VARIANT_ROW(prefix, Name, kernels, features, fused)                                                     \
    {kVariants[kVariant##Name], RAVELO_KERNELS_OF(kernels)},
constexpr KernelVariant kKernelVariants[kNumVariants] = {RAVELO_KERNEL_VARIANTS(RAVELO_VARIANT_ROW)};
#undef RAVELO_VARIANT_ROW
