#pragma once

#include <array>
#include <cstdint>

// The four inverse transforms written down formula by formula, with constants of their own, and exact ones in double
// precision: two independent opinions on what the kernels should give.

using Block16 = std::array<std::int16_t, 64>;
using BlockFloat = std::array<float, 64>;
using BlockDouble = std::array<double, 64>;

// Sums of a row pass wrap modulo 2^32 before the shift. Clipping them is the mistake that tests detect.
enum class RowSums { Wrap, Clip };

Block16 literalInverse8x8(Block16 const& x, RowSums sums = RowSums::Wrap);
std::array<std::int16_t, 16> literalInverse8x8To4x4(Block16 const& x, RowSums sums = RowSums::Wrap);
std::array<std::int16_t, 4> literalInverse8x8To2x2(Block16 const& x, RowSums sums = RowSums::Wrap);
BlockFloat literalInverse8x8Float(BlockFloat const& source);

// The orthonormal two-dimensional transform.
BlockDouble exactInverse8x8(BlockDouble const& x);

// Means of the groups of `side` times `side` samples, in rows of 8 / side.
BlockDouble groupMeans(BlockDouble const& samples, int side);
