#pragma once

#include "LaneScan.h"

// The scan in lanes, its own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2.
LaneScanFunction emulatedScanInLanesScattering;
LaneScanFunction emulatedScanInLanesStoringSingly;
