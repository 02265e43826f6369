#pragma once

// The intrinsics of x86 for 128 bits, up to SSSE3, made of NEON instructions: the code of Baseline and of variant y8 is
// written with these on every processor.
//
// Conversions take the short way, which differs for NaN, for values beyond 32 bits, and in other rounding modes than
// the usual one. Every conversion here cuts towards zero, and its value is limited from above first or its result is
// not used; what is too small becomes the least number on both.
#define SIMDE_ENABLE_NATIVE_ALIASES
#define SIMDE_FAST_CONVERSION_RANGE
#define SIMDE_FAST_NANS
#define SIMDE_FAST_ROUND_TIES

#include <simde/x86/ssse3.h>

// Fetches a line of the cache that will be written.
static inline __attribute__((always_inline)) void prefetchForWriting(const void* address) {
    __builtin_prefetch(address, 1);
}
