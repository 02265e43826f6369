#include "Intrinsics.h"

#include "AlphaLanes_Impl.h"
#include "LaneScan_Impl.h"

// This unit must define nothing that the linker could share with other units, so it calls nothing but the functions of
// the job and the C library.

void scanInLanesScattering(LaneScanJob const& job) {
    LaneScan<LaneStores::Scattered>(job).run();
}

void scanInLanesStoringSingly(LaneScanJob const& job) {
    LaneScan<LaneStores::Singly>(job).run();
}

void scanAlphaInLanesScattering(AlphaLaneJob const& job) {
    scanAlpha<LaneStores::Scattered>(job);
}

void scanAlphaInLanesStoringSingly(AlphaLaneJob const& job) {
    scanAlpha<LaneStores::Singly>(job);
}
