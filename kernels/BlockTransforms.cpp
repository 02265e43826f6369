#include "BlockTransforms.h"

#include "JumpTable.h"

namespace {

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

constexpr auto kInverse8x8Blocks = jumpTable(floatStub, &KernelVariant::inverse8x8Blocks);
constexpr auto kInverse4x4Corners = jumpTable(cornerStub<inverse4x4Corners>, &KernelVariant::inverse4x4Corners);
constexpr auto kInverse2x2Corners = jumpTable(cornerStub<inverse2x2Corners>, &KernelVariant::inverse2x2Corners);

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
