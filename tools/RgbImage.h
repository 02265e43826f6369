#pragma once

#include <cstdint>
#include <vector>

#include "RgbRows.h"

// A picture for viewers: R G B, or R G B A, pixel after pixel.
struct RgbImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t channels = 3; // 3 or 4
    std::uint32_t maxValue = 255;
    std::vector<std::uint16_t> samples;
};

// The picture of a decoded frame, as RgbRows gives its lines.
RgbImage rgbImageOf(DecodedFrame const& frame, RgbForm const& form = {});
