#include "EmulatedK0.h"

#include "EmulatedAvx512.h"

// The entries of the real variant are in the same program.
#define k0_ippiDCT8x8Inv_32f_C1 emulated_k0_ippiDCT8x8Inv_32f_C1
#define k0_ippiDCT8x8Inv_A10_16s_C1 emulated_k0_ippiDCT8x8Inv_A10_16s_C1
#define k0_ippiDCT8x8To4x4Inv_16s_C1 emulated_k0_ippiDCT8x8To4x4Inv_16s_C1
#define k0_ippiDCT8x8To2x2Inv_16s_C1 emulated_k0_ippiDCT8x8To2x2Inv_16s_C1
#define k0_inverse8x8Blocks emulated_k0_inverse8x8Blocks
#define k0_inverse4x4Corners emulated_k0_inverse4x4Corners
#define k0_inverse2x2Corners emulated_k0_inverse2x2Corners

#include "InverseDct_k0.cpp"
