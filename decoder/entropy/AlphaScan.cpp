#include "AlphaScan_Impl.h"

template void scanAlphaPlanes<OptimizationTarget::Baseline>(AlphaPlane const*, unsigned int, unsigned int,
                                                            AlphaLaneFunction*);
