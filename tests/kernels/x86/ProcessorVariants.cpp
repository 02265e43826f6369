#include "EmulatedK0.h"
#include "KernelTestSupport.h"

bool isRunnable(Variant const& variant) {
    const struct {
        std::uint64_t features;
        bool isThere;
    } steps[] = {
        {kFeaturesUpToSse2, true}, // of every x86-64
        {kFeaturesUpToSse42, __builtin_cpu_supports("sse4.2") != 0},
        {kFeaturesUpToAvx, __builtin_cpu_supports("avx") != 0},
        {kFeaturesUpToAvx2, __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")},
        {kFeaturesUpToAvx512, __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512cd") &&
                                  __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
                                  __builtin_cpu_supports("avx512vl")},
    };
    std::uint64_t features = 0;
    for (auto const& step : steps)
        features |= step.isThere ? step.features : 0;
    return (variant.features & ~features) == 0;
}

std::vector<KernelVariant> emulatedVariants() {
    return {{{"emulated_k0", kVariantK0, kFeaturesUpToAvx2, true}, RAVELO_KERNELS_OF(emulated_k0)}};
}
