#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "InputFile.h"
#include "Limits.h"

// The most bytes of a frame. What a file holds beyond them is not read.
inline constexpr std::uint64_t kMaxFrameBytes = std::uint64_t{1} << 32;

// Bytes after the declared end of a frame that are read all the same. The sizes in the header of a slice may contradict
// the table of slices, and then the slice reads on after the end; it stops long before it has read this much.
inline constexpr std::uint64_t kBytesAfterFrame = std::uint64_t{1} << 20;

// The frame at the start of the file. Its header is read first and checked by checkFrame; then as many bytes as the
// frame declares and kBytesAfterFrame more, so that a file without end does no harm.
std::vector<std::uint8_t> readFrame(InputFile& file, std::uint64_t maxPixels);
std::vector<std::uint8_t> readFrame(std::string const& path, std::uint64_t maxPixels);
