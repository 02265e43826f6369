#pragma once

#include <cstddef>
#include <cstdint>

// Inverse transforms of many blocks in one call, for a caller that holds a row of them.
//
// Each gives, block for block, the same bits as the single-block transform of InverseDct.h, in the same variant: the
// batch is a matter of speed alone. Buffers are dense, need no alignment beyond that of their type, and must not
// overlap; a count of 0 touches none of them but may read the matrix.

// Dequantises and transforms `numBlocks` blocks. `coefficients` holds 64 values a block in raster order, `matrix` one
// factor for each raster position, 0 or at least 2^-100. Coefficient times factor is rounded once to single precision
// and goes to the float transform. `samples` receives 64 floats a block.
void inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks);

// Half-size transform of blocks that are zero outside their top left 4x4 corner. `corners` holds the 16 values of each
// corner in rows of 4, `samples` receives 16 values a block in rows of 4.
void inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);

// Quarter-size transform of blocks that are zero outside their top left 2x2 corner. `corners` holds the 4 values of
// each corner in rows of 2, `samples` receives 4 values a block in rows of 2.
void inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);
