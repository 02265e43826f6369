#pragma once

#include <cstdint>

#include "LaneScan.h"

// How the groups of slices of a picture are made.
struct SliceGroupForm {
    std::uint32_t maxSlices = 1;
    std::uint32_t elementsPerSlice = 0;   // room for the coefficients of a slice of any size, with their padding
    LaneFunctions const* lanes = nullptr; // null where they are not used
};
