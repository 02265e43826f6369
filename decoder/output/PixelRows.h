#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// The vector forms of the writers: whole rows of unclipped macroblocks, the pixels that most of a picture consists of.
// Each gives what the definition of its pixels gives, and stores to any address.
//
// `streams` sends 16-bit samples past the caches, in whole lines of kCacheLineBytes; `out` must then be aligned to
// that. finishStores() makes such stores visible to other threads.
template <OptimizationTarget target>
struct PixelRows;

constexpr std::uint64_t kCacheLineBytes = 64;

// From this size on a picture does not stay in a core's own caches anyway, and reading its lines into them before they
// are overwritten costs more than it brings.
constexpr std::uint64_t kLeastStreamedBytes = std::uint64_t{4} << 20;
