#pragma once

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
