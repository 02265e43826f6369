#pragma once

#include <cstdint>
#include <string>

// The most pixels of a frame or picture that commands accept unless told otherwise.
inline constexpr std::uint64_t kDefaultMaxPixels = std::uint64_t{1} << 28;

// Throws CommandError when the input `name` has no pixels, or with ExitCode::Limit when it has more than `maxPixels`; 0
// lifts the limit.
void checkNumPixels(std::string const& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);
