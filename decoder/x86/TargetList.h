#pragma once

// Calls `macro` with every target that the library has for this processor; the second form with what else is given.
#define RAVELO_FOR_EACH_TARGET(macro) macro(OptimizationTarget::Baseline) macro(OptimizationTarget::AVX2)
#define RAVELO_FOR_EACH_TARGET_AND(macro, ...)                                                                         \
    macro(OptimizationTarget::Baseline, __VA_ARGS__) macro(OptimizationTarget::AVX2, __VA_ARGS__)
