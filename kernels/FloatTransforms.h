#pragma once

#include "DctTables.h"
#include "IntVectors.h"

// The one-dimensional float transforms over vectors: each of the eight vectors holds one input of as many transforms as
// it has elements.

namespace {

// The plain arithmetic, in the order of the plain form and with none of its operations fused.
template <typename Vector>
RAVELO_INLINE void plainTransform(Vector (&x)[8]) {
    const Vector t1 = Vector::broadcast(c_tg_1_16);
    const Vector t2 = Vector::broadcast(c_tg_2_16);
    const Vector t3 = Vector::broadcast(c_tg_3_16);
    const Vector c4 = Vector::broadcast(c_cos_4_16);
    const Vector a = x[3] + x[5] * t3;
    const Vector b = x[5] - x[3] * t3;
    const Vector c = x[1] + x[7] * t1;
    const Vector d = x[1] * t1 - x[7];
    const Vector u = c - a;
    const Vector v = d - b;
    const Vector odd[4] = {a + c, (u + v) * c4, (u - v) * c4, b + d};
    const Vector s = x[0] + x[4];
    const Vector m = x[0] - x[4];
    const Vector e = x[2] + x[6] * t2;
    const Vector g = x[2] * t2 - x[6];
    const Vector even[4] = {s + e, m + g, m - g, s - e};
    for (int i = 0; i < 4; ++i) {
        x[i] = odd[i] + even[i];
        x[7 - i] = even[i] - odd[i];
    }
}

// Weights of the fused transforms: wi = sqrt(2) * cos(i pi / 16).
constexpr float kW1 = 1.38703984532214746f;
constexpr float kW1Cos4 = 0.980785280403230449f; // w1 * cos(4 pi / 16)
constexpr float kW2 = 1.30656296487637653f;
constexpr float kW3OverW1 = 0.847759065022573512f;

// The plain form scales every input by w of its row and its column before the first addition. Here x1, x3, x5, x7 are
// first combined unscaled, which their equal scales w1 = w7 and w3 = w5 allow, then with w3 / w1 between the pairs, and
// w1 comes in with the last step; likewise w2 for x2 and x6. Each of these products is part of a fused operation, so
// the scaling costs nothing. What is left of it, the factor 1/8 of the whole, enters the column pass as `kScaled`; it
// is a power of two and rounds nothing.
template <bool kScaled, typename Vector>
RAVELO_INLINE void fusedTransform(Vector (&x)[8]) {
    constexpr float kScale = kScaled ? 0.125f : 1.0f;
    const Vector t1 = Vector::broadcast(c_tg_1_16);
    const Vector t2 = Vector::broadcast(c_tg_2_16);
    const Vector t3 = Vector::broadcast(c_tg_3_16);
    const Vector w3OverW1 = Vector::broadcast(kW3OverW1);
    const Vector a = mulAdd(x[5], t3, x[3]);
    const Vector b = subMul(x[5], x[3], t3);
    const Vector c = mulAdd(x[7], t1, x[1]);
    const Vector d = mulSub(x[1], t1, x[7]);
    const Vector u = subMul(c, a, w3OverW1);
    const Vector v = subMul(d, b, w3OverW1);
    const Vector odd[4] = {mulAdd(a, w3OverW1, c), u + v, u - v, mulAdd(b, w3OverW1, d)};

    const Vector scale = Vector::broadcast(kScale);
    const Vector x0 = kScaled ? x[0] * scale : x[0];
    const Vector s = kScaled ? mulAdd(x[4], scale, x0) : x0 + x[4];
    const Vector m = kScaled ? subMul(x0, x[4], scale) : x0 - x[4];
    const Vector e = mulAdd(x[6], t2, x[2]);
    const Vector g = mulSub(x[2], t2, x[6]);
    const Vector w2 = Vector::broadcast(kScale * kW2);
    const Vector even[4] = {mulAdd(e, w2, s), mulAdd(g, w2, m), subMul(m, g, w2), subMul(s, e, w2)};

    const Vector outer = Vector::broadcast(kScale * kW1);
    const Vector inner = Vector::broadcast(kScale * kW1Cos4);
    for (int i = 0; i < 4; ++i) {
        const Vector weight = i == 0 || i == 3 ? outer : inner;
        x[i] = mulAdd(odd[i], weight, even[i]);
        x[7 - i] = subMul(even[i], odd[i], weight);
    }
}

// Copies an 8x8 matrix with rows and columns exchanged.
RAVELO_INLINE void transposeMatrix(const float* matrix, float (&transposed)[8][8]) {
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            transposed[column][row] = matrix[8 * row + column];
    }
}

} // namespace
