#pragma once

#include <array>
#include <cstdint>
#include <string>

// A quantisation matrix: 64 weights in raster order.
using WeightMatrix = std::array<std::uint8_t, 64>;

// The matrix in a text file: 64 numbers from 1 to 255 with blanks, line ends or commas between them, as `ravelo info`
// prints them. Throws CommandError for anything else.
WeightMatrix readWeights(std::string const& path);
