#pragma once

#include "FloatTransforms.h"
#include "Intrinsics.h"

// Four floats in a vector, for units that may be compiled for any processor.

namespace {

struct Floats128 {
    __m128 v;

    static RAVELO_INLINE Floats128 load(const float* from) { return {_mm_loadu_ps(from)}; }
    static RAVELO_INLINE Floats128 broadcast(float value) { return {_mm_set1_ps(value)}; }
    RAVELO_INLINE void store(float* to) const { _mm_storeu_ps(to, v); }
};

RAVELO_INLINE Floats128 operator+(Floats128 a, Floats128 b) {
    return {_mm_add_ps(a.v, b.v)};
}
RAVELO_INLINE Floats128 operator-(Floats128 a, Floats128 b) {
    return {_mm_sub_ps(a.v, b.v)};
}
RAVELO_INLINE Floats128 operator*(Floats128 a, Floats128 b) {
    return {_mm_mul_ps(a.v, b.v)};
}

} // namespace
