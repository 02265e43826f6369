#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"

// Decoding of the coefficients of colour components.
//
// A component codes the same scan index of all its blocks side by side: the DC of each block, then scan index 1 of each
// block, and so on. A position in that order is scanIndex * numBlocks + block. The decoder keeps coefficients in that
// order too ("frequency order"), which makes a store one indexed write; reconstruction puts blocks together.

// Elements after the kept coefficients that scanComponents may overwrite. The fast scan compares its position with the
// end once in a batch of 5 look-ups, each of which advances by up to 63 positions: 315, rounded up to whole cache
// lines.
constexpr std::uint32_t kScanPadding = 320;

// One component of one slice, its range and its result.
struct ComponentScan {
    Bitstream range;                      // exactly the component's bytes, inside the caller's data
    std::int16_t* coefficients = nullptr; // numBlocks * keptCoefficients values in frequency order, then kScanPadding
    std::uint32_t numBlocks = 0;          // a power of two, 2 to 32
    std::uint32_t log2NumBlocks = 0;
    std::uint32_t keptCoefficients = 64; // 64, 16, 4 or 1 of a block; others are read and dropped
    bool dcOnly = false;                 // stop after the DCs
    bool succeeded = false;              // the result
};

// Decodes independent components, several side by side. For each, coefficients that are not
// coded become 0 and `succeeded` says whether all symbols were valid; the padding holds anything afterwards.
template <OptimizationTarget target>
void scanComponents(ComponentScan* scans, unsigned int count);

// The definition of the scan, one component and one symbol at a time, into any order of coefficients.
template <OptimizationTarget target>
bool scanComponentPlainly(ComponentScan const& scan);

// The same into block order: scan index s of block b at coefficients[b * keptCoefficients + s].
template <OptimizationTarget target>
bool scanComponentIntoBlocks(ComponentScan const& scan);
