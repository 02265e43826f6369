#pragma once

#include <cstdint>

#include "HostRequest.h"
#include "PixelBuffer.h"

// The output of a decode, for what is written into it beside the pixels of the frame.
struct HostOutput {
    HostPixels pixels;
    std::uint32_t pixelForm = RAVELO_CODED;
    PixelRectangle region; // of the picture
    PixelBuffer form;      // width and height of the region, coding, depth, matrix and samples per pixel
    bool hasAlpha = false; // a plane of it
};

// Fills rectangles with one opaque colour, in the form of the output.
class HostFill {
public:
    // `color` is 0xRRGGBB in full range.
    HostFill(std::uint32_t color, HostOutput const& output);

    // A rectangle of the region: `lineStep` leads to its next line. In coded and planar pixels of 4:2:2 it begins in an
    // even column. One that is larger than the cache is written past the caches.
    void fill(PixelRectangle const& rectangle, std::uint32_t lineStep) const;

private:
    // What the lines of a plane repeat.
    struct Plane {
        OutputPlane to;
        std::uint32_t bytesPerPixel = 0;  // or of a sample
        std::uint32_t pixelsPerPlace = 1; // 2 in chroma planes of 4:2:2
        std::uint8_t pattern[8] = {};
    };

    void setPattern(Plane& plane, const std::uint16_t (&samples)[4], std::uint32_t bytesPerSample) const;
    void addPlane(std::uint32_t index, std::uint16_t sample, std::uint32_t bytesPerSample, std::uint32_t perPlace);

    std::uint32_t m_numPlanes = 1;
    Plane m_planes[RAVELO_MAX_PLANES];
};
