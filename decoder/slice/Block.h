#pragma once

#include <cstdint>

// The two scan patterns. Each is indexed by the raster position 8 * row + column in a block; the entry is the scan
// index of that position. Scan indices 0 to 3 fill the top left 2x2 corner and 0 to 15 the top left 4x4 corner, so a
// reduced decode needs only the first scan indices.
extern const std::uint32_t progressiveScanPattern[64];
extern const std::uint32_t interlacedScanPattern[64]; // the transpose of progressiveScanPattern
