#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FrameMaker.h"

// A valid frame that the hostile cases damage, with the places that they damage it in.
struct HostileFrame {
    std::string name;
    FrameSpec spec;
    MadeFrame made;

    std::vector<std::uint8_t> const& bytes() const { return made.bytes; }
};

// Frames of every format, interlace mode, alpha type, slice size and texture, a few hundred bytes to a few thousand
// each. They are the same in every run.
std::vector<HostileFrame> const& hostileFrames();

// A field of a frame, by its place in the bytes.
struct FrameField {
    const char* name;
    std::size_t offset;     // bytes
    std::uint32_t bitShift; // of the lowest bit, in the big-endian number that starts at `offset`
    std::uint32_t numBits;
    std::uint32_t numBytes; // of that number

    std::uint64_t limit() const { return (std::uint64_t{1} << numBits) - 1; }
};

// The fields that say how large something is: in the frame header, in the first picture's header and slice table, and
// in the headers of its first and last slice.
std::vector<FrameField> sizeFields(HostileFrame const& frame);

// Field access. Bytes beyond the end are left out.
std::uint64_t fieldOf(std::vector<std::uint8_t> const& bytes, FrameField const& field);
void setField(std::vector<std::uint8_t>& bytes, FrameField const& field, std::uint64_t value);

// The fields of one slice header that say how many bytes its components have; the third exists with alpha only.
std::vector<FrameField> componentSizeFields(HostileFrame const& frame, std::size_t sliceIndex);

// The slice table's entry of a slice.
FrameField tableEntryField(HostileFrame const& frame, std::size_t sliceIndex);

// Offsets of all bytes of the outer words, frame header, picture headers, slice tables and slice headers.
std::vector<std::size_t> headerBytes(HostileFrame const& frame);
