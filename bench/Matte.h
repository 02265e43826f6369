#pragma once

#include <cstdint>
#include <vector>

// How the samples of an alpha plane vary, in parts of 65535.
struct Matte {
    const char* name;
    double grain;     // standard deviation everywhere; 0: all samples are opaque
    bool hasSoftEdge; // from nothing to opaque across every fifth slice
};

// The samples of a plane of 16 bits, always the same ones.
std::vector<std::uint16_t> mattePlane(Matte const& matte, std::uint32_t width, std::uint32_t height);
