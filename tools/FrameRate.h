#pragma once

#include <cstdint>
#include <string>

// Frames per second as a fraction.
struct FrameRate {
    std::uint32_t numerator = 25;
    std::uint32_t denominator = 1;
};

// Parses "25", "24000/1001" or "23.976". A decimal number close to a multiple of 1000/1001 becomes that multiple.
// Throws CommandError with ExitCode::Usage.
FrameRate parseFrameRate(std::string const& text);
