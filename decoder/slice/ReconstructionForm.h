#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// How blocks of full size are reconstructed.
enum class ReconstructionForm : std::uint8_t {
    Plain,    // block by block, through the kernels' entries and the writers' calls
    Vertical, // many blocks side by side (VerticalReconstruction.h)
};

// The form for a target while the kernels' variant is the one with this index. The vertical form has the arithmetic of
// one variant for each target; other combinations take the plain form.
ReconstructionForm reconstructionFormFor(OptimizationTarget target, std::int32_t kernelIndex);

// The same for the present index. It is read once for each picture, so that a picture has one form throughout.
ReconstructionForm currentReconstructionForm(OptimizationTarget target);

// Forces the plain form for whatever is decoded from now on, or lifts that again: for comparisons, since the forms give
// the same output.
void forcePlainReconstruction(bool isForced);
