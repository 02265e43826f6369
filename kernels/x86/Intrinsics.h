#pragma once

// The intrinsics of the processor, in front of which each processor has a header of this name. Units without further
// instructions use those for 128 bits, up to SSSE3.

#include <immintrin.h>
