#pragma once

#include <cstdint>

#include "FormedPicture.h"
#include "SampleBand.h"
#include "SampleLine.h"

// Lines of samples to pixels, sixteen in a vector: what RgbLines does, with the same results.
//
// One unit is compiled for the instructions that this needs, AVX-512 F, BW, DQ and VL, and it shares no code with
// others.

constexpr std::uint32_t kWidePixels = 16;

// A part of the lines of a slice, and where it goes.
struct WideRgbPart {
    SampleLine firstLine; // those after it follow in SamplePlane::kPitch
    std::uint32_t numLines;
    std::uint32_t first; // pixels from the slice's first to the part's first and its end, multiples of kWidePixels
    std::uint32_t end;
    std::uint8_t* out; // the place of the first pixel of the first line
    std::int64_t lineStride;
};

// Writes the pixels in the form of the picture, RGBA or BGRA of either depth or halves. The latter are converted by
// instruction.
void writeWideRgb(FormedPicture const& picture, WideRgbPart const& part);
