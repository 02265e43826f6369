#pragma once

#include <cstdint>

// Inverse transforms of one dequantised 8x8 block of coefficients.
//
// A row of the source is a row of frequencies: the coefficient at row u, column v has vertical frequency u and
// horizontal frequency v. The scale is that of the orthonormal two-dimensional transform, so a lone DC coefficient X
// gives X / 8 in every sample of all four transforms.
//
// Source and destination are dense and row-major, and need no alignment. Each call returns 0, or -8 if either pointer
// is null; then nothing is read or written. The calls keep no state, so any number of threads may run them at once.
//
// Each name runs the variant that was chosen for the processor. The three 16-bit transforms give the same bits in every
// variant; the float transform's variants differ in rounding only.

extern "C" {

// Single-precision full-size transform: 64 floats in, 64 floats out. Nothing is rounded to integer, clipped or offset.
int ippiDCT8x8Inv_32f_C1(const float* src, float* dst);

// Fixed-point full-size transform: 64 values in, 64 values in [-1024, 1023] out.
int ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst);

// Fixed-point half-size transform: 64 values in, 16 out in rows of 4, each in [-512, 511]. Each is the mean of a 2x2
// group of the full-size samples. Row 4 and column 4 of the source have no weight.
int ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);

// Fixed-point quarter-size transform: 64 values in, 4 out (top left, top right, bottom left, bottom right), each in
// [-256, 255]. Each is the mean of a 4x4 group of the full-size samples. Rows and columns 2, 4 and 6 of the source have
// no weight.
int ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst);
}
