#include "TargetSupport.h"

#include <gtest/gtest.h>

#include "OptimizationTarget.h"
#include "RaveloDecoderInterface.h"

namespace {

// A processor that has just what the AVX2 path needs, on a system that saves its registers.
ProcessorRegisters sufficient() {
    ProcessorRegisters registers;
    registers.basicEcx = 1u << 12 | 1u << 23 | 1u << 27 | 1u << 28;
    registers.structuredEbx = 1u << 3 | 1u << 5 | 1u << 8;
    registers.extendedEcx = 1u << 5;
    registers.enabledState = 1u << 1 | 1u << 2;
    return registers;
}

TEST(TargetSupportTest, TheSufficientProcessorRunsAvx2) {
    EXPECT_EQ(bestTargetFor(sufficient()), OptimizationTarget::AVX2);
}

TEST(TargetSupportTest, EverySingleFeatureIsNeeded) {
    for (const unsigned int bit : {12u, 23u, 27u, 28u}) {
        ProcessorRegisters registers = sufficient();
        registers.basicEcx &= ~(1u << bit);
        EXPECT_EQ(bestTargetFor(registers), OptimizationTarget::Baseline) << "leaf 1 without bit " << bit;
    }
    for (const unsigned int bit : {3u, 5u, 8u}) {
        ProcessorRegisters registers = sufficient();
        registers.structuredEbx &= ~(1u << bit);
        EXPECT_EQ(bestTargetFor(registers), OptimizationTarget::Baseline) << "leaf 7 without bit " << bit;
    }
    ProcessorRegisters registers = sufficient();
    registers.extendedEcx = 0;
    EXPECT_EQ(bestTargetFor(registers), OptimizationTarget::Baseline) << "without LZCNT";
}

TEST(TargetSupportTest, ASystemWithoutYmmStateRunsBaselineOnly) {
    for (const unsigned int bit : {1u, 2u}) {
        ProcessorRegisters registers = sufficient();
        registers.enabledState &= ~(1u << bit);
        EXPECT_EQ(bestTargetFor(registers), OptimizationTarget::Baseline) << "XCR0 without bit " << bit;
    }
}

TEST(TargetSupportTest, TheConversionOfHalvesIsAFeatureOfItsOwn) {
    ProcessorRegisters registers = sufficient();
    EXPECT_FALSE(hasHalfConversion(registers)) << "AVX2 does not imply it";
    registers.basicEcx |= 1u << 29;
    EXPECT_TRUE(hasHalfConversion(registers));
    EXPECT_EQ(bestTargetFor(registers), OptimizationTarget::AVX2);
}

TEST(TargetSupportTest, GetMaxOptTypeFollowsTheRegistersOfThisProcessor) {
    EXPECT_EQ(RaveloDecoderInterface::GetMaxOptType(), static_cast<int>(bestTargetFor(processorRegisters())));
}

} // namespace
