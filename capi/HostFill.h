#pragma once

#include <cstdint>

#include "PixelBuffer.h"

// Fills rectangles with one opaque colour, in the form of the output.
class HostFill {
public:
    // `color` is 0xRRGGBB in full range; `form` supplies coding, depth, matrix and samples per pixel.
    HostFill(std::uint32_t color, PixelBuffer const& form);

    // `pixels` is the first sample of a rectangle that begins in an even column; `lineStride` leads to its next line.
    // A rectangle that is larger than the cache is written past the caches.
    void fill(std::uint8_t* pixels, std::int64_t lineStride, std::uint32_t width, std::uint32_t height) const;

private:
    void setPattern(const std::uint16_t (&pair)[8]);

    std::uint32_t m_samplesPerPixel;
    std::uint32_t m_bytesPerSample;
    // What a line repeats: the samples of two pixels of 4:2:2 take 4 or 8 bytes, those of one pixel of 4:4:4 as many.
    std::uint8_t m_pattern[8];
};
