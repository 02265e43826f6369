#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "DecodeRequest.h"
#include "SlowFrame.h"

// The model of the pixel forms other than the coded one: pixel by pixel, in extended precision, from the samples that
// the plain transform gives.

// A pixel of the decoded picture. Its chroma is its own, or interpolated, where the frame has half as much of it.
struct SlowPixel {
    bool isWritten = false; // by a slice that decoded
    double y = 0;
    long double cb = 0;
    long double cr = 0;
    double alpha = 1; // 0 to 1
};

struct SlowPicture {
    SlowFrameHeader header;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool open = false; // some slice may hold anything
    std::vector<SlowPixel> pixels;

    SlowPixel const& at(std::uint32_t x, std::uint32_t y) const { return pixels[std::size_t{y} * width + x]; }
};

// Decodes a frame at the reduction and for the target of `request`; nothing else of it matters.
SlowPicture slowPicture(std::span<const std::uint8_t> frame, DecodeRequest request);

struct SlowRgb {
    long double red = 0;
    long double green = 0;
    long double blue = 0;
};

// Black is 0, white is 1, and nothing is clipped.
SlowRgb slowRgb(SlowFrameHeader const& header, SlowPixel const& pixel);

// The nearest binary16, of two the even one.
std::uint16_t slowHalf(long double value);
