#include "CoefficientScan_Impl.h"

template void scanComponents<OptimizationTarget::Baseline>(ComponentScan*, unsigned int);
template bool scanComponentPlainly<OptimizationTarget::Baseline>(ComponentScan const&);
template bool scanComponentIntoBlocks<OptimizationTarget::Baseline>(ComponentScan const&);
