#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"

// Decoding of the alpha planes of slices. AlphaVLCStream is the definition.

// Samples after those of a plane that scanAlphaPlanes may overwrite: runs are filled with whole vectors.
constexpr std::uint32_t kAlphaPadding = 16;

// The alpha plane of one slice: its range and where its samples go.
struct AlphaPlane {
    Bitstream range;
    std::uint16_t* samples = nullptr; // numSamples values, then kAlphaPadding
    std::uint32_t numSamples = 0;
};

// Decodes planes that have nothing to do with each other, several side by side. `alphaBits` is 8 or 16. The padding
// holds anything afterwards.
template <OptimizationTarget target>
void scanAlphaPlanes(AlphaPlane const* planes, unsigned int count, unsigned int alphaBits);
