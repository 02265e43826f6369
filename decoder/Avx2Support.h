#pragma once

#include <cstdint>

// What the test for OptimizationTarget::AVX2 looks at.
struct ProcessorRegisters {
    std::uint32_t basicEcx = 0;      // CPUID leaf 1, ECX
    std::uint32_t structuredEbx = 0; // CPUID leaf 7, subleaf 0, EBX
    std::uint32_t extendedEcx = 0;   // CPUID leaf 0x80000001, ECX
    std::uint32_t enabledState = 0;  // XCR0, its low half; looked at only if the system uses XSAVE
};

// The registers of this processor; those of leaves that it does not have are 0.
ProcessorRegisters processorRegisters();

// Whether a processor has AVX2, FMA, BMI1, BMI2, LZCNT and POPCNT, and the system saves the registers they use. The
// maker does not matter.
bool canRunAvx2(ProcessorRegisters const& registers);
