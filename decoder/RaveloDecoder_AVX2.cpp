// The one unit of the decoder that is built for AVX2. It instantiates the templates for OptimizationTarget::AVX2 and
// does nothing else. Whatever has a weak symbol here must carry the target's name, or the linker could keep this copy
// for a processor that cannot run it.

#include "AlphaScan_Impl.h"
#include "BlockGather_AVX2.h"
#include "CoeffVLCStream_Impl.h"
#include "CoefficientScan_Impl.h"
#include "CornerDequantization_AVX2.h"
#include "EightValues_AVX2.h"
#include "FormedRow_Impl.h"
#include "Picture_Impl.h"
#include "PixelRows_AVX2.h"
#include "ReducedRows444_AVX2.h"
#include "Slice422MacroblockWriter_Impl.h"
#include "Slice4444MacroblockWriter_Impl.h"
#include "Slice444MacroblockWriter_Impl.h"
#include "SliceMacroblockWriter_Impl.h"
#include "Slice_Impl.h"
#include "VerticalReconstruction_AVX2.h"

template void scanAlphaPlanes<OptimizationTarget::AVX2>(AlphaPlane const*, unsigned int, unsigned int,
                                                        AlphaLaneFunction*);
template class CoeffVLCStream<OptimizationTarget::AVX2>;
template void scanComponents<OptimizationTarget::AVX2>(ComponentScan*, unsigned int, LaneScanFunction*);
template bool scanComponentPlainly<OptimizationTarget::AVX2>(ComponentScan const&);
template bool scanComponentIntoBlocks<OptimizationTarget::AVX2>(ComponentScan const&);
template bool scanPairsPlainly<OptimizationTarget::AVX2>(ComponentScan const&, CoeffVLCState const&, std::uint32_t);
template class SliceMacroblockWriter<OptimizationTarget::AVX2, float>;
template class Slice422MacroblockWriter<OptimizationTarget::AVX2, float>;
template class Slice444MacroblockWriter<OptimizationTarget::AVX2, float>;
template class Slice4444MacroblockWriter<OptimizationTarget::AVX2, float>;
template class FormedRow<OptimizationTarget::AVX2>;
template unsigned int countBits<OptimizationTarget::AVX2>(std::uint32_t);
template class Slice<OptimizationTarget::AVX2>;
template class SliceGroup<OptimizationTarget::AVX2>;
template class Picture<OptimizationTarget::AVX2>;
