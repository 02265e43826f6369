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

// How many times a loop over random data runs: `count` times the environment's RAVELO_TEST_ROUNDS, which is 1 unless
// set. Sanitizers and emulated processors make do with a part, since what they find does not depend on rare values.
inline std::uint32_t numRounds(std::uint32_t count) {
    const char* const factor = std::getenv("RAVELO_TEST_ROUNDS");
    const double rounds = count * (factor != nullptr ? std::strtod(factor, nullptr) : 1.0);
    return rounds > 1.0 ? static_cast<std::uint32_t>(rounds) : 1;
}

// A number below `bound`. Plain reduction gives the same sequence with every standard library, which distributions do
// not.
inline std::uint32_t randomBelow(Random& random, std::uint32_t bound) {
    return static_cast<std::uint32_t>(random() % bound);
}
