#include "LaneSupport.h"

#include <atomic>

#include "ProcessorDispatch.h"
#include "ProcessorTuning.h"
#include "VariantSelection.h"

namespace {

constexpr std::uint32_t kDetected = registerBit(0);
constexpr std::uint32_t kLanesUsable = registerBit(1);
constexpr std::uint32_t kScattersFast = registerBit(2);

// Zero until the first test. The test always gives the same word, so threads that race to store it do no harm.
std::atomic<std::uint32_t> s_laneFeatures{0};

std::uint32_t laneFeatures(CpuidSnapshot const& processor) {
    return kDetected | (canRunLanes(processor) ? kLanesUsable : 0) |
           (processorTuning(processor).scattersFast ? kScattersFast : 0);
}

std::uint32_t laneFeaturesOfThisProcessor() {
    std::uint32_t features = s_laneFeatures.load(std::memory_order_relaxed);
    if (features == 0) {
        features = laneFeatures(cpuidSnapshot());
        s_laneFeatures.store(features, std::memory_order_relaxed);
    }
    return features;
}

constexpr LaneFunctions kScattering{scanInLanesScattering, scanAlphaInLanesScattering};
constexpr LaneFunctions kStoringSingly{scanInLanesStoringSingly, scanAlphaInLanesStoringSingly};

LaneFunctions const* laneFunctionsWith(std::uint32_t features) {
    if ((features & kLanesUsable) == 0)
        return nullptr;
    return (features & kScattersFast) != 0 ? &kScattering : &kStoringSingly;
}

} // namespace

bool canRunLanes(CpuidSnapshot const& processor) {
    constexpr std::uint32_t kF = registerBit(16), kDq = registerBit(17), kCd = registerBit(28), kBw = registerBit(30),
                            kVl = registerBit(31);
    constexpr std::uint32_t kVbmi = registerBit(1), kVbmi2 = registerBit(6), kVnni = registerBit(11);
    constexpr std::uint32_t kEbx = kF | kDq | kCd | kBw | kVl;
    constexpr std::uint32_t kEcx = kVbmi | kVbmi2 | kVnni;
    // The lower halves, the mask registers, the upper halves of the first sixteen registers, and the other sixteen.
    constexpr std::uint32_t kStates =
        registerBit(1) | registerBit(2) | registerBit(5) | registerBit(6) | registerBit(7);
    return (processor.leaf7.ebx & kEbx) == kEbx && (processor.leaf7.ecx & kEcx) == kEcx &&
           (processor.xcr0 & kStates) == kStates;
}

LaneFunctions const* laneFunctionsFor(std::int32_t kernelVariant, CpuidSnapshot const& processor) {
    return kernelVariant == kVariantK0 ? laneFunctionsWith(laneFeatures(processor)) : nullptr;
}

LaneFunctions const* laneFunctionsOfPicture() {
    const auto variant = std::atomic_ref<std::int32_t>(ippJumpIndexForMergedLibs).load(std::memory_order_relaxed);
    return variant == kVariantK0 ? laneFunctionsWith(laneFeaturesOfThisProcessor()) : nullptr;
}
