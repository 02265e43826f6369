#pragma once

// Calls `macro` with every target that the library has for this processor. What detection says of it never leads to
// another.
#define RAVELO_FOR_EACH_TARGET(macro) macro(OptimizationTarget::Baseline)
