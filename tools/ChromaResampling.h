#pragma once

#include <cstdint>
#include <vector>

// Changes of the chroma layout. The planes of the result are sited as in a frame: a chroma sample belongs to an even
// column, and 4:2:2 has one in every line.

// One plane of 4:2:0, of `width` columns, with all lines of a picture of `height` lines, linear between the two
// nearest. The lines of an interlaced picture are made from those of the same field only.
std::vector<std::uint16_t> allLines(std::vector<std::uint16_t> const& plane, std::uint32_t width, std::uint32_t height,
                                    bool interlaced);

// One plane of `width` columns between the columns of luma, moved to the even ones.
std::vector<std::uint16_t> coSitedColumns(std::vector<std::uint16_t> const& plane, std::uint32_t width);
