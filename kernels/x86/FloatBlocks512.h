#pragma once

#include "FloatTransforms.h"

// Floats in 512-bit vectors, for the units that are compiled for AVX-512.

namespace {

struct Floats512 {
    __m512 v;

    static RAVELO_INLINE Floats512 broadcast(float value) { return {_mm512_set1_ps(value)}; }
};

RAVELO_INLINE Floats512 operator+(Floats512 a, Floats512 b) {
    return {_mm512_add_ps(a.v, b.v)};
}
RAVELO_INLINE Floats512 operator-(Floats512 a, Floats512 b) {
    return {_mm512_sub_ps(a.v, b.v)};
}
RAVELO_INLINE Floats512 operator*(Floats512 a, Floats512 b) {
    return {_mm512_mul_ps(a.v, b.v)};
}

// a * b + c, a * b - c and c - a * b, each rounded once.
RAVELO_INLINE Floats512 mulAdd(Floats512 a, Floats512 b, Floats512 c) {
    return {_mm512_fmadd_ps(a.v, b.v, c.v)};
}
RAVELO_INLINE Floats512 mulSub(Floats512 a, Floats512 b, Floats512 c) {
    return {_mm512_fmsub_ps(a.v, b.v, c.v)};
}
RAVELO_INLINE Floats512 subMul(Floats512 c, Floats512 a, Floats512 b) {
    return {_mm512_fnmadd_ps(a.v, b.v, c.v)};
}

} // namespace
