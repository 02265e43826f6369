#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// What a decode call asks for.
struct DecodeRequest {
    std::uint32_t downSampleFactor = 0;
    std::uint32_t colorCoding = 0; // 0 YCbCr, 1 RGB full range, 2 RGB video range
    std::uint32_t bitDepth = 8;
    std::int64_t lineStride = 0; // bytes; 0 where the caller of the test chooses it
    OptimizationTarget target = OptimizationTarget::Baseline;
};
