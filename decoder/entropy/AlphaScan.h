#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"

// Decoding of the alpha planes of slices. AlphaVLCStream is the definition.

// Samples after those of a plane that scanAlphaPlanes may overwrite: runs are filled with whole vectors.
constexpr std::uint32_t kAlphaPadding = 16;

// The alpha plane of one slice: its range and where its samples go.
struct AlphaPlane {
    Bitstream range;                  // up to the end of the data
    std::uint16_t* samples = nullptr; // numSamples values, then kAlphaPadding
    std::uint32_t numSamples = 0;
    std::uint32_t codedBytes = 0; // bytes that the slice has for it: only the choice of the faster reader uses them
};

// A plane while it is read.
struct AlphaLane {
    const std::uint8_t* bytes = nullptr;
    std::int64_t bitPosition = 0;
    std::int64_t lastLoad = 0; // the last bit position where eight bytes of the range begin
    std::uint16_t* out = nullptr;
    std::uint16_t* end = nullptr;
    std::uint32_t value = 0;
    AlphaPlane const* plane = nullptr;
};

// Planes that are read in the 32-bit lanes of a 512-bit vector, by a unit that shares no code with others. It reads
// samples that are coded singly; where others follow, and at the end of a plane, it calls the functions.
struct AlphaLaneJob {
    AlphaPlane const* planes;
    unsigned int count;
    unsigned int alphaBits;

    // Begins a plane. Returns false when it has no room for a load's worth of single samples; it is complete then.
    bool (*open)(AlphaLane& lane, AlphaPlane const& plane);
    // Reads a pair of difference and run. Returns false when the plane is complete.
    bool (*readPair)(AlphaLane& lane);
    // Completes planes that have been begun and have room for a load's worth of single samples, and then others.
    void (*readRest)(AlphaLane const* begun, unsigned int numBegun, AlphaPlane const* planes, unsigned int count);
};

using AlphaLaneFunction = void(AlphaLaneJob const& job);

// Need what the scan of coefficients in lanes needs (LaneScan.h), and differ as its functions do.
AlphaLaneFunction scanAlphaInLanesScattering;
AlphaLaneFunction scanAlphaInLanesStoringSingly;

// Samples of one load: so many fit even where each has the longest code of a single sample.
constexpr int kAlphaSingles = 3;

// Decodes planes that have nothing to do with each other, several side by side, with `inLanes` where that is given and
// faster. `alphaBits` is 8 or 16. The padding holds anything afterwards.
template <OptimizationTarget target>
void scanAlphaPlanes(AlphaPlane const* planes, unsigned int count, unsigned int alphaBits,
                     AlphaLaneFunction* inLanes = nullptr);
