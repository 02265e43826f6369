#pragma once

#include <cstdint>

// Detection of the processor's features, and the choice of the kernels' variant by them.
//
// The decoder needs only ippInit, which its static initialiser calls at load, and the index that it leaves. The other
// calls let a host see and restrict the choice. Statuses are those of VariantSelection.h; none stops decoding, since
// every outcome leaves an index from 0 to 3.
//
// All calls may be made from any thread. Selections made at once by several threads leave the result of one of them.

extern "C" {

// The state of the process. It is read and written as single atomic values; a host should use the calls below.
extern std::int32_t ippJumpIndexForMergedLibs; // the variant in use, [0, 3]; -1 until the first selection
extern std::uint64_t ownFeaturesMask;          // the enabled features
extern std::uint64_t ownFeatures;              // what detection found; meaningful once ownFeaturesAreValid is not 0
extern std::int32_t ownFeaturesAreValid;
extern std::int32_t ippsts; // status of the selection at load; kept for a debugger

// Detects and selects. Returns the selection's status, or 20 on a processor of another maker than Intel, which gets the
// same variant as Intel's for the same features.
std::int32_t ippInit();

// ippInit for a call that is already on its way: it disturbs no argument of its caller.
void ippSafeInit();

// Stores the detected features in `features`, and the registers EAX, EBX, ECX and EDX of cpuid leaf 1 in the four
// values at `cpuInfo`, which may be null. If `features` holds the eight bytes "getinfoa" on entry, the first and third
// values at `cpuInfo` name the leaf and subleaf to be read instead. Returns 0, -8 when `features` is null, or 36 when
// detection is impossible.
std::int32_t ippGetCpuFeatures(std::uint64_t* features, std::uint32_t* cpuInfo);

// Selects the variant for `features` and returns the status. With bit 63 the mask is trusted: the enabled features
// become the detected ones, and nothing is checked. Otherwise a feature that the processor lacks is reported but
// selected all the same, unless the system does not save its registers.
std::int32_t ippSetCpuFeatures(std::uint64_t features);

// Sets and returns the enabled features, without any selection.
void ippSetCpuFeaturesMask(std::uint64_t mask);
std::uint64_t ippGetEnabledCpuFeatures();

// 1 when all of `bits` are among the enabled features, otherwise 0.
std::int32_t ownGetFeature(std::uint64_t bits);

// Stores the detected features, from memory after the first call. Returns 1: detection never fails where cpuid exists.
std::int32_t ownGetMaskFeatures(std::uint64_t* features);

// Makes the enabled features count as the detected ones.
void ownMaskIsFeatures();

// The variant for a mask, which is not checked: sets `index` and adds the implied features to `features`. Returns 0, or
// 51 if some were not named, or 36 with `features` unchanged if none is usable.
std::int32_t ownFeaturesToIdx(std::uint64_t* features, std::int32_t* index);

// Selects for `features` as ippSetCpuFeatures does, but leaves the index in `index` alone.
std::int32_t ownSetCpuFeaturesAndIdx(std::uint64_t features, std::int32_t* index);

// Stores EAX, EBX, ECX and EDX of a cpuid leaf in the four values at `registers`.
void ownGetReg(std::uint32_t* registers, std::uint32_t leaf, std::uint32_t subleaf);

std::int32_t ipp_has_cpuid();           // 1: every processor that this code runs on has it
std::int32_t ipp_is_GenuineIntel();     // 1 when Intel made the processor, otherwise 0
std::int32_t ipp_is_avx_extension();    // 1 when processor and system support AVX, otherwise 0
std::int32_t ipp_is_avx512_extension(); // 1 when the system saves the 512-bit registers, otherwise 0
}
