// The variants of every inverse transform against each other, on any blocks. The 16-bit kernels are the same in all
// variants, the float kernel in the two of plain arithmetic.

#include "KernelVariants.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "FuzzSupport.h"

namespace {

using Kernel16 = int(const std::int16_t*, std::int16_t*);

// The variants that this processor can run, the first one aside: the others are compared with it.
std::vector<KernelVariant> otherVariants() {
    std::vector<KernelVariant> others;
    for (KernelVariant const& variant : kKernelVariants) {
        if (variant.index != kVariantY8 && canRunVariant(static_cast<std::uint32_t>(variant.index)))
            others.push_back(variant);
    }
    return others;
}

void compare16(Kernel16* KernelVariant::*kernel, std::span<const std::uint8_t> bytes) {
    alignas(64) std::int16_t block[64] = {};
    std::memcpy(block, bytes.data(), std::min(bytes.size(), sizeof block));
    alignas(64) std::int16_t expected[64] = {};
    const int status = (kKernelVariants[kVariantY8].*kernel)(block, expected);
    for (KernelVariant const& variant : otherVariants()) {
        alignas(64) std::int16_t values[64] = {};
        require((variant.*kernel)(block, values) == status, "the status of a kernel");
        require(std::equal(expected, expected + 64, values), "16-bit kernels agree in every bit");
    }
}

void compareFloat(std::span<const std::uint8_t> bytes) {
    alignas(64) float block[64];
    for (std::size_t i = 0; i < 64; ++i) {
        std::int16_t coefficient = 0;
        if (2 * i + 2 <= bytes.size())
            std::memcpy(&coefficient, bytes.data() + 2 * i, sizeof coefficient);
        block[i] = static_cast<float>(coefficient) * (bytes.size() % 7 == 0 ? 5000.0f : 0.5f);
    }
    alignas(64) float expected[64];
    kKernelVariants[kVariantY8].inverse8x8Float(block, expected);
    for (KernelVariant const& variant : otherVariants()) {
        if (variant.isFused)
            continue;
        alignas(64) float values[64];
        variant.inverse8x8Float(block, values);
        require(std::memcmp(expected, values, sizeof expected) == 0, "the plain float kernels agree in every bit");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    compare16(&KernelVariant::inverse8x8, bytes);
    compare16(&KernelVariant::inverse8x8To4x4, bytes);
    compare16(&KernelVariant::inverse8x8To2x2, bytes);
    compareFloat(bytes);
    return 0;
}
