#pragma once

#include <cstdint>
#include <vector>

#include "Random.h"
#include "SymbolWriter.h"

// Components of random content, valid and damaged, for the tests of the scans.

enum class ComponentContent {
    Valid,
    LongTail,
    Truncated,
    Flipped,
    RandomBytes,
    SparseBytes,
    RandomSymbols,
    CutSuffix,
    NearZeros
};
constexpr std::uint32_t kNumComponentContents = 9;

// A valid component of any density, with runs of every length.
SymbolWriter validComponent(Random& random, std::uint32_t numBlocks);

std::vector<std::uint8_t> randomRange(Random& random, ComponentContent content, std::uint32_t numBlocks);
