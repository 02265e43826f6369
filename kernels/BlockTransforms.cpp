#include "BlockTransforms.h"

#include "JumpTable.h"
#include "KernelVariants.h"

namespace {

using FloatBatch = void(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks);
using CornerBatch = void(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks);

// The stubs serve a call that comes before any variant is chosen: they choose one and enter again.
void floatStub(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks) {
    ippSafeInit();
    inverse8x8Blocks(coefficients, matrix, samples, numBlocks);
}

template <CornerBatch* entry>
void cornerStub(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    ippSafeInit();
    entry(corners, samples, numBlocks);
}

constexpr JumpTable<FloatBatch> kInverse8x8Blocks = {{
    floatStub,
    y8_inverse8x8Blocks,
    e9_inverse8x8Blocks,
    l9_inverse8x8Blocks,
    k0_inverse8x8Blocks,
}};

constexpr JumpTable<CornerBatch> kInverse4x4Corners = {{
    cornerStub<inverse4x4Corners>,
    y8_inverse4x4Corners,
    e9_inverse4x4Corners,
    l9_inverse4x4Corners,
    k0_inverse4x4Corners,
}};

constexpr JumpTable<CornerBatch> kInverse2x2Corners = {{
    cornerStub<inverse2x2Corners>,
    y8_inverse2x2Corners,
    e9_inverse2x2Corners,
    l9_inverse2x2Corners,
    k0_inverse2x2Corners,
}};

} // namespace

void inverse8x8Blocks(const std::int16_t* coefficients, const float* matrix, float* samples, std::size_t numBlocks) {
    kInverse8x8Blocks.current()(coefficients, matrix, samples, numBlocks);
}

void inverse4x4Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    kInverse4x4Corners.current()(corners, samples, numBlocks);
}

void inverse2x2Corners(const std::int16_t* corners, std::int16_t* samples, std::size_t numBlocks) {
    kInverse2x2Corners.current()(corners, samples, numBlocks);
}
