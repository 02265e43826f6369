#pragma once

#include <cstdint>
#include <vector>

#include "FrameAssembler.h"
#include "FrameEncoder.h"
#include "FrameShape.h"

// Frames from quantised coefficients, for those who must know what a decoder's scan has to return.

// What one slice holds. Components are blocks of 64 coefficients, each block in scan order, any 16-bit values.
struct CoefficientSlice {
    std::uint32_t quantization_index = 4; // 0 to 255
    std::vector<std::int16_t> y;
    std::vector<std::int16_t> cb;
    std::vector<std::int16_t> cr;
    std::vector<std::uint16_t> alpha; // row by row, each sliceMbs * 16 wide; below 1 << alphaBits
};

struct CoefficientFrame {
    std::uint32_t width = 16;  // pixels
    std::uint32_t height = 16; // lines
    ChromaFormat chromaFormat = ChromaFormat::C422;
    std::uint32_t alphaBits = 0; // 0, 8 or 16
    // Of these, interlace_mode, log2_slice_size_in_mb, the matrices, the header sizes, the colour fields and the two
    // alpha codings are used; the slices have their own indices.
    EncoderSettings settings;
    std::vector<CoefficientSlice> slices; // one for each of shape().slices()

    FrameShape shape() const;
    // Makes all slices of the frame with zero coefficients, each of the size that its shape has.
    void makeEmptySlices();
};

// All throw std::invalid_argument for what a frame cannot carry, including slices whose arrays do not have the sizes
// that their shape gives. The fields can be altered before they are assembled.
FrameFields coefficientFrameFields(CoefficientFrame const& frame);
std::vector<std::uint8_t> assembleCoefficientFrame(CoefficientFrame const& frame);
