#include "BlockTransforms.h"

#include "PlainInverseDct.h"

void inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks) {
    plain_inverse8x8Blocks(coefficients, matrix, samples, numBlocks);
}

void inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    plain_inverse4x4Corners(corners, samples, numBlocks);
}

void inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    plain_inverse2x2Corners(corners, samples, numBlocks);
}
