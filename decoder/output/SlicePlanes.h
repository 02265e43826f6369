#pragma once

#include "PictureOutput.h"

// Where the macroblocks of a slice of 4:2:2 go that is written to planes of Y, Cb and Cr at once.
struct SlicePlanes {
    OutputPlane plane[3]; // at the slice's first samples, with the strides of its lines
    bool streams = false; // 16-bit samples go past the caches; all places are aligned to kCacheLineBytes
};
