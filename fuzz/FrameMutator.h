#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A mutator that knows how a frame is put together. A blind one mostly breaks the sizes in the headers, and what lies
// below them is never reached. This one damages a frame below its headers and keeps the rest consistent: when the bytes
// of a component change in number, the sizes in the slice header, in the slice table and in the picture header follow.
//
// A harness whose input holds a frame says where the frame begins; the bytes before it are options.
extern const std::size_t kFrameOffset;

// Where the slices of a frame lie, as its headers say. Frames whose headers contradict each other have fewer slices.
struct FrameMap {
    struct Slice {
        std::size_t pictureOffset;
        std::size_t tableEntryOffset;
        std::size_t offset;
        std::size_t numBytes;
        std::size_t headerBytes;
        bool hasCrSize;
    };
    // A component of a slice: its size field and its bytes, or no field for the bytes after the last component with a
    // size field.
    struct Component {
        std::size_t sizeField; // 0 for none
        std::size_t begin;
        std::size_t end;
    };
    std::vector<Slice> slices;
};

FrameMap mapOf(std::vector<std::uint8_t> const& frame);
std::vector<FrameMap::Component> componentsOf(std::vector<std::uint8_t> const& frame, FrameMap::Slice const& slice);

// Replaces `count` bytes at `offset` within a slice, after its header, and corrects all sizes. Does nothing if a size
// would not fit its field.
void replaceInSlice(std::vector<std::uint8_t>& frame, FrameMap::Slice const& slice, std::size_t offset,
                    std::size_t count, std::vector<std::uint8_t> const& bytes);
