#include "CoefficientScan_Impl.h"

template void scanComponents<OptimizationTarget::Baseline>(ComponentScan*, unsigned int, LaneScanFunction*);
template bool scanComponentPlainly<OptimizationTarget::Baseline>(ComponentScan const&);
template bool scanComponentIntoBlocks<OptimizationTarget::Baseline>(ComponentScan const&);
template bool scanPairsPlainly<OptimizationTarget::Baseline>(ComponentScan const&, CoeffVLCState const&, std::uint32_t);
