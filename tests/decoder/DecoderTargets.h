#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "OptimizationTarget.h"
#include "RaveloDecoderInterface.h"

// Typed tests over the two targets. A processor that cannot run AVX2 skips those tests and says so.

template <OptimizationTarget value>
struct OnTarget {
    static constexpr OptimizationTarget target = value;
};

using BothTargets = testing::Types<OnTarget<OptimizationTarget::Baseline>, OnTarget<OptimizationTarget::AVX2>>;

struct TargetNames {
    template <class On>
    static std::string GetName(int) {
        return On::target == OptimizationTarget::AVX2 ? "AVX2" : "Baseline";
    }
};

template <class On>
class TargetTest : public testing::Test {
protected:
    static constexpr OptimizationTarget target = On::target;
    static constexpr bool isAvx2 = target == OptimizationTarget::AVX2;

    void SetUp() override {
        if (isAvx2 && RaveloDecoderInterface::GetMaxOptType() == 0)
            GTEST_SKIP() << "This processor cannot run the AVX2 target.";
    }
};

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
