#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// The vector forms of reduced 4:4:4 macroblocks of 8 bits, for those that are not clipped at the right. Each gives what
// the definition of its pixels gives (PixelRules444.h).
template <OptimizationTarget target>
struct ReducedRows444;

// Baseline has none: its pixels are written one by one.
template <>
struct ReducedRows444<OptimizationTarget::Baseline> {
    template <bool rgb, bool byReciprocals, unsigned int size, class Writer>
    static bool write(Writer const&, unsigned int, const std::int16_t (*)[size][size],
                      const std::int16_t (*)[size][size], const std::int16_t (*)[size][size], std::int32_t) {
        return false;
    }
};
