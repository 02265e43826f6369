#pragma once

#include <string>

#include <gtest/gtest.h>

#include "OptimizationTarget.h"
#include "RaveloDecoderInterface.h"
#include "Targets.h"

// Typed tests over the targets that the library has. A processor that cannot run AVX2 skips those tests and says so.

template <OptimizationTarget value>
struct OnTarget {
    static constexpr OptimizationTarget target = value;
};

// The list begins with a comma, and so with an entry that it does without.
template <class, class... On>
using TypesOf = testing::Types<On...>;
#define RAVELO_ON_TARGET(which) , OnTarget<which>
using BothTargets = TypesOf<void RAVELO_FOR_EACH_TARGET(RAVELO_ON_TARGET)>;
#undef RAVELO_ON_TARGET

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
