#pragma once

#include "AlphaScan.h"
#include "LaneScan.h"

// The scans in lanes, their own source compiled with the emulation of EmulatedAvx512.h. Needs AVX2.
LaneScanFunction emulatedScanInLanesScattering;
LaneScanFunction emulatedScanInLanesStoringSingly;
AlphaLaneFunction emulatedScanAlphaInLanesScattering;
AlphaLaneFunction emulatedScanAlphaInLanesStoringSingly;
