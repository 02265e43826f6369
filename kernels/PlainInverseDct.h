#pragma once

#include <cstddef>
#include <cstdint>

// The inverse transforms in their plain form, one operation after the other: the definition that every variant is held
// against. Contracts are those of InverseDct.h and BlockTransforms.h, except that the single-block forms expect valid
// pointers.

void plain_dct_8x8_inv_32f(const float* src, float* dst);
void plain_dct_8x8_inv_a10_16s(const std::int16_t* src, std::int16_t* dst);
void plain_dct_8x8To4x4_inv_16s(const std::int16_t* src, std::int16_t* dst);
void plain_dct_8x8To2x2_inv_16s(const std::int16_t* src, std::int16_t* dst);

void plain_inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples,
                            std::size_t numBlocks);
void plain_inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
void plain_inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
