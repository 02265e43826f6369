#pragma once

// Calls `macro` with every target that the library has for this processor.
#define RAVELO_FOR_EACH_TARGET(macro) macro(OptimizationTarget::Baseline) macro(OptimizationTarget::AVX2)
