#include "ProcessorDispatch.h"

#include <atomic>
#include <cstring>

#include "ProcessorFeatures.h"
#include "VariantSelection.h"

std::int32_t ippJumpIndexForMergedLibs = kVariantNotChosen;
std::uint64_t ownFeaturesMask = kFeaturesUpToSse2;
std::uint64_t ownFeatures = 0;
std::int32_t ownFeaturesAreValid = 0;
std::int32_t ippsts = kStatusOk;

namespace {

// The variables have plain types because hosts read them by name. Several threads may find them unset at once; all of
// them compute the same values, so single atomic accesses suffice without a lock.
template <typename Value>
Value load(Value& variable) {
    return std::atomic_ref<Value>(variable).load(std::memory_order_acquire);
}

template <typename Value>
void store(Value& variable, Value value) {
    std::atomic_ref<Value>(variable).store(value, std::memory_order_release);
}

} // namespace

std::int32_t ipp_has_cpuid() {
    return 1;
}

std::int32_t ipp_is_GenuineIntel() {
    return isGenuineIntel(cpuidSnapshot()) ? 1 : 0;
}

std::int32_t ipp_is_avx_extension() {
    return avxStateEnabled(cpuidSnapshot()) ? 1 : 0;
}

std::int32_t ipp_is_avx512_extension() {
    return avx512StateEnabled(cpuidSnapshot()) ? 1 : 0;
}

void ownGetReg(std::uint32_t* registers, std::uint32_t leaf, std::uint32_t subleaf) {
    const CpuidRegisters found = cpuidRegisters(leaf, subleaf);
    registers[0] = found.eax;
    registers[1] = found.ebx;
    registers[2] = found.ecx;
    registers[3] = found.edx;
}

std::int32_t ownGetMaskFeatures(std::uint64_t* features) {
    if (load(ownFeaturesAreValid) == 0) {
        store(ownFeatures, featuresFrom(cpuidSnapshot()));
        store(ownFeaturesAreValid, std::int32_t{1});
    }
    *features = load(ownFeatures);
    return 1;
}

void ownMaskIsFeatures() {
    store(ownFeatures, load(ownFeaturesMask));
    store(ownFeaturesAreValid, std::int32_t{1});
}

std::int32_t ownFeaturesToIdx(std::uint64_t* features, std::int32_t* index) {
    const VariantSelection selection = variantFor(*features);
    *index = selection.index;
    if (selection.status != kStatusNoUsableFeature)
        *features = selection.enabledFeatures;
    return selection.status;
}

std::int32_t ownSetCpuFeaturesAndIdx(std::uint64_t features, std::int32_t* index) {
    VariantSelection selection;
    if ((features & kTrustFeaturesBit) != 0) {
        ownMaskIsFeatures();
        selection = variantFor(features & ~kTrustFeaturesBit);
    } else {
        std::uint64_t actual = 0;
        ownGetMaskFeatures(&actual);
        selection = variantForRequest(features, actual);
    }
    *index = selection.index;
    store(ownFeaturesMask, selection.enabledFeatures);
    return selection.status;
}

std::int32_t ippGetCpuFeatures(std::uint64_t* features, std::uint32_t* cpuInfo) {
    if (features == nullptr)
        return kStatusNullPointer;
    if (ipp_has_cpuid() == 0)
        return kStatusNoUsableFeature;
    if (cpuInfo != nullptr) {
        const bool leafIsNamed = std::memcmp(features, "getinfoa", sizeof *features) == 0;
        ownGetReg(cpuInfo, leafIsNamed ? cpuInfo[0] : 1, leafIsNamed ? cpuInfo[2] : 0);
    }
    return ownGetMaskFeatures(features) != 0 ? kStatusOk : kStatusNoUsableFeature;
}

std::int32_t ippSetCpuFeatures(std::uint64_t features) {
    std::int32_t index = kVariantY8;
    const std::int32_t status = ownSetCpuFeaturesAndIdx(features, &index);
    store(ippJumpIndexForMergedLibs, index);
    return status;
}

void ippSetCpuFeaturesMask(std::uint64_t mask) {
    store(ownFeaturesMask, mask);
}

std::uint64_t ippGetEnabledCpuFeatures() {
    return load(ownFeaturesMask);
}

std::int32_t ownGetFeature(std::uint64_t bits) {
    return (load(ownFeaturesMask) & bits) == bits ? 1 : 0;
}

std::int32_t ippInit() {
    std::uint64_t features = 0;
    const std::int32_t detection = ippGetCpuFeatures(&features, nullptr);
    if (detection != kStatusOk) {
        store(ownFeaturesMask, kFeaturesUpToSse2);
        store(ippJumpIndexForMergedLibs, std::int32_t{kVariantY8});
        return detection;
    }
    return statusOfInit(ippSetCpuFeatures(features), ipp_is_GenuineIntel() != 0);
}
