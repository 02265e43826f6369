#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ColorFields.h"

enum class ColorModel { Gray, Rgb, YCbCr };

enum class ChromaLayout {
    C420Centred, // chroma between two columns and two lines, as in JPEG
    C420CoSited, // chroma on the even columns and between two lines, as in MPEG-2
    C422,        // chroma on the even columns
    C444,
};

enum class FieldOrder { Unknown, Progressive, TopFirst, BottomFirst };

// The maximum width and height of a frame.
inline constexpr std::uint32_t kMaxSide = 65535;

// A picture as read from a file: one plane for each component, rows from the top, without padding.
struct InputPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ColorModel model = ColorModel::Rgb;
    ChromaLayout chroma = ChromaLayout::C444; // YCbCr only; Gray and Rgb planes all have the picture's size
    FieldOrder fieldOrder = FieldOrder::Unknown;
    bool fullRange = true;                // false: studio range, black at 16/256 of the codes and white at 235/256
    std::uint32_t maxValue = 0;           // the largest code of the planes, 1 to 65535
    std::vector<std::uint16_t> planes[3]; // R G B or Y Cb Cr; Gray fills the first only
    std::uint32_t alphaMaxValue = 0;      // 0 means no alpha plane
    std::vector<std::uint16_t> alpha;

    ColorFields color; // as far as the file says it

    bool hasAlpha() const { return alphaMaxValue != 0; }
    std::uint64_t numPixels() const { return std::uint64_t{width} * height; }
    std::uint32_t chromaWidth() const { return chroma == ChromaLayout::C444 ? width : (width + 1) / 2; }
    std::uint32_t chromaHeight() const {
        return chroma == ChromaLayout::C444 || chroma == ChromaLayout::C422 ? height : (height + 1) / 2;
    }
};

// Throws CommandError if a picture of this size is empty, too large for a frame, or larger than `maxPixels`; 0 means
// no limit. Readers call it before they reserve memory.
void checkPictureSize(std::string const& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);
