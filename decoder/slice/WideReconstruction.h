#pragma once

#include "OptimizationTarget.h"
#include "OutputLevels.h"
#include "SampleBand.h"
#include "SlicePlanes.h"
#include "VerticalReconstruction.h"

// The vertical reconstruction with sixteen blocks in a vector, with the arithmetic of the fused kernels.
//
// One unit is compiled for the instructions that this needs, AVX-512 F, BW, DQ and VL, and it shares no code with
// others.

// Chroma coefficients are widened into the upper halves of 32 bits, where they count 65536 times as much. Both the
// factor and its inverse are exact, so a product is rounded as that of the coefficient itself. Luma has no such unit.
constexpr float kWideChromaUnit = 1.0f / 65536.0f;

using WideSlice = VerticalSlice<OptimizationTarget::AVX2>;

// The macroblocks of a slice as writeVertically, writeVerticallyToPlanes and transformVertically have them. The plans
// of chroma are in kWideChromaUnit, and that of Cr is the one of Cb.
void writeWide(WideSlice const& slice, VerticalOutput const& output, OutputLevels const& levels);
void writeWideToPlanes(WideSlice const& slice, bool isDeep, SlicePlanes const& to, OutputLevels const& levels);
void transformWide(WideSlice const& slice, bool is444, SampleBand& band);
