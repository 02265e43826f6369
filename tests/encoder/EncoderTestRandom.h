#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

// A generator whose seed stands in the test's output. The environment's RAVELO_TEST_SEED is added, for long runs over
// other data.
inline std::mt19937 printedSeed(std::uint32_t seed) {
    if (const char* added = std::getenv("RAVELO_TEST_SEED"))
        seed += static_cast<std::uint32_t>(std::strtoul(added, nullptr, 10));
    std::cout << "seed " << seed << "\n";
    return std::mt19937(seed);
}

// Plain reduction gives the same sequence with every standard library, which distributions do not.
inline std::uint32_t below(std::mt19937& random, std::uint32_t bound) {
    return static_cast<std::uint32_t>(random() % bound);
}
