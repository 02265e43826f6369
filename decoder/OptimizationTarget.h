#pragma once

/// The compiled copy of the decoder's templates that runs a decode.
enum class OptimizationTarget : int {
    Baseline = 0, ///< SSSE3 and nothing later; used without any processor test
    AVX2 = 1,     ///< AVX2, FMA, BMI1, BMI2, LZCNT and POPCNT; used only after a processor test
};
