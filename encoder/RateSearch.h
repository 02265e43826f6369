#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

// What a search for a rate may ask and has to meet.
struct RateTarget {
    std::size_t numSlices = 0;
    std::uint64_t fixedBytes = 0; // bytes of the frame that no index changes
    double wantedBytes = 0;       // of the whole frame
    double pixels = 0;            // for the text of the error
    std::uint32_t maxThreads = 1; // that call sliceBytes at once
    // The bytes of a slice that its index, 1 to 255, decides.
    std::function<std::uint32_t(std::size_t sliceIndex, std::uint32_t quantization_index)> sliceBytes;
};

// One index for each slice, so that the frame is within 3 % of the wanted size: the first that is found for all slices,
// or where no index does it, two neighbours mixed, spread over the frame. Throws std::runtime_error when nothing meets
// the rate.
std::vector<std::uint8_t> searchRate(RateTarget const& target);
