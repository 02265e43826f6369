#pragma once

#include <cstdint>
#include <string>

// Frames per second as a fraction.
struct FrameRate {
    std::uint32_t numerator = 25;
    std::uint32_t denominator = 1;
};

// Of "25", "24000/1001" or "23.976". A decimal number that is meant for a multiple of 1000/1001 becomes that. Throws
// CommandError with ExitCode::Usage.
FrameRate parseFrameRate(std::string const& text);
