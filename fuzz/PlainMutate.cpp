#include <algorithm>
#include <cstdint>

#include "FuzzMutate.h"

std::size_t fuzzMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize, std::size_t seed) {
    const std::size_t numBytes = std::min(maxSize, size + seed % 3);
    for (std::size_t i = size; i < numBytes; ++i)
        data[i] = static_cast<std::uint8_t>(seed >> 8);
    if (numBytes != 0)
        data[seed / 7 % numBytes] ^= static_cast<std::uint8_t>(1u << seed % 8);
    return numBytes;
}
