#pragma once

// Calls `macro` with every target that the library has for this processor; the second form with what else is given.
// What detection says of the processor never leads to another.
#define RAVELO_FOR_EACH_TARGET(macro) macro(OptimizationTarget::Baseline)
#define RAVELO_FOR_EACH_TARGET_AND(macro, ...) macro(OptimizationTarget::Baseline, __VA_ARGS__)
