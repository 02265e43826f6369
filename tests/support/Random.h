#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

using Random = std::mt19937;

// A generator whose seed is printed with the test's output. The environment's RAVELO_TEST_SEED is added, for long runs
// over other data.
inline Random seeded(std::uint32_t seed) {
    if (const char* const added = std::getenv("RAVELO_TEST_SEED"))
        seed += static_cast<std::uint32_t>(std::strtoul(added, nullptr, 10));
    std::cout << "seed " << seed << "\n";
    return Random(seed);
}

// A number below `bound`. Plain reduction gives the same sequence with every standard library, which distributions do
// not.
inline std::uint32_t randomBelow(Random& random, std::uint32_t bound) {
    return static_cast<std::uint32_t>(random() % bound);
}
