#include "FuzzMutate.h"

#include <cstdint>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

std::size_t fuzzMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize, std::size_t) {
    return LLVMFuzzerMutate(data, size, maxSize);
}
