#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Random.h"

// Makes frames from coefficients, field by field: every header field and every ignored bit can be set, and nothing is
// checked. It has no pictures and no quality, so that a test says exactly what a decoder gets.

// Bits into bytes, most significant bit first.
class BitWriter {
public:
    void put(std::uint64_t value, std::uint32_t numBits); // numBits in [0, 64]
    void putZeros(std::uint64_t numBits);
    std::uint64_t numBits() const { return m_numBits; }
    // The bytes so far, the last one filled up with zeros.
    std::vector<std::uint8_t> const& bytes() const { return m_bytes; }

private:
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_numBits = 0;
};

// What one slice holds. Components are blocks of 64 coefficients in scan order.
struct SliceContent {
    std::uint8_t quantization_index = 4;
    std::vector<std::int16_t> y;
    std::vector<std::int16_t> cb;
    std::vector<std::int16_t> cr;
    std::vector<std::uint16_t> alpha;
    std::uint32_t numTailBytes = 0; // zero bytes after each component, at most 7
};

struct SlicePlace {
    std::uint32_t pictureIndex = 0;
    std::uint32_t mbRow = 0;
    std::uint32_t sliceColumn = 0;
    std::uint32_t sliceMbs = 0;
};

struct FrameSpec {
    std::uint32_t horizontal_size = 16;
    std::uint32_t vertical_size = 16;
    std::uint32_t chroma_format = 2;
    std::uint32_t interlace_mode = 0;
    std::uint32_t alpha_channel_type = 0;
    std::uint32_t matrix_coefficients = 1;
    std::optional<std::array<std::uint8_t, 64>> lumaMatrix;
    std::optional<std::array<std::uint8_t, 64>> chromaMatrix;
    std::uint32_t log2_slice_size_in_mb = 3;
    std::uint32_t extraHeaderBytes = 0;      // after the fields and matrices
    std::uint32_t picture_header_size = 8;   // 8 to 31
    std::uint32_t extraSliceHeaderBytes = 0; // after the fields
    std::uint32_t extraPictureBytes = 0;     // between the end of the first picture's slices and the second picture
    std::uint8_t junk = 0;                   // fills every ignored bit and byte, and the extra bytes
    bool longAlphaRuns = false;              // the eleven-bit form for every run of 2 and more
    bool modularAlphaDifferences = false;    // the long form for every alpha difference

    std::string describe() const;
    std::uint32_t lumaBlocks(SlicePlace const& place) const { return 4 * place.sliceMbs; }
    std::uint32_t chromaBlocks(SlicePlace const& place) const { return (chroma_format == 3 ? 4 : 2) * place.sliceMbs; }
    std::uint32_t alphaSamples(SlicePlace const& place) const; // 0 without alpha
    std::uint32_t pictureHeight(std::uint32_t pictureIndex) const;
    std::uint32_t numPictures() const { return interlace_mode == 1 || interlace_mode == 2 ? 2 : 1; }
};

// Fills the content of one slice; its vectors have the right sizes already and hold zeros.
using SliceMaker = std::function<void(SlicePlace const&, SliceContent&)>;

// The bytes of a frame, and where its parts begin: tests that damage a frame want to say where.
struct MadeFrame {
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> pictureOffsets;
    std::vector<std::size_t> sliceTableOffsets; // one for each picture
    std::vector<std::size_t> sliceOffsets;      // in stream order, over all pictures
    std::vector<SliceContent> slices;           // what was written, in the same order
};

MadeFrame makeFrame(FrameSpec const& spec, SliceMaker const& makeSlice);

// The code of one component, ready for its range.
std::vector<std::uint8_t> encodedComponent(std::vector<std::int16_t> const& coefficients);
std::vector<std::uint8_t> encodedAlpha(std::vector<std::uint16_t> const& samples, std::uint32_t alphaBits,
                                       bool longRuns, bool modularDifferences);

// Stores the lowest 16 bits of a value, the higher byte first.
void put16At(std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t value);

// How the coefficients of a random slice look.
enum class Texture {
    Flat,    // DCs only
    Photo,   // DCs within the legal range and a few small coefficients after them
    Dense,   // every coefficient non-zero and small
    Sparse,  // long runs and large levels
    Extreme, // any 16-bit values
};

FrameSpec randomSpec(Random& random);
// A slice maker that draws from `random`, which must outlive it.
SliceMaker randomSlices(FrameSpec const& spec, Texture texture, Random& random);
MadeFrame randomFrame(FrameSpec const& spec, Random& random);
