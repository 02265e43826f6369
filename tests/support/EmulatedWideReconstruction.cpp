#include "EmulatedWideReconstruction.h"

#include "EmulatedAvx512.h"

// The entries with real instructions are in the same program.
#define writeWide emulatedWriteWide
#define writeWideToPlanes emulatedWriteWideToPlanes
#define transformWide emulatedTransformWide

#include "WideReconstruction_AVX512.cpp"
