#include "EmulatedWideRgb.h"

#include "EmulatedAvx512.h"

// The entry with real instructions is in the same program.
#define writeWideRgb emulatedWriteWideRgb

#include "WideRgb_AVX512.cpp"
