#pragma once

#include "CoefficientScan.h"
#include "LaneScan.h"

// The components of a group of slices on their way to the scan in lanes.

// With fewer components than this the lanes are empty for so long that other scans are faster.
constexpr unsigned int kFewestLaneScans = 12;

// The scans that read what the lanes do not.
struct OtherScans {
    void (*one)(ComponentScan& scan); // a component that the lanes cannot reach
    bool (*plainly)(ComponentScan const& scan);
    bool (*pairsPlainly)(ComponentScan const& scan, CoeffVLCState const& state, std::uint32_t position);
};

// Scans all components, in lanes those that can be. Returns false and does nothing when too few can. `count` is at most
// kMaxLaneScans.
bool scanGroupInLanes(LaneScanFunction& scanInLanes, OtherScans const& others, ComponentScan* scans,
                      unsigned int count);
