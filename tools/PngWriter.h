#pragma once

#include <cstdint>
#include <vector>

#include "RgbImage.h"

// A PNG of 8 bits, or of 16 bits where the codes need them.
std::vector<std::uint8_t> pngOf(RgbImage const& image);
