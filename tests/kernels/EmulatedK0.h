#pragma once

#include <cstddef>
#include <cstdint>

// The AVX-512 variant of the kernels, its own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2 and
// FMA.
extern "C" {
int emulated_k0_ippiDCT8x8Inv_32f_C1(const float* src, float* dst);
int emulated_k0_ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst);
int emulated_k0_ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);
int emulated_k0_ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);
void emulated_k0_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples,
                                  std::size_t numBlocks);
void emulated_k0_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
void emulated_k0_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
}
