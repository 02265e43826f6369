#pragma once

#include <cstdint>
#include <functional>

#include "SourcePicture.h"
#include "ravelo_encode.h"

// The form that the encoder gets for a picture.
struct SourceChoice {
    ChromaFormat chromaFormat = ChromaFormat::C422;
    std::uint32_t alphaBits = 0; // 0, 8 or 16; a picture without alpha gets an opaque plane
    std::uint32_t matrix_coefficients = 1;
    std::function<void()> beforeLine = [] {}; // before each line that is read or converted; may throw
};

// The planes of a picture for the encoder. RGB becomes YCbCr in video range with 16 bits; YCbCr keeps its codes. Throws
// HostError for a picture that cannot be read.
SourcePicture sourceOf(ravelo_source_picture const& picture, SourceChoice const& choice);
