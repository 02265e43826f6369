#pragma once

#include <cstdint>
#include <optional>

#include "OptimizationTarget.h"

// How blocks of full size are reconstructed.
enum class ReconstructionForm : std::uint8_t {
    Plain,    // block by block, through the kernels' entries and the writers' calls
    Vertical, // many blocks side by side (VerticalReconstruction.h)
    Wide,     // the same with the widest vectors of the processor (WideReconstruction.h)
};

// The form for a target while the kernels' variant is the one with this index. The vertical form has the arithmetic of
// one variant for each target, the wide one that of the variant for AVX-512; other combinations take the plain form.
ReconstructionForm reconstructionFormFor(OptimizationTarget target, std::int32_t kernelIndex);

// The same for the present index. It is read once for each picture, so that a picture has one form throughout.
ReconstructionForm currentReconstructionForm(OptimizationTarget target);

// Forces a form for whatever is decoded from now on, or lifts that again: for comparisons, since the forms give the
// same output. It is used wherever the target and the variant have the arithmetic for it; the processor must have its
// instructions. Returns what was forced before.
std::optional<ReconstructionForm> forceReconstruction(std::optional<ReconstructionForm> form);
