#pragma once

#include <cstdint>
#include <vector>

#include "SourcePicture.h"

// The lines of a frame that one picture of it takes.
struct PictureLines {
    std::uint32_t height = 0;    // lines of the picture
    std::uint32_t firstLine = 0; // its first line within the frame
    std::uint32_t lineStep = 1;  // from one of its lines to the next
};

// Where one slice lies and how much it holds.
struct SliceShape {
    std::uint32_t pictureIndex = 0;
    std::uint32_t mbRow = 0;
    std::uint32_t sliceColumn = 0;
    std::uint32_t firstMb = 0;      // macroblocks of the row before this slice
    std::uint32_t sliceMbs = 0;     // 1, 2, 4 or 8
    std::uint32_t lumaBlocks = 0;   // 8 by 8 blocks
    std::uint32_t chromaBlocks = 0; // of Cb, and of Cr
    std::uint32_t alphaSamples = 0; // 0 without alpha; in the last macroblock row only its real lines count
};

// What decides how a frame divides into pictures and slices.
struct FrameShape {
    std::uint32_t horizontal_size = 0;
    std::uint32_t vertical_size = 0; // lines of the frame, both fields together
    ChromaFormat chromaFormat = ChromaFormat::C422;
    std::uint32_t interlace_mode = 0;
    std::uint32_t log2_slice_size_in_mb = 3;
    std::uint32_t alphaBits = 0; // 0, 8 or 16

    std::uint32_t numPictures() const { return interlace_mode == 1 || interlace_mode == 2 ? 2 : 1; }
    PictureLines pictureLines(std::uint32_t pictureIndex) const;
    std::uint32_t widthInMb() const { return (horizontal_size + 15) / 16; }
    std::uint32_t heightInMb(std::uint32_t pictureIndex) const { return (pictureLines(pictureIndex).height + 15) / 16; }

    // The macroblock counts of the slices of a row: as many full slices as fit, then one for each smaller power of two
    // that is left.
    std::vector<std::uint32_t> sliceSizesInMb() const;

    // All slices in stream order: row by row, the second picture after the first.
    std::vector<SliceShape> slices() const;

    std::uint32_t chromaBlocksPerMb() const { return chromaFormat == ChromaFormat::C444 ? 4 : 2; }
    std::uint32_t alpha_channel_type() const { return alphaBits == 0 ? 0 : alphaBits == 8 ? 1 : 2; }
};
