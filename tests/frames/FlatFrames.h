#pragma once

#include <cstdint>
#include <functional>

#include "DecodeCheck.h"
#include "FrameMaker.h"

// Frames whose every 8x8 block has one sample value, so that a test can say what each pixel must be.

// The sample value of a block, in steps of 1/2 of an 8-bit code from -256. `component` is 0 for Y, 1 for Cb, 2 for Cr;
// `block` counts the component's blocks from the start of the slice, in stream order.
using BlockSample = std::function<int(SlicePlace const& place, int component, std::uint32_t block)>;

// With the default matrix and index 16, a DC is its block's sample value.
SliceMaker flatSlices(BlockSample sample);
SliceMaker flatSlices(int y, int cb, int cr);
MadeFrame flatFrame(FrameSpec const& spec, int y, int cb, int cr);

// The same, with an alpha plane of one value.
MadeFrame flatFrameWithAlpha(FrameSpec const& spec, int y, int cb, int cr, std::uint16_t alpha);

// A spec of this geometry; everything else is as usual.
FrameSpec sizedSpec(std::uint32_t chroma_format, std::uint32_t width, std::uint32_t height,
                    std::uint32_t alpha_channel_type = 0);

// The code of a sample at 8 bits.
int code8(int sample);

DecodeRequest requestFor(std::vector<std::uint8_t> const& frame, std::uint32_t downSampleFactor = 0,
                         std::uint32_t bitDepth = 8, std::uint32_t colorCoding = 0,
                         OptimizationTarget target = OptimizationTarget::Baseline);

// Sample `index` of a line: for 4:2:2, two per pixel (Cb Y Cr Y); for 4:4:4, four (A Y Cb Cr or A R G B).
int sampleAt(OutputBuffer const& output, DecodeRequest const& request, std::int64_t line, std::int64_t index);
bool isUntouched(OutputBuffer const& output, DecodeRequest const& request, std::int64_t line, std::int64_t index);
// True when nothing at all was written.
bool isUntouched(OutputBuffer const& output);
