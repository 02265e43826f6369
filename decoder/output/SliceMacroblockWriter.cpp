#include "SliceMacroblockWriter_Impl.h"

#include "PixelRows_Baseline.h"
#include "Slice422MacroblockWriter_Impl.h"
#include "Slice4444MacroblockWriter_Impl.h"
#include "Slice444MacroblockWriter_Impl.h"

template class SliceMacroblockWriter<OptimizationTarget::Baseline, float>;
template class Slice422MacroblockWriter<OptimizationTarget::Baseline, float>;
template class Slice444MacroblockWriter<OptimizationTarget::Baseline, float>;
template class Slice4444MacroblockWriter<OptimizationTarget::Baseline, float>;
