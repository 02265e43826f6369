#pragma once

#include <cstdint>

#include "InputPicture.h"
#include "SourcePicture.h"

// The format that the encoder gets for a picture.
struct SourceForm {
    ChromaFormat chromaFormat = ChromaFormat::C422;
    std::uint32_t alphaBits = 0;           // 0, 8 or 16; a picture without alpha gets an opaque plane
    std::uint32_t matrix_coefficients = 1; // for RGB pictures
};

// RGB becomes Y'CbCr in studio range with 16 bits; Y'CbCr keeps its codes, unless they use the full range.
SourcePicture sourcePictureOf(InputPicture const& picture, SourceForm const& form);
