#include "AlphaVLCStream_Impl.h"

// Both instances are here: alpha decoding uses no instruction that the targets differ in.
template class AlphaVLCStream<OptimizationTarget::Baseline>;
template class AlphaVLCStream<OptimizationTarget::AVX2>;
