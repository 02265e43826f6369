#pragma once

#include <cstdint>

#include "OptimizationTarget.h"

// What the choice of a target looks at.
struct ProcessorRegisters {
    std::uint32_t basicEcx = 0;      // CPUID leaf 1, ECX
    std::uint32_t structuredEbx = 0; // CPUID leaf 7, subleaf 0, EBX
    std::uint32_t extendedEcx = 0;   // CPUID leaf 0x80000001, ECX
    std::uint32_t enabledState = 0;  // XCR0, its low half; looked at only if the system uses XSAVE
};

// The registers of this processor; those of leaves that it does not have are 0.
ProcessorRegisters processorRegisters();

// The best target whose instructions the processor has and whose registers the system saves. The maker does not matter.
// Each target needs all that the targets below it need, so it can run those too.
OptimizationTarget bestTargetFor(ProcessorRegisters const& registers);

// Whether a processor has the instructions that convert floats to halves (F16C). No target needs them, so this is asked
// besides the target, for those that use the registers of AVX.
bool hasHalfConversion(ProcessorRegisters const& registers);

// The same of this processor.
bool canConvertHalves();
