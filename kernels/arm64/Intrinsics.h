#pragma once

// The intrinsics of x86 for 128 bits, up to SSSE3, made of NEON instructions: the code of Baseline and of variant y8 is
// written with these on every processor.
//
// Conversions take the short way, which differs for NaN, for values beyond 32 bits and for ties. Every conversion here
// is of a value that is limited first, and rounds as the processor does.
#define SIMDE_ENABLE_NATIVE_ALIASES
#define SIMDE_FAST_CONVERSION_RANGE
#define SIMDE_FAST_NANS
#define SIMDE_FAST_ROUND_TIES

#include <simde/x86/ssse3.h>
