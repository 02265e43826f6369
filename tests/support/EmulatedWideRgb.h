#pragma once

#include "WideRgb.h"

// The conversion of wide lines to pixels, its own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2,
// FMA and F16C.
void emulatedWriteWideRgb(FormedPicture const& picture, WideRgbPart const& part);
