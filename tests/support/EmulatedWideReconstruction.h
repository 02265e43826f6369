#pragma once

#include "WideReconstruction.h"

// The wide reconstruction, its own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2 and FMA.
void emulatedWriteWide(WideSlice const& slice, VerticalOutput const& output, OutputLevels const& levels);
void emulatedWriteWideToPlanes(WideSlice const& slice, bool isDeep, SlicePlanes const& to, OutputLevels const& levels);
void emulatedTransformWide(WideSlice const& slice, bool is444, SampleBand& band);
