#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "OptimizationTarget.h"
#include "SlowBitReader.h"

// The codes of the slow model and the scans that are made of them.

struct SlowScanResult {
    bool ok = false;
    // A read went beyond the last partial word of the range. The format leaves what follows open, except that a scan
    // which continues with the coefficients after the DCs fails.
    bool wrapped = false;
    std::vector<std::int16_t> coefficients; // numBlocks * keptCoefficients values, block after block, in scan order
};

// Decodes one component. `keptCoefficients` is 64, 16, 4, 1 or 0; with 1 and 0 the scan ends after the DCs.
SlowScanResult slowScanCoefficients(std::span<const std::uint8_t> range, std::uint32_t numBlocks,
                                    std::uint32_t keptCoefficients, OptimizationTarget target);

struct SlowAlphaResult {
    bool wrapped = false; // as above; samples from there on are open
    std::vector<std::uint16_t> samples;
};

SlowAlphaResult slowScanAlpha(std::span<const std::uint8_t> range, std::uint32_t numSamples, std::uint32_t alphaBits,
                              OptimizationTarget target);

// Scan indices by raster position.
extern const std::uint32_t kSlowProgressivePattern[64];
// The same with rows and columns exchanged.
std::uint32_t slowInterlacedPattern(std::uint32_t rasterPosition);
