#pragma once

// The orthonormal forward transform of one block: 64 samples row by row become 64 coefficients row by row, row and
// column being vertical and horizontal frequency. A block of one value v has the DC 8 * v and no other coefficient.
// Source and destination may be the same memory.
void forwardDct8x8(float const* samples, float* coefficients);
