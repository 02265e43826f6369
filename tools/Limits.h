#pragma once

#include <cstdint>
#include <string>

// The default of --max-pixels for frames and pictures.
inline constexpr std::uint64_t kDefaultMaxPixels = std::uint64_t{1} << 28;

// Throws CommandError if the input `name` has no pixels, or with ExitCode::Limit if it has more than `maxPixels`; 0
// means no limit.
void checkNumPixels(std::string const& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);
