#pragma once

#include <cstdint>

#include "ProcessorFeatures.h"
#include "VariantList.h"

// Which variant of the kernels serves a feature mask. Pure functions of masks, so that they can be asked about
// processors that are not here.

// Indices of the variants, which are also places in the jump tables.
#define RAVELO_VARIANT_INDEX(prefix, Name, kernels, features, fused) kVariant##Name,
enum VariantIndex : std::int32_t {
    kVariantNotChosen = -1,
    RAVELO_KERNEL_VARIANTS(RAVELO_VARIANT_INDEX) //
    kNumVariants,
};
#undef RAVELO_VARIANT_INDEX

struct Variant {
    const char* name;       // also the prefix of its functions, where it has some of its own
    std::int32_t index;     // [0, kNumVariants)
    std::uint64_t features; // needed by the variant, and the mask that selects it
    bool isFused;           // the full-size float transform fuses multiplications and additions
};

// All variants, by index.
#define RAVELO_VARIANT_ROW(prefix, Name, kernels, features, fused) {#prefix, kVariant##Name, features, fused},
constexpr Variant kVariants[kNumVariants] = {RAVELO_KERNEL_VARIANTS(RAVELO_VARIANT_ROW)};
#undef RAVELO_VARIANT_ROW

// Statuses of kernels and dispatch.
constexpr std::int32_t kStatusOk = 0;
constexpr std::int32_t kStatusNullPointer = -8;
constexpr std::int32_t kStatusNotIntel = 20;            // a report only: the choice is the same for every maker
constexpr std::int32_t kStatusNoUsableFeature = 36;     // or detection is impossible
constexpr std::int32_t kStatusFeatureMissing = 49;      // the processor or the system lacks a requested feature
constexpr std::int32_t kStatusUnknownFeature = 50;      // a requested bit among 36 to 62 has no meaning
constexpr std::int32_t kStatusLowerFeatureImplied = 51; // a feature below the chosen one was not named

// With this bit a host vouches for its mask: no check against the processor is made.
constexpr std::uint64_t kTrustFeaturesBit = std::uint64_t{1} << 63;

struct VariantSelection {
    std::int32_t index = kVariantY8;   // [0, kNumVariants)
    std::uint64_t enabledFeatures = 0; // the mask that is in force after the selection
    std::int32_t status = kStatusOk;
};

// The variant for a mask that is not checked. The highest feature decides and all below it are assumed, with a status
// that says so; `statusSoFar` has precedence over it.
VariantSelection variantFor(std::uint64_t features, std::int32_t statusSoFar = kStatusOk);

// The variant for a mask that a host requests on a processor with the `actual` features. AVX and AVX-512 are removed
// from the request if the system does not save their registers. Any other missing feature is reported and stays:
// forcing a variant that the processor cannot run is up to the host.
VariantSelection variantForRequest(std::uint64_t requested, std::uint64_t actual);

// Whether a processor with the `actual` features can run the variant.
bool canRun(Variant const& variant, std::uint64_t actual);

// The status of detection and selection together, by who made the processor.
std::int32_t statusOfInit(std::int32_t selectionStatus, bool isIntel);
