#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "SourcePicture.h"

// An RGB picture of three floats per pixel, 0 to 255, red first.
struct Photograph {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<float> samples;
};

// Reads a JPEG file. Throws std::runtime_error, with the file's name in the text, when it is none.
Photograph readPhotograph(std::filesystem::path const& file);

// The middle of a photograph in the proportions of `width` to `height`, scaled to that size. Each pixel is the mean of
// the area that it covers, so detail stays as it is in the photograph; the photograph must not be smaller.
Photograph scaledDown(Photograph const& photograph, std::uint32_t width, std::uint32_t height);

// Twice the width and height: the photograph and its mirror images to the right and below.
Photograph mirrored(Photograph const& photograph);

// The picture in 10 bits, ITU-R BT.709, video range. Chroma of C422 is the mean of two pixels.
SourcePicture videoPicture(Photograph const& photograph, ChromaFormat chromaFormat);
