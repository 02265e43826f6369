#pragma once

#include "OptimizationTarget.h"

// The vector forms of the writers: whole rows of unclipped macroblocks, the pixels that most of a picture consists of.
// Each gives what the definition of its pixels gives, and stores to any address.
//
// `streams` sends 16-bit samples past the caches, in whole lines of kCacheLineBytes; `out` must then be aligned to
// that. finishStores() makes such stores visible to other threads.
template <OptimizationTarget target>
struct PixelRows;
