#pragma once

#include <cstdint>
#include <vector>

#include "SourcePicture.h"

// A picture in the peer's format, JPEG with standard tables.
struct PeerPicture {
    std::vector<std::uint8_t> bytes;
    int quality = 0;         // 1 to 100
    double bitsPerPixel = 0; // 8 * bytes / (width * height)
};

// Encodes a picture at the quality whose rate is nearest to `bitsPerPixel`, or at the best quality when that stays
// below it. The planes are cut to 8 bits; their values are kept otherwise, so both formats code the same numbers.
PeerPicture peerPicture(SourcePicture const& picture, double bitsPerPixel);
