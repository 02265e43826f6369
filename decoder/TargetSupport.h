#pragma once

#include "OptimizationTarget.h"
#include "ProcessorFeatures.h"

// The best target whose instructions the processor has and whose registers the system saves. The maker does not matter.
// Each target needs all that the targets below it need, so it can run those too.
OptimizationTarget bestTargetFor(CpuidSnapshot const& processor);

// Whether a processor has the instructions that convert floats to halves (F16C). No target needs them, so this is asked
// besides the target, for those that use the registers of AVX.
bool hasHalfConversion(CpuidSnapshot const& processor);

// The same of this processor.
bool canConvertHalves();
