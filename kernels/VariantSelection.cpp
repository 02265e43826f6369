#include "VariantSelection.h"

#include "ProcessorFeatures.h"

namespace {

constexpr std::uint64_t kAvxGroup = kFeatureAvx | kFeatureAvx2;
constexpr std::uint64_t kAvx512Group = 0xC6FF00000; // bits 20 to 27, 29, 30, 34 and 35
constexpr std::uint64_t kUnknownFeatures = ((std::uint64_t{1} << 63) - 1) & ~((std::uint64_t{1} << 36) - 1);

// A step of the ladder: when all of `decisive` is in the mask, `index` serves it, and all of `required` is assumed.
struct VariantRule {
    std::uint64_t decisive;
    std::int32_t index;
    std::uint64_t required;
};

// From the highest step down; the first that holds decides.
constexpr VariantRule kVariantRules[] = {
    {0x7300000, kVariantK0, 0x73081DF}, // AVX-512 F, CD, BW, DQ, VL
    {0xF00000, kVariantL9, 0xF081DF},   // AVX-512 F, CD, ER, PF
    {kFeatureAvx2, kVariantL9, 0x81DF}, //
    {kFeatureAvx, kVariantE9, 0x1DF},   //
    {kFeatureSse42, kVariantY8, 0xDF},  //
    {kFeatureSse41, kVariantY8, 0x5F},  //
    {kFeatureMovbe, kVariantY8, 0x3F},  //
    {kFeatureSsse3, kVariantY8, 0x1F},  //
    {kFeatureSse3, kVariantY8, 0xF},    //
    {kFeatureSse2, kVariantY8, 0x7},    //
};

} // namespace

VariantSelection variantFor(std::uint64_t features, std::int32_t statusSoFar) {
    for (const VariantRule& rule : kVariantRules) {
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
