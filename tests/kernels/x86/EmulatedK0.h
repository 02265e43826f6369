#pragma once

#include "KernelVariants.h"

// The AVX-512 variant of the kernels, its own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2 and
// FMA.
extern "C" {
RAVELO_DECLARE_KERNELS(emulated_k0)
}
