#include "VariantSelection.h"

namespace {

constexpr std::uint64_t kAvxGroup = kFeatureAvx | kFeatureAvx2;
constexpr std::uint64_t kAvx512Group = kFeaturesAvx512CdBwDqVl | kFeaturesAvx512CdErPf | kFeatureAvx512Vbmi |
                                       kFeatureAvx5124Fmaps | kFeatureAvx5124Vnniw | kFeatureAvx512Vpopcntdq |
                                       kFeatureAvx512Bitalg; // IFMA is not asked about
constexpr std::uint64_t kUnknownFeatures = (kTrustFeaturesBit - 1) & ~(featureBit(kNumFeatureBits) - 1);

// A step of the ladder: when all of `decisive` is in the mask, `index` serves it, and all of `required` is assumed.
struct VariantRule {
    std::uint64_t decisive;
    std::int32_t index;
    std::uint64_t required;
};

// From the highest step down; the first that holds decides.
constexpr VariantRule kVariantRules[] = {
    {kFeaturesAvx512CdBwDqVl, kVariantK0, kFeaturesUpToAvx512},
    {kFeaturesAvx512CdErPf, kVariantL9, kFeaturesUpToAvx2 | kFeaturesAvx512CdErPf},
    {kFeatureAvx2, kVariantL9, kFeaturesUpToAvx2},
    {kFeatureAvx, kVariantE9, kFeaturesUpToAvx},
    {kFeatureSse42, kVariantY8, kFeaturesUpToSse42},
    {kFeatureSse41, kVariantY8, kFeaturesUpToSse41},
    {kFeatureMovbe, kVariantY8, kFeaturesUpToSsse3 | kFeatureMovbe},
    {kFeatureSsse3, kVariantY8, kFeaturesUpToSsse3},
    {kFeatureSse3, kVariantY8, kFeaturesUpToSse3},
    {kFeatureSse2, kVariantY8, kFeaturesUpToSse2},
};

} // namespace

VariantSelection variantFor(std::uint64_t features, std::int32_t statusSoFar) {
    for (VariantRule const& rule : kVariantRules) {
        if ((features & rule.decisive) != rule.decisive)
            continue;
        const bool lowerImplied = (features & rule.required) != rule.required;
        const std::int32_t ownStatus = lowerImplied ? kStatusLowerFeatureImplied : kStatusOk;
        return {rule.index, features | rule.required, statusSoFar != kStatusOk ? statusSoFar : ownStatus};
    }
    return {kVariantY8, features | kFeatureMmx, statusSoFar != kStatusOk ? statusSoFar : kStatusNoUsableFeature};
}

VariantSelection variantForRequest(std::uint64_t requested, std::uint64_t actual) {
    std::uint64_t features = requested;
    std::int32_t status = kStatusOk;
    if ((features & kUnknownFeatures) != 0)
        status = kStatusUnknownFeature;
    if ((features & kAvxGroup) != 0 && (actual & kFeatureAvxState) == 0) {
        features &= ~kAvxGroup;
        status = kStatusFeatureMissing;
    }
    if ((features & kAvx512Group) != 0 && (actual & kFeatureAvx512State) == 0) {
        features &= ~kAvx512Group;
        status = kStatusFeatureMissing;
    }
    // Detection never finds an unknown bit, so it ends here too, unless a host has put it into the detected features.
    if ((features & ~actual) != 0)
        status = kStatusFeatureMissing;
    return variantFor(features, status);
}

bool canRun(Variant const& variant, std::uint64_t actual) {
    return variantForRequest(variant.features, actual).status == kStatusOk;
}

std::int32_t statusOfInit(std::int32_t selectionStatus, bool isIntel) {
    return isIntel ? selectionStatus : kStatusNotIntel;
}
