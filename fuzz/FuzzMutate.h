#pragma once

#include <cstddef>
#include <cstdint>

// The fuzzer's own mutation, or a plain one where a harness runs without a fuzzer. Changes up to `maxSize` bytes and
// returns the new size.
std::size_t fuzzMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize, std::size_t seed);
