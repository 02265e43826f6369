#pragma once

#include <cstdint>
#include <vector>

#include "DecodedFrame.h"

// A picture for viewers: R G B, or R G B A, pixel after pixel.
struct RgbImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t channels = 3; // 3 or 4
    std::uint32_t maxValue = 255;
    std::vector<std::uint16_t> samples;
};

// The picture of a decoded frame. RGB samples of the library are used unchanged. Y'CbCr samples are converted with the
// matrix that the frame names, with chroma interpolated to all columns in 4:2:2, to RGB in full range, or in video
// range if `videoRange` is true.
RgbImage rgbImageOf(DecodedFrame const& frame, bool videoRange = false);
