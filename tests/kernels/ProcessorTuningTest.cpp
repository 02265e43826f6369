#include "ProcessorTuning.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kGenuineIntel = 0x756E6547;
constexpr std::uint32_t kAuthenticAmd = 0x68747541;
constexpr std::uint32_t kSapphireRapids = 0x000806F8;
constexpr std::uint32_t kZen3 = 0x00A00F11;
constexpr std::uint32_t kZen5 = 0x00B00F21;

ProcessorTuning tuningOf(std::uint32_t maker, std::uint32_t signature) {
    CpuidSnapshot processor;
    processor.leaf0.ebx = maker;
    processor.leaf1.eax = signature;
    return processorTuning(processor);
}

} // namespace

TEST(ProcessorTuningTest, OnlyMeasuredProcessorsStoreByOneInstruction) {
    EXPECT_TRUE(tuningOf(kGenuineIntel, kSapphireRapids).scattersFast);
    EXPECT_TRUE(tuningOf(kAuthenticAmd, kZen5).scattersFast);
    EXPECT_FALSE(tuningOf(kGenuineIntel, 0x000C06F2).scattersFast) << "Emerald Rapids";
    EXPECT_FALSE(tuningOf(kAuthenticAmd, kSapphireRapids).scattersFast);
    EXPECT_FALSE(tuningOf(kGenuineIntel, 0x000706E5).scattersFast) << "Ice Lake";
    EXPECT_FALSE(tuningOf(kGenuineIntel, kSapphireRapids & ~0xF0000u).scattersFast) << "no extended model";
    EXPECT_FALSE(tuningOf(kGenuineIntel, 0x00A80FF8).scattersFast) << "another family";
    EXPECT_FALSE(tuningOf(kAuthenticAmd, 0x00A10F11).scattersFast) << "Zen 4";
    EXPECT_FALSE(processorTuning(CpuidSnapshot{}).scattersFast);
}

TEST(ProcessorTuningTest, TheSteppingDoesNotMatter) {
    EXPECT_TRUE(tuningOf(kGenuineIntel, kSapphireRapids & ~0xFu).scattersFast);
    EXPECT_EQ(tuningOf(kAuthenticAmd, kZen5 | 0xF).leastStreamed422, tuningOf(kAuthenticAmd, kZen5).leastStreamed422);
}

TEST(ProcessorTuningTest, UnknownProcessorsStreamLargePictures) {
    const ProcessorTuning unknown = processorTuning(CpuidSnapshot{});
    EXPECT_EQ(unknown.leastStreamed422, std::uint64_t{24} << 20);
    EXPECT_EQ(unknown.leastStreamed444, std::uint64_t{24} << 20);
    EXPECT_EQ(tuningOf(kAuthenticAmd, kZen3).leastStreamed422, unknown.leastStreamed422);
    EXPECT_EQ(tuningOf(kAuthenticAmd, kZen3).leastStreamed444, ProcessorTuning::kNever);
    EXPECT_LT(tuningOf(kAuthenticAmd, kZen5).leastStreamed422, unknown.leastStreamed422);
}

TEST(ProcessorTuningTest, ThePresentProcessorHasThatOfItsRegisters) {
    const ProcessorTuning here = processorTuning(cpuidSnapshot());
    EXPECT_EQ(processorTuning().scattersFast, here.scattersFast);
    EXPECT_EQ(processorTuning().leastStreamed422, here.leastStreamed422);
    EXPECT_EQ(processorTuning().leastStreamed444, here.leastStreamed444);
}
