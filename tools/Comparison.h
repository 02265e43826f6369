#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FrameFile.h"
#include "FrameHeader.h"
#include "FrameQueue.h"
#include "OptimizationTarget.h"
#include "PictureReader.h"

// Both sides are compared with this many bits.
inline constexpr std::uint32_t kComparedBits = 16;

// What is compared.
enum class ComparedForm {
    Components, // Y'CbCr in studio range; a picture gets the chroma format of the frame
    Rgb,        // R'G'B' in full range, as a frame is shown
};

// One side of the comparison, as read from its file.
struct Side {
    std::string name;
    std::vector<std::uint8_t> frame;     // empty for a picture
    std::optional<InputPicture> picture; // absent for a frame
    FrameHeader header;                  // of a frame
    std::string note;                    // of a frame that is not just whole
    std::size_t failedSlices = 0;        // of a frame that is decoded

    std::uint32_t width() const { return picture ? picture->width : header.horizontal_size; }
    std::uint32_t height() const { return picture ? picture->height : header.vertical_size; }
    bool hasAlpha() const { return picture ? picture->hasAlpha() : header.hasAlphaOutput(); }
    bool is444() const {
        return picture ? picture->model != ColorModel::YCbCr || picture->chroma == ChromaLayout::C444 : header.is444();
    }
    double bitsPerPixel() const; // of a frame
};

Side pictureSide(std::string const& name, PictureReader& reader);
Side frameSide(std::string const& name, FrameInMemory frame);

// Reads a file, "-" for standard input. Throws CommandError where it is neither a frame nor a picture.
Side loadSide(std::string const& path, FrameLimits const& limits);

// The difference of two planes. Differences of several planes can be added.
struct Difference {
    double sumOfSquares = 0;
    std::uint64_t numSamples = 0;
    std::uint32_t largest = 0; // codes of 16 bits

    double psnr() const; // infinite for equal planes
    double largestIn8Bits() const { return largest / 256.0; }
    void add(Difference const& other);
};

struct Comparison {
    std::vector<std::pair<std::string, Difference>> planes;
    Difference all;

    void add(Comparison const& other);
};

// The comparison of two files, of which the planes are no longer in memory.
struct ComparedPair {
    Side first;
    Side second;
    Comparison comparison;

    bool isDamaged() const { return first.failedSlices + second.failedSlices != 0; }
};

// Decodes frames and compares the planes. What is notable about a file is printed as a warning. Throws CommandError
// where the sizes differ; of components where the chroma formats of two frames do, and of RGB where a picture is
// Y'CbCr.
ComparedPair comparePair(Side first, Side second, ComparedForm form, OptimizationTarget target);
