// The special forms of the library come first, so that these instances are those that ship.
#include "BlockGather_AVX2.h"
#include "CornerDequantization_AVX2.h"
#include "DecoderAccess_Impl.h"
#include "EightValues_AVX2.h"

template class BitReader<OptimizationTarget::AVX2>;
template void gatherCorners<OptimizationTarget::AVX2>(int, ComponentScan const&, const std::uint32_t*, std::int16_t*);
template void gatherCornersPlainly<OptimizationTarget::AVX2>(int, ComponentScan const&, const std::uint32_t*,
                                                             std::int16_t*);
template void dequantizeCornersOfSize<OptimizationTarget::AVX2>(int, std::int16_t*, const float*, std::uint32_t);
template void scanThreeStreams<OptimizationTarget::AVX2>(ThreeRanges const&);
template void convertToHalves<OptimizationTarget::AVX2>(const float*, bool, std::uint16_t*);
