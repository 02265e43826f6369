#pragma once

#include <cstdint>

#include "AlphaScan.h"
#include "CoeffVLCStream.h"
#include "CoefficientScan.h"

// The scan in lanes: components side by side, one for each 32-bit lane of a 512-bit vector.
//
// One unit is compiled for the instructions that this needs, and it shares no code with others. So what it is given is
// plain: records, and pointers to functions for what it leaves to the definition of the scan.

// The longest range and the largest distance in coefficients from the first component's memory: positions of bits and
// of coefficients are signed 32-bit numbers.
constexpr std::uint64_t kMaxLaneRangeBytes = std::uint64_t{1} << 26;
constexpr std::int64_t kMaxLaneDistance = std::int64_t{1} << 29;

// The lanes load whole words, which reach up to this many bytes past a range. What they find there reaches no result.
constexpr std::uint64_t kLaneOverread = 8;

// The components of one call.
constexpr unsigned int kMaxLaneScans = 96;

struct LaneScanJob {
    ComponentScan* const* scans; // the longest range first, so that the lanes end together; each gets its result
    unsigned int count;          // at most kMaxLaneScans

    // The definition: a whole component, and its pairs from a state on, the next of which begins at `position`.
    bool (*scanPlainly)(ComponentScan const& scan);
    bool (*scanPairsPlainly)(ComponentScan const& scan, CoeffVLCState const& state, std::uint32_t position);
};

// Need AVX-512 F, BW, CD, DQ, VL, VBMI, VBMI2 and VNNI. They differ in how a vector of coefficients is stored: by one
// instruction, which some processors take long for, or one by one.
LaneScanFunction scanInLanesScattering;
LaneScanFunction scanInLanesStoringSingly;

// Readers that store in the same way.
struct LaneFunctions {
    LaneScanFunction* scan;
    AlphaLaneFunction* scanAlpha;
};
