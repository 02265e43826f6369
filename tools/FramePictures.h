#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "DecodedFrame.h"
#include "SliceReport.h"

// A map of a frame with two by two pixels for each macroblock, in the colours of sliceColor(). In slices that failed,
// white and magenta alternate.
struct SliceMap {
    std::vector<std::uint8_t> png;
    double least = 0;
    double largest = 0;
};

// What a page shows of one frame.
struct FramePictures {
    std::vector<std::uint8_t> thumbnail; // PNG
    std::uint32_t width = 0;             // of the grid of `damage`
    std::uint32_t height = 0;            // the same
    std::vector<PixelRectangle> damage;  // slices that failed, neighbours joined
    std::size_t omittedDamage = 0;       // rectangles that are too many to be shown
    SliceMap bytes;
    SliceMap index;
    std::vector<InspectedSlice> slices;
};

// Decodes the frame at the least size that is enough. `decoded` is memory to work in.
FramePictures picturesOf(std::span<const std::uint8_t> frame, DecodedFrame& decoded, OptimizationTarget target);
