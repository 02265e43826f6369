#pragma once

#include <cstdint>

#include "ProcessorFeatures.h"

// How a processor stores fastest. None of it changes a result.
struct ProcessorTuning {
    static constexpr std::uint64_t kNever = ~std::uint64_t{0};
    static constexpr std::uint64_t kLeastOfAll = std::uint64_t{4} << 20; // no processor streams smaller pictures

    // Whether one instruction stores a vector of coefficients faster than single stores do.
    bool scattersFast = false;
    // The bytes from which on a picture is written past the caches, in 4:2:2 and in 4:4:4. Where it does not stay in
    // the last-level cache anyway, reading its lines before they are overwritten costs more than it gains.
    std::uint64_t leastStreamed422 = std::uint64_t{24} << 20;
    std::uint64_t leastStreamed444 = std::uint64_t{24} << 20;
};

// What was measured on the processor of the snapshot, or what is best for one that was not.
ProcessorTuning processorTuning(CpuidSnapshot const& processor);

// The same for the present processor, detected once.
ProcessorTuning const& processorTuning();
