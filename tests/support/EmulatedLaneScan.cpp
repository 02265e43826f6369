#include "EmulatedLaneScan.h"

#include "EmulatedAvx512.h"

// The entries with real instructions are in the same program.
#define scanInLanesScattering emulatedScanInLanesScattering
#define scanInLanesStoringSingly emulatedScanInLanesStoringSingly
#define scanAlphaInLanesScattering emulatedScanAlphaInLanesScattering
#define scanAlphaInLanesStoringSingly emulatedScanAlphaInLanesStoringSingly

#include "LaneScan_AVX512.cpp"
