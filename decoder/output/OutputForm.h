#pragma once

#include <cstdint>
#include <optional>

#include "OutputLevels.h"
#include "PixelBuffer.h"

// An address `numBytes` further on. Unsigned arithmetic, since a stride may be negative.
static inline std::uint8_t* movedBy(std::uint8_t* pixels, std::int64_t numBytes) {
    return reinterpret_cast<std::uint8_t*>(reinterpret_cast<std::uintptr_t>(pixels) +
                                           static_cast<std::uintptr_t>(numBytes));
}

// The address `lines` lines further on.
static inline std::uint8_t* lineBelow(std::uint8_t* pixels, unsigned int lines, std::int64_t lineStride) {
    return movedBy(pixels, static_cast<std::int64_t>(lines * static_cast<std::uint64_t>(lineStride)));
}

// The pixels across a macroblock of the output: 16, 8, 4 or 2, and 0 beyond eighth size, where nothing is written.
constexpr std::uint32_t mbSizeAt(std::uint32_t downSampleFactor) {
    return downSampleFactor <= 3 ? 16u >> downSampleFactor : 0;
}

// The pixels across a macroblock that are written. Samples of more than 8 bits are always written at full size, even
// into the place of a reduced macroblock.
constexpr std::uint32_t writtenMbSize(std::uint32_t downSampleFactor, std::uint32_t bitDepth) {
    return mbSizeAt(bitDepth > 8 && downSampleFactor <= 3 ? 0 : downSampleFactor);
}

// The part of each 8x8 block of coefficients that the output depends on.
enum class BlockPart {
    Whole,     // full size, and every depth of more than 8 bits
    Corner4x4, // half size
    Corner2x2, // quarter size
    Dc,        // eighth size
    None,      // beyond eighth size
};

// What the vector forms stream: whole lines of a core's caches.
constexpr std::uint64_t kCacheLineBytes = 64;

// Forces the bytes from which on coded pictures of 16-bit samples are written past the caches, or leaves it to the
// processor again: for comparisons, since the output is the same. Returns what was forced before.
std::optional<std::uint64_t> forceLeastStreamedBytes(std::optional<std::uint64_t> numBytes);

// That of other forms than coded pixels, on all processors: half floats of 1080p cost less past the caches
// (compare_peer --only forms).
constexpr std::uint64_t kLeastStreamedFormBytes = std::uint64_t{4} << 20;

// What is the same for all slices of a picture: its output form, computed once for each picture.
struct OutputForm {
    // `buffer` describes a picture or a slice of it. Throws as outputLevels() does.
    explicit OutputForm(PixelBuffer const& buffer);

    std::uint32_t mbSize; // pixels from one macroblock to the next
    std::uint32_t bytesPerSample;
    std::uint32_t bytesPerPixel;
    bool is444;
    std::uint32_t chromaBlocksPerMb; // of each chroma component: 4 in 4:4:4, otherwise 2
    BlockPart blockPart;
    std::uint32_t keptCoefficients; // of a block, from the first in scan order: 64, 16, 4 or 1
    bool streams;                   // whole lines of 16-bit samples go past the caches
    OutputLevels levels;
};
