#include "Intrinsics.h"
#include "LaneScan_Impl.h"

// The one unit of the decoder that is compiled for AVX-512. It must define nothing that the linker could share with
// other units, so it calls nothing but the functions of the job and the C library.

void scanInLanesScattering(LaneScanJob const& job) {
    LaneScan<LaneStores::Scattered>(job).run();
}

void scanInLanesStoringSingly(LaneScanJob const& job) {
    LaneScan<LaneStores::Singly>(job).run();
}
