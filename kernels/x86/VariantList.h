#pragma once

// The one list of the kernels' variants, from the most modest processor up. Declarations, jump tables, and what tests,
// fuzzers and benchmarks go through are made from it. A further variant is a line here and in the other processors'
// lists, a unit InverseDct_<prefix>.cpp with its flags in CMakeLists.txt, and the rules that select it in
// VariantSelection.cpp.
//
// V(prefix, Name, kernels, features, fused) for each variant: its name to the outside, the name in its constants, the
// prefix of the functions that serve it, the mask of features that it needs and is selected by, and whether its
// full-size float transform fuses multiplications and additions. Variants that fuse alike give the same bits.
#define RAVELO_KERNEL_VARIANTS(V)                                                                                      \
    V(y8, Y8, y8, kFeaturesUpToSse2, false)                                                                            \
    V(e9, E9, e9, kFeaturesUpToAvx, false)                                                                             \
    V(l9, L9, l9, kFeaturesUpToAvx2, true)                                                                             \
    V(k0, K0, k0, kFeaturesUpToAvx512, true)
