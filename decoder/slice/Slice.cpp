#include "EightValues_Baseline.h"
#include "PixelRows_Baseline.h"
#include "Slice_Impl.h"
#include "VerticalReconstruction_Baseline.h"

template unsigned int countBits<OptimizationTarget::Baseline>(std::uint32_t);
template class Slice<OptimizationTarget::Baseline>;
template class SliceGroup<OptimizationTarget::Baseline>;
