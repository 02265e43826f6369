#pragma once

#include "CoefficientScan.h"
#include "FastScan_Impl.h"
#include "LaneGroup.h"
#include "PlainScan_Impl.h"

// The choice of the scan. Any components may be given to FastScan, which is faster than the plain form even for one; it
// leaves to the plain form what it cannot read itself. A further scan has a file of its own beside FastScan_Impl.h and
// is chosen here.

template <OptimizationTarget target>
void scanOneFast(ComponentScan& scan) {
    FastScan<target>(&scan, 1).run();
}

template <OptimizationTarget target>
bool scanInLanesIfPossible(LaneScanFunction* scanInLanes, ComponentScan* scans, unsigned int count) {
    if (target == OptimizationTarget::Baseline || scanInLanes == nullptr || count > kMaxLaneScans)
        return false;
    const OtherScans others = {scanOneFast<target>, scanComponentPlainly<target>, scanPairsPlainly<target>};
    return scanGroupInLanes(*scanInLanes, others, scans, count);
}

template <OptimizationTarget target>
void scanComponents(ComponentScan* scans, unsigned int count, LaneScanFunction* scanInLanes) {
    if (scanInLanesIfPossible<target>(scanInLanes, scans, count))
        return;
    constexpr unsigned int kMost = FastScan<target>::kMaxScans;
    for (unsigned int first = 0; first < count; first += kMost)
        FastScan<target>(scans + first, count - first < kMost ? count - first : kMost).run();
}
