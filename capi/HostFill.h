#pragma once

#include <cstdint>

#include "PixelBuffer.h"

// Fills rectangles with one opaque colour, in the form of the output.
class HostFill {
public:
    // `color` is 0xRRGGBB over the full range; `form` tells coding, depth, matrix and samples per pixel.
    HostFill(std::uint32_t color, PixelBuffer const& form);

    // `pixels` is the first sample of a rectangle that begins in an even column; `lineStride` leads to its next line.
    void fill(std::uint8_t* pixels, std::int64_t lineStride, std::uint32_t width, std::uint32_t height) const;

private:
    std::uint32_t m_samplesPerPixel;
    std::uint32_t m_bytesPerSample;
    std::uint16_t m_pair[8]; // the samples of two pixels
};
