#pragma once

#include <cstdint>

#include "PixelBuffer.h"

// What an output buffer must offer for one decode call.
//
// The two strides differ because of the right edge of reduced pictures. The decode call checks the stride against the
// width of the reduced picture, but it writes whole macroblocks: with a width of 1000 pixels at half size the picture
// is 500 pixels wide, and 504 are written in each line. With `leastStride` those four pixels fall on the start of the
// next line, in no order with the pixels that belong there; with `safeStride` or more each line keeps to itself.
struct BufferRequirements {
    std::uint64_t leastStride = 0; // bytes; the least magnitude of a stride that the decode call accepts
    std::uint64_t safeStride = 0;  // bytes; from this magnitude on, no write leaves its own line
    std::uint64_t bytes = 0;       // bytes from the lowest line's first byte that a buffer of `safeStride` must have
};

// `info` is what Frame::GetFrameInfo returned for the frame with the same depth and reduction, `frameWidth` the frame's
// full width in pixels (GetFrameInfo at reduction 0 gives it).
BufferRequirements bufferRequirements(PixelBuffer const& info, std::uint32_t frameWidth);
