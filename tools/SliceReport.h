#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "DecodedFrame.h"
#include "FrameParts.h"
#include "RgbImage.h"

// A slice as described by the frame's tables, and the result of its decode.
struct InspectedSlice {
    std::uint32_t picture = 0; // 0 for the first coded picture, 1 for the second
    CodedSlice header;
    const char* failed = nullptr; // the component that failed first
};

// All slices of a frame that `decoded` was made from, in the order of the frame.
std::vector<InspectedSlice> inspectSlices(std::span<const std::uint8_t> frame, DecodedFrame const& decoded);

// One property of all slices.
struct SliceStatistics {
    std::uint64_t total = 0;
    std::uint32_t least = 0;
    double median = 0;
    std::uint32_t largest = 0;
};

// The properties of slices in tables, reports and totals, with their names.
struct SliceProperty {
    const char* name;
    std::uint32_t CodedSlice::*value;
};
std::vector<SliceProperty> const& sliceProperties();

SliceStatistics statisticsOf(std::vector<InspectedSlice> const& slices, std::uint32_t CodedSlice::*value);

// What the colours of a picture of slices show.
enum class SliceColors { Bytes, Index };

// The value that they show for a slice: bytes per macroblock, or quantization_index.
double sliceValue(CodedSlice const& slice, SliceColors colors);

// The colour from that of the least value, at 0, to that of the largest, at 1.
std::array<std::uint8_t, 3> sliceColor(double place);

struct SlicePicture {
    RgbImage image;
    double least = 0;   // of what is shown, at the blue end
    double largest = 0; // at the red end
};

// The decoded frame at full size, in 8 bits, with the brightness of the frame and a colour that shows the bytes per
// macroblock of each slice, or its quantization_index: from blue for the least through green and yellow to red. Slices
// that failed are magenta.
SlicePicture pictureOfSlices(std::vector<InspectedSlice> const& slices, DecodedFrame const& decoded,
                             SliceColors colors);
