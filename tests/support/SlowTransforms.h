#pragma once

#include <array>
#include <cstdint>

// The inverse transforms of the slow model, each a literal transcription of its formulas: one operation, one rounding,
// in the order in which the format fixes them. Blocks are row-major.

// The float transform in its plain form, without fused operations.
std::array<float, 64> slowInverse32f(std::array<float, 64> const& source);

// The 16-bit transforms. The smaller two return the means of 2 by 2 and of 4 by 4 samples.
std::array<std::int16_t, 64> slowInverse16s(std::array<std::int16_t, 64> const& source);
std::array<std::int16_t, 16> slowInverse16sTo4x4(std::array<std::int16_t, 64> const& source);
std::array<std::int16_t, 4> slowInverse16sTo2x2(std::array<std::int16_t, 64> const& source);

// The orthonormal inverse from its definition, as a sum of cosines in double precision: the truth that the float
// transform rounds.
std::array<double, 64> exactInverse(std::array<double, 64> const& source);
