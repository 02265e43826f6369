#pragma once

#include <array>
#include <cstdint>

// The scan index of each raster position of a block. Frames of fields scan the transposed way, since their lines lie
// further apart and high vertical frequencies are more frequent in them.
std::array<std::uint8_t, 64> const& scanIndexOfRaster(bool isInterlaced);
