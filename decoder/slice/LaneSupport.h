#pragma once

#include <cstdint>

#include "LaneScan.h"
#include "ProcessorFeatures.h"

// Whether and how the scan in lanes runs.

// Whether a processor that runs OptimizationTarget::AVX2 has AVX-512 F, BW, CD, DQ, VL, VBMI, VBMI2 and VNNI, and the
// system saves the registers they use. The maker does not matter.
bool canRunLanes(CpuidSnapshot const& processor);

// The readers for a kernel variant, or null where lanes are not used. They go with the variant for AVX-512, so
// that a host which forces another one gets no AVX-512 at all.
LaneFunctions const* laneFunctionsFor(std::int32_t kernelVariant, CpuidSnapshot const& processor);

// The same for this processor and the variant that is selected now. A picture asks once, so that all of its slices are
// read in one way.
LaneFunctions const* laneFunctionsOfPicture();
