#pragma once

#include <cstdint>
#include <functional>

#include "SlowFrame.h"

// The codes of a full-size picture in real numbers: the transform by its definition, the colour arithmetic without any
// rounding. A decoder that works in single precision can differ from them by its rounding errors only, and this file
// says how large those can be.
//
// The bound. Every value of the float path is a sum of products of an input with constants, each multiplied by
// (1 + d) once for every rounding on its way, an operation's or a constant's, with |d| <= u = 2^-24. With at most n
// roundings on any way, the error of the sum is at most n u / (1 - n u) times the sum of the magnitudes of its terms.
// That sum of magnitudes is what the same formulas give when every input and constant is replaced by its magnitude and
// every subtraction by an addition.
struct ExactCode {
    double value = 0; // the code before it is truncated: 0.5 is added already
    double error = 0; // how far single precision can be away
};

// Called for every sample but alpha, with its place in bytes from the caller's first line.
using ExactCodeVisitor = std::function<void(std::int64_t offset, ExactCode code)>;

// Visits the codes of all slices that decode. `request` is one of full size on OptimizationTarget::Baseline.
void visitExactCodes(SlowFrame const& frame, DecodeRequest const& request, ExactCodeVisitor const& visit);
