#pragma once

#include "DctTables.h"
#include "IntVectors.h"

// The one-dimensional float transforms over vectors: each of the eight vectors holds one input of as many transforms as
// it has elements.

namespace {

// Two neighbouring coefficients share 32 bits. Each is parted from the other where it meets the upper half, so it
// counts 65536 times, and the factors of dequantisation are divided by as much. Both are exact, so their product is
// rounded as that of the coefficient itself.
constexpr float kHighHalf = 1.0f / 65536.0f;
constexpr int kHighHalfBits = -65536;

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

// The same with every multiplication that feeds an addition fused with it, given the inputs x0 and x4 combined: their
// sum `s` and difference `m`. Fusing no more than this keeps the result close to the plain form, with whose roundings
// it still shares most.
template <typename Vector>
RAVELO_INLINE void fusedTransform(Vector s, Vector m, Vector (&x)[8]) {
    const Vector t1 = Vector::broadcast(c_tg_1_16);
    const Vector t2 = Vector::broadcast(c_tg_2_16);
    const Vector t3 = Vector::broadcast(c_tg_3_16);
    const Vector c4 = Vector::broadcast(c_cos_4_16);
    const Vector a = mulAdd(x[5], t3, x[3]);
    const Vector b = subMul(x[5], x[3], t3);
    const Vector c = mulAdd(x[7], t1, x[1]);
    const Vector d = mulSub(x[1], t1, x[7]);
    const Vector u = c - a;
    const Vector v = d - b;
    const Vector b0 = a + c;
    const Vector b3 = b + d;
    const Vector p = u + v; // b1 and b2 before their factor
    const Vector q = u - v;
    const Vector e = mulAdd(x[6], t2, x[2]);
    const Vector g = mulSub(x[2], t2, x[6]);
    const Vector a0 = s + e;
    const Vector a1 = m + g;
    const Vector a2 = m - g;
    const Vector a3 = s - e;
    x[0] = b0 + a0;
    x[1] = mulAdd(p, c4, a1);
    x[2] = mulAdd(q, c4, a2);
    x[3] = b3 + a3;
    x[4] = a3 - b3;
    x[5] = subMul(a2, q, c4);
    x[6] = subMul(a1, p, c4);
    x[7] = a0 - b0;
}

// Row pass of the fused form over columns that are not yet scaled; `scales` are the vectors for the columns 0 to 3. The
// scaling of column 4 is fused too: it is part of no product.
template <typename Vector>
RAVELO_INLINE void fusedScaledTransform(Vector (&x)[8], const Vector (&scales)[4]) {
    const Vector x0 = x[0] * scales[0];
    const Vector s = mulAdd(x[4], scales[0], x0);
    const Vector m = subMul(x0, x[4], scales[0]);
    for (int column = 1; column < 8; ++column) {
        if (column != 4)
            x[column] = x[column] * scales[kScaleRowOfColumn[column]];
    }
    fusedTransform(s, m, x);
}

// Column pass of the fused form.
template <typename Vector>
RAVELO_INLINE void fusedTransform(Vector (&x)[8]) {
    fusedTransform(x[0] + x[4], x[0] - x[4], x);
}

} // namespace
