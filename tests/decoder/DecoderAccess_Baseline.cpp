#include "DecoderAccess_Impl.h"
#include "EightValues_Baseline.h"

template class BitReader<OptimizationTarget::Baseline>;
template void gatherCorners<OptimizationTarget::Baseline>(int, ComponentScan const&, const std::uint32_t*,
                                                          std::int16_t*);
template void gatherCornersPlainly<OptimizationTarget::Baseline>(int, ComponentScan const&, const std::uint32_t*,
                                                                 std::int16_t*);
template void dequantizeCornersOfSize<OptimizationTarget::Baseline>(int, std::int16_t*, const float*, std::uint32_t);
template void scanThreeStreams<OptimizationTarget::Baseline>(ThreeRanges const&);
template void convertToHalves<OptimizationTarget::Baseline>(const float*, bool, std::uint16_t*);
