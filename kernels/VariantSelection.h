#pragma once

#include <cstdint>

// Which variant of the kernels serves a feature mask. Pure functions of masks, so that they can be asked about
// processors that are not here.

// Indices of the variants, which are also places in the jump tables.
constexpr std::int32_t kVariantNotChosen = -1;
constexpr std::int32_t kVariantY8 = 0; // SSE2
constexpr std::int32_t kVariantE9 = 1; // AVX
constexpr std::int32_t kVariantL9 = 2; // AVX2 and fused multiply-add
constexpr std::int32_t kVariantK0 = 3; // AVX-512 F, CD, BW, DQ and VL
constexpr std::int32_t kNumVariants = 4;

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
    std::int32_t index = kVariantY8;   // [0, 3]
    std::uint64_t enabledFeatures = 0; // the mask that is in force after the selection
    std::int32_t status = kStatusOk;
};

// The variant for a mask that is taken at its word. The highest feature wins and all below it are assumed, with a
// status that says so; `statusSoFar` has precedence over it.
VariantSelection variantFor(std::uint64_t features, std::int32_t statusSoFar = kStatusOk);

// The variant for a mask that a host asks for on a processor that has the `actual` features. AVX and AVX-512 are taken
// out of the request where the system does not save their registers. Any other missing feature is reported and stays:
// forcing a variant that the processor cannot run is the host's own affair.
VariantSelection variantForRequest(std::uint64_t requested, std::uint64_t actual);
