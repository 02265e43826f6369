#pragma once

#include <cstdint>

#include "CoefficientScan.h"
#include "OptimizationTarget.h"

// Elements behind the gathered blocks that gatherBlocks may overwrite.
constexpr std::uint32_t kGatherPadding = 64;

// Puts the top left `size` x `size` corner of every block of a component together, in raster order, dense: from
// frequency order, through the scan pattern. The component keeps at least size * size coefficients a block.
template <OptimizationTarget target, int size>
void gatherBlocks(ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
    std::int16_t* out = blocks;
    for (std::uint32_t block = 0; block < scan.numBlocks; ++block)
        for (int row = 0; row < size; ++row)
            for (int column = 0; column < size; ++column)
                *out++ = scan.coefficients[pattern[8 * row + column] * scan.numBlocks + block];
}

// The conversion of a dequantised value on its way into a 16-bit transform. Each target has its own rule.
template <OptimizationTarget target>
std::int16_t dequantizedTo16Bits(float value) {
    if (target == OptimizationTarget::Baseline) // towards zero, the low 16 bits
        return static_cast<std::int16_t>(static_cast<std::int32_t>(value));
    if (value >= 32767.0f) // to nearest, ties to even, saturated
        return 32767;
    if (value <= -32768.0f)
        return -32768;
    return static_cast<std::int16_t>(__builtin_rintf(value));
}

// Multiplies gathered corners by their matrix entries, in place. `matrix` has 8 entries a row.
template <OptimizationTarget target, int size>
void dequantizeCorners(std::int16_t* corners, const float* matrix, std::uint32_t numBlocks) {
    for (std::uint32_t block = 0; block < numBlocks; ++block)
        for (int row = 0; row < size; ++row)
            for (int column = 0; column < size; ++column, ++corners)
                *corners = dequantizedTo16Bits<target>(static_cast<float>(*corners) * matrix[8 * row + column]);
}
