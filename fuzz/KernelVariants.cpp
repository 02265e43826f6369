// The variants of every inverse transform against each other, on any blocks. The 16-bit kernels are the same in all
// variants, the float kernel in the two of plain arithmetic.

#include "KernelVariants.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "FuzzSupport.h"

namespace {

using Kernel16 = int (*)(const std::int16_t*, std::int16_t*);
using KernelFloat = int (*)(const float*, float*);

void compare16(Kernel16 const (&kernels)[4], std::span<const std::uint8_t> bytes) {
    alignas(64) std::int16_t block[64] = {};
    std::memcpy(block, bytes.data(), std::min(bytes.size(), sizeof block));
    alignas(64) std::int16_t expected[64] = {};
    const int status = kernels[0](block, expected);
    for (std::uint32_t variant = 1; variant < 4; ++variant) {
        if (!canRunVariant(variant))
            continue;
        alignas(64) std::int16_t values[64] = {};
        require(kernels[variant](block, values) == status, "the status of a kernel");
        require(std::equal(expected, expected + 64, values), "16-bit kernels agree in every bit");
    }
}

void compareFloat(KernelFloat const (&kernels)[2], std::span<const std::uint8_t> bytes) {
    alignas(64) float block[64];
    for (std::size_t i = 0; i < 64; ++i) {
        std::int16_t coefficient = 0;
        if (2 * i + 2 <= bytes.size())
            std::memcpy(&coefficient, bytes.data() + 2 * i, sizeof coefficient);
        block[i] = static_cast<float>(coefficient) * (bytes.size() % 7 == 0 ? 5000.0f : 0.5f);
    }
    alignas(64) float first[64], second[64];
    kernels[0](block, first);
    kernels[1](block, second);
    require(std::memcmp(first, second, sizeof first) == 0, "the plain float kernels agree in every bit");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    compare16({y8_ippiDCT8x8Inv_A10_16s_C1, e9_ippiDCT8x8Inv_A10_16s_C1, l9_ippiDCT8x8Inv_A10_16s_C1,
               k0_ippiDCT8x8Inv_A10_16s_C1},
              bytes);
    compare16({y8_ippiDCT8x8To4x4Inv_16s_C1, e9_ippiDCT8x8To4x4Inv_16s_C1, l9_ippiDCT8x8To4x4Inv_16s_C1,
               k0_ippiDCT8x8To4x4Inv_16s_C1},
              bytes);
    compare16({y8_ippiDCT8x8To2x2Inv_16s_C1, e9_ippiDCT8x8To2x2Inv_16s_C1, l9_ippiDCT8x8To2x2Inv_16s_C1,
               k0_ippiDCT8x8To2x2Inv_16s_C1},
              bytes);
    if (canRunVariant(1))
        compareFloat({y8_ippiDCT8x8Inv_32f_C1, e9_ippiDCT8x8Inv_32f_C1}, bytes);
    return 0;
}
