#include "EightValues_Baseline.h"
#include "FormedRow_Impl.h"

template class FormedRow<OptimizationTarget::Baseline>;
