#include "HostileRequest.h"

#include <cstdlib>
#include <sstream>

#include "ProcessorDispatch.h"
#include "ProcessorFeatures.h"
#include "RaveloDecoderInterface.h"
#include "VariantSelection.h"

namespace {

constexpr std::uint32_t kBitDepths[4] = {8, 10, 15, 16};

// Everything up to SSE4.2; then AVX; then AVX2 and what it needs; then AVX-512.
constexpr std::uint64_t kFeaturesY8 =
    kFeatureMmx | kFeatureSse | kFeatureSse2 | kFeatureSse3 | kFeatureSsse3 | kFeatureSse41 | kFeatureSse42;
constexpr std::uint64_t kFeaturesE9 = kFeaturesY8 | kFeatureAvx | kFeatureAvxState;
constexpr std::uint64_t kFeaturesL9 = kFeaturesE9 | kFeatureMovbe | kFeatureAvx2;
constexpr std::uint64_t kFeaturesK0 = kFeaturesL9 | kFeatureAvx512F | kFeatureAvx512Cd | kFeatureAvx512Bw |
                                      kFeatureAvx512Dq | kFeatureAvx512Vl | kFeatureAvx512State;

} // namespace

std::string HostileRequest::describe() const {
    const char* const strides[3] = {"least", "safe", "wide"};
    std::ostringstream text;
    text << (target == OptimizationTarget::AVX2 ? "AVX2" : "Baseline") << " reduction " << downSampleFactor
         << " coding " << colorCoding << " depth " << bitDepth << " stride " << (strideIsNegative ? "-" : "")
         << strides[static_cast<int>(stride)] << " input at " << (inputAtEnd ? "end" : "start") << " output at "
         << (outputAtEnd ? "end" : "start") << (inParallel ? " in parallel" : "");
    return text.str();
}

HostileRequest requestOf(std::uint64_t number) {
    const auto take = [&number](std::uint64_t count) {
        const std::uint64_t taken = number % count;
        number /= count;
        return static_cast<std::uint32_t>(taken);
    };
    HostileRequest request;
    request.target = take(2) == 1 && RaveloDecoderInterface::GetMaxOptType() == 1 ? OptimizationTarget::AVX2
                                                                                  : OptimizationTarget::Baseline;
    request.downSampleFactor = take(4);
    request.bitDepth = kBitDepths[take(4)];
    // The value 3 stands for those that select RGB output without levels.
    request.colorCoding = take(4);
    request.strideIsNegative = take(2) == 1;
    request.stride = static_cast<HostileRequest::Stride>(take(3));
    request.inputAtEnd = take(2) == 1;
    request.outputAtEnd = take(2) == 1;
    request.inParallel = take(16) == 0;
    request.asksForRgbOf422 = take(8) == 0;
    return request;
}

std::uint64_t mixed(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    std::uint64_t x = a * 0x9E3779B97F4A7C15u ^ b * 0xC2B2AE3D27D4EB4Fu ^ c * 0x165667B19E3779F9u;
    x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
    x = (x ^ x >> 27) * 0x94D049BB133111EBu;
    return x ^ x >> 31;
}

std::vector<KernelVariant> runnableVariants() {
    std::uint64_t actual = 0;
    ippGetCpuFeatures(&actual, nullptr);
    std::vector<KernelVariant> variants;
    for (KernelVariant const& variant :
         {KernelVariant{"y8", kFeaturesY8, kVariantY8}, KernelVariant{"e9", kFeaturesE9, kVariantE9},
          KernelVariant{"l9", kFeaturesL9, kVariantL9}, KernelVariant{"k0", kFeaturesK0, kVariantK0}}) {
        if ((variant.features & ~actual & ~kFeatureMovbe) == 0)
            variants.push_back(variant);
    }
    return variants;
}

SelectedVariant::SelectedVariant(KernelVariant const& variant) {
    ippSetCpuFeatures(kTrustFeaturesBit | variant.features);
    if (ippJumpIndexForMergedLibs != variant.index)
        std::abort();
}

SelectedVariant::~SelectedVariant() {
    ippInit();
}
