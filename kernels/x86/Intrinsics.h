#pragma once

// The intrinsics of the processor, in front of which each processor has a header of this name. Units without further
// instructions use those for 128 bits, up to SSSE3.

#include <immintrin.h>

// Fetches a line of the cache that will be written. Processors that do not know this instruction take it for one that
// does nothing.
static inline __attribute__((always_inline)) void prefetchForWriting(const void* address) {
    __asm__ volatile("prefetchw %0" : : "m"(*static_cast<const char*>(address)));
}
