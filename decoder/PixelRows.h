#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// The vector forms of the writers: whole rows of unclipped macroblocks, the pixels that most of a picture consists of.
// Each gives what the definition of its pixels gives, and stores to any address.
template <OptimizationTarget target>
struct PixelRows;
