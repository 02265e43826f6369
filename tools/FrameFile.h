#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "InputFile.h"
#include "Limits.h"
#include "ravelo.h"

// The limits above which a frame is refused; 0 means no limit.
struct FrameLimits {
    std::uint64_t maxPixels = kDefaultMaxPixels;
    std::uint32_t maxReadFactor = RAVELO_DEFAULT_MAX_READ_FACTOR; // bytes that the slices read over bytes of the frame
};

// The maximum size of a frame. The rest of a larger file is not read.
inline constexpr std::uint64_t kMaxFrameBytes = std::uint64_t{1} << 32;

// Bytes that are read after the declared end of a frame. The sizes in the header of a slice may contradict the table of
// slices, and then the slice reads beyond the end, but never this far.
inline constexpr std::uint64_t kBytesAfterFrame = std::uint64_t{1} << 20;

// What the structure of a frame shows.
struct FrameStructure {
    ravelo_frame_check check{};
    std::string note; // for the user: cut off, broken or followed by something; empty for a whole frame

    bool isCutOff() const { return check.verdict == RAVELO_FRAME_CUT_OFF; }
};

// The frame at the start of the file, checked by checkFrame and checkReads. Its header is read and checked first; then
// as many bytes as the frame declares and kBytesAfterFrame more, so that an endless file does no harm. `structure`
// receives what can be said of the frame as a whole, unless it is null.
std::vector<std::uint8_t> readFrame(InputFile& file, FrameLimits const& limits, FrameStructure* structure = nullptr);
std::vector<std::uint8_t> readFrame(std::string const& path, FrameLimits const& limits,
                                    FrameStructure* structure = nullptr);
