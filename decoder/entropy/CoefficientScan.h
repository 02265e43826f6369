#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"

struct CoeffVLCState;
struct LaneScanJob;
using LaneScanFunction = void(LaneScanJob const& job); // LaneScan.h

// Decoding of the coefficients of colour components.
//
// A component codes the same scan index of all its blocks side by side: the DC of each block, then scan index 1 of each
// block, and so on. A position in that order is scanIndex * numBlocks + block. The decoder keeps coefficients in that
// order too ("frequency order"), which makes a store one indexed write; reconstruction puts blocks together.

// Elements after the kept coefficients that scanComponents may overwrite. The scans compare a position with the end
// once in a batch, and the longest is that of the lanes: 6 pairs, each of which advances by up to 63 positions, and one
// position more that a store of two takes along. That makes 379, rounded up to whole cache lines.
constexpr std::uint32_t kScanPadding = 384;

// One component of one slice, its range and its result.
struct ComponentScan {
    Bitstream range;                      // exactly the component's bytes, inside the caller's data
    std::uint64_t bytesAfterRange = 0;    // of the caller's data, which may be read
    std::int16_t* coefficients = nullptr; // numBlocks * keptCoefficients values in frequency order, then kScanPadding
    std::uint32_t numBlocks = 0;          // a power of two, 2 to 32
    std::uint32_t log2NumBlocks = 0;
    std::uint32_t keptCoefficients = 64; // 64, 16, 4 or 1 of a block; others are read and dropped
    bool dcOnly = false;                 // stop after the DCs
    bool succeeded = false;              // the result
};

// Decodes independent components, several side by side. For each, coefficients that are not coded become 0 and
// `succeeded` says whether all symbols were valid; the padding holds anything afterwards. Where a scan in lanes is
// given it takes part if there are enough components; Baseline never uses it.
template <OptimizationTarget target>
void scanComponents(ComponentScan* scans, unsigned int count, LaneScanFunction* scanInLanes = nullptr);

// The definition of the scan, one component and one symbol at a time, into any order of coefficients.
template <OptimizationTarget target>
bool scanComponentPlainly(ComponentScan const& scan);

// The same into block order: scan index s of block b at coefficients[b * keptCoefficients + s].
template <OptimizationTarget target>
bool scanComponentIntoBlocks(ComponentScan const& scan);

// What scanComponentPlainly does after the DCs, from a state on: the next run counts from `position`.
template <OptimizationTarget target>
bool scanPairsPlainly(ComponentScan const& scan, CoeffVLCState const& state, std::uint32_t position);
