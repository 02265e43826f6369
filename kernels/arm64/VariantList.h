#pragma once

// The list of the kernels' variants, which kernels/x86 explains. All of them are y8 here: detection selects no other,
// but a host may, with a mask that it vouches for.
//
// V(prefix, Name, kernels, features, fused) for each variant: its name to the outside, the name in its constants, the
// prefix of the functions that serve it, the mask of features that it needs and is selected by, and whether its
// full-size float transform fuses multiplications and additions. Variants that fuse alike give the same bits.
#define RAVELO_KERNEL_VARIANTS(V)                                                                                      \
    V(y8, Y8, y8, kFeaturesUpToSse2, false)                                                                            \
    V(e9, E9, y8, kFeaturesUpToAvx, false)                                                                             \
    V(l9, L9, y8, kFeaturesUpToAvx2, false)                                                                            \
    V(k0, K0, y8, kFeaturesUpToAvx512, false)
