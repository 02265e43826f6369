#pragma once

#include <cstdint>

#include "KernelVariants.h"

// The public entries of one variant. Each checks its pointers and calls the variant's worker; the workers carry the
// variant's prefix in front of their common names.

#define RAVELO_DEFINE_KERNEL_ENTRY(prefix, entry, worker, Value)                                                       \
    int prefix##_##entry(const Value* src, Value* dst) {                                                               \
        if (src == nullptr || dst == nullptr)                                                                          \
            return kStatusNullPointer;                                                                                 \
        prefix##_##worker(src, dst);                                                                                   \
        return kStatusOk;                                                                                              \
    }

#define RAVELO_DEFINE_KERNEL_ENTRIES(prefix)                                                                           \
    RAVELO_DEFINE_KERNEL_ENTRY(prefix, ippiDCT8x8Inv_32f_C1, dct_8x8_inv_32f, float)                                   \
    RAVELO_DEFINE_KERNEL_ENTRY(prefix, ippiDCT8x8Inv_A10_16s_C1, dct_8x8_inv_a10_16s, std::int16_t)                    \
    RAVELO_DEFINE_KERNEL_ENTRY(prefix, ippiDCT8x8To4x4Inv_16s_C1, dct_8x8To4x4_inv_16s, std::int16_t)                  \
    RAVELO_DEFINE_KERNEL_ENTRY(prefix, ippiDCT8x8To2x2Inv_16s_C1, dct_8x8To2x2_inv_16s, std::int16_t)
