#include "CoeffVLCStream_Impl.h"

template class CoeffVLCStream<OptimizationTarget::Baseline>;
