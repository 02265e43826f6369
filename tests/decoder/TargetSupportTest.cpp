#include "TargetSupport.h"

#include <gtest/gtest.h>

#include "OptimizationTarget.h"
#include "RaveloDecoderInterface.h"

namespace {

// A processor that has just what the AVX2 path needs, on a system that saves its registers.
CpuidSnapshot sufficient() {
    CpuidSnapshot processor;
    processor.leaf1.ecx = 1u << 12 | 1u << 23 | 1u << 27 | 1u << 28;
    processor.leaf7.ebx = 1u << 3 | 1u << 5 | 1u << 8;
    processor.leaf80000001.ecx = 1u << 5;
    processor.xcr0 = 1u << 1 | 1u << 2;
    return processor;
}

TEST(TargetSupportTest, TheSufficientProcessorRunsAvx2) {
    EXPECT_EQ(bestTargetFor(sufficient()), OptimizationTarget::AVX2);
}

TEST(TargetSupportTest, EverySingleFeatureIsNeeded) {
    for (const unsigned int bit : {12u, 23u, 27u, 28u}) {
        CpuidSnapshot processor = sufficient();
        processor.leaf1.ecx &= ~(1u << bit);
        EXPECT_EQ(bestTargetFor(processor), OptimizationTarget::Baseline) << "leaf 1 without bit " << bit;
    }
    for (const unsigned int bit : {3u, 5u, 8u}) {
        CpuidSnapshot processor = sufficient();
        processor.leaf7.ebx &= ~(1u << bit);
        EXPECT_EQ(bestTargetFor(processor), OptimizationTarget::Baseline) << "leaf 7 without bit " << bit;
    }
    CpuidSnapshot processor = sufficient();
    processor.leaf80000001.ecx = 0;
    EXPECT_EQ(bestTargetFor(processor), OptimizationTarget::Baseline) << "without LZCNT";
}

TEST(TargetSupportTest, ASystemWithoutYmmStateRunsBaselineOnly) {
    for (const unsigned int bit : {1u, 2u}) {
        CpuidSnapshot processor = sufficient();
        processor.xcr0 &= ~(std::uint64_t{1} << bit);
        EXPECT_EQ(bestTargetFor(processor), OptimizationTarget::Baseline) << "XCR0 without bit " << bit;
    }
}

TEST(TargetSupportTest, TheConversionOfHalvesIsAFeatureOfItsOwn) {
    CpuidSnapshot processor = sufficient();
    EXPECT_FALSE(hasHalfConversion(processor)) << "AVX2 does not imply it";
    processor.leaf1.ecx |= 1u << 29;
    EXPECT_TRUE(hasHalfConversion(processor));
    EXPECT_EQ(bestTargetFor(processor), OptimizationTarget::AVX2);
}

TEST(TargetSupportTest, GetMaxOptTypeFollowsTheRegistersOfThisProcessor) {
    EXPECT_EQ(RaveloDecoderInterface::GetMaxOptType(), static_cast<int>(bestTargetFor(cpuidSnapshot())));
}

} // namespace
