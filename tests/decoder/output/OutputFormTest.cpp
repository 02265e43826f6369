#include "OutputForm.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "ForcedStreaming.h"
#include "ProcessorTuning.h"

namespace {

PixelBuffer formBuffer(std::uint32_t bitDepth, std::uint32_t downSampleFactor = 0, std::uint32_t samplesPerPixel = 2) {
    PixelBuffer buffer;
    buffer.bitDepth = bitDepth;
    buffer.downSampleFactor = downSampleFactor;
    buffer.samplesPerPixel = samplesPerPixel;
    return buffer;
}

} // namespace

TEST(OutputFormTest, AReductionTakesTheCornersOfBlocksAt8BitsAndWholeBlocksAtMore) {
    constexpr BlockPart kParts[] = {BlockPart::Whole, BlockPart::Corner4x4, BlockPart::Corner2x2, BlockPart::Dc};
    constexpr std::uint32_t kKept[] = {64, 16, 4, 1};
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const OutputForm form(formBuffer(8, factor));
        EXPECT_EQ(form.blockPart, kParts[factor]);
        EXPECT_EQ(form.keptCoefficients, kKept[factor]);
        EXPECT_EQ(form.mbSize, 16u >> factor);
        for (const std::uint32_t bitDepth : {10u, 15u, 16u}) {
            const OutputForm deep(formBuffer(bitDepth, factor));
            EXPECT_EQ(deep.blockPart, BlockPart::Whole);
            EXPECT_EQ(deep.keptCoefficients, 64u);
            EXPECT_EQ(deep.mbSize, 16u >> factor);
        }
    }
}

TEST(OutputFormTest, AReductionAbove3WritesNothingAtAnyDepth) {
    for (const std::uint32_t factor : {4u, 5u, 31u, 32u, 0xFFFFFFFFu}) {
        for (const std::uint32_t bitDepth : kBitDepths) {
            EXPECT_EQ(OutputForm(formBuffer(bitDepth, factor)).blockPart, BlockPart::None);
            EXPECT_EQ(mbSizeAt(factor), 0u);
            EXPECT_EQ(writtenMbSize(factor, bitDepth), 0u);
        }
    }
}

TEST(OutputFormTest, MoreThan8BitsAreWrittenAtFullSize) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        EXPECT_EQ(writtenMbSize(factor, 8), 16u >> factor);
        EXPECT_EQ(writtenMbSize(factor, 10), 16u);
    }
}

TEST(OutputFormTest, APixelHasTwoOrFourSamplesOfOneOrTwoBytes) {
    EXPECT_EQ(OutputForm(formBuffer(8, 0, 2)).bytesPerPixel, 2u);
    EXPECT_EQ(OutputForm(formBuffer(8, 0, 4)).bytesPerPixel, 4u);
    EXPECT_EQ(OutputForm(formBuffer(10, 0, 2)).bytesPerPixel, 4u);
    EXPECT_EQ(OutputForm(formBuffer(16, 0, 4)).bytesPerPixel, 8u);
    EXPECT_EQ(OutputForm(formBuffer(8, 0, 2)).chromaBlocksPerMb, 2u);
    EXPECT_EQ(OutputForm(formBuffer(8, 0, 4)).chromaBlocksPerMb, 4u);
}

TEST(OutputFormTest, EveryDepthHasItsGreatestCodeAndNoOtherIsAccepted) {
    for (std::uint32_t bitDepth = 0; bitDepth < 40; ++bitDepth) {
        if (isBitDepth(bitDepth))
            EXPECT_EQ(OutputForm(formBuffer(bitDepth)).levels.maxValue,
                      static_cast<std::int32_t>(greatestCode(bitDepth)));
        else
            EXPECT_THROW(OutputForm(formBuffer(bitDepth)), std::runtime_error) << bitDepth;
    }
    EXPECT_TRUE(isBitDepth(8) && isBitDepth(10) && isBitDepth(15) && isBitDepth(16));
    EXPECT_EQ(greatestCode(8), 255u);
    EXPECT_EQ(greatestCode(10), 1023u);
    EXPECT_EQ(greatestCode(15), 32768u);
    EXPECT_EQ(greatestCode(16), 65535u);
}

TEST(OutputFormTest, OnlyLargeAlignedDeepPicturesOfFullSizeGoPastTheCaches) {
    constexpr std::int64_t kStride = 24 << 10; // 24 MiB for 1024 lines
    const ForcedStreaming large(std::uint64_t{24} << 20);
    alignas(64) std::uint8_t pixels[64];
    const auto streams = [&pixels](auto change) {
        PixelBuffer buffer = formBuffer(16);
        buffer.pixels = pixels;
        buffer.frameHeight = 1024;
        buffer.lineStride = kStride;
        change(buffer);
        return OutputForm(buffer).streams;
    };
    EXPECT_TRUE(streams([](PixelBuffer&) {}));
    EXPECT_TRUE(streams([](PixelBuffer& buffer) { buffer.lineStride = -kStride; }));
    EXPECT_TRUE(streams([](PixelBuffer& buffer) { buffer.bitDepth = 10; }));
    EXPECT_TRUE(streams([](PixelBuffer& buffer) { buffer.samplesPerPixel = 4; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.lineStride = kStride - 64; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.lineStride = -kStride + 64; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.lineStride = kStride + 32; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.pixels += 32; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.frameHeight = 0; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.bitDepth = 8; }));
    EXPECT_FALSE(streams([](PixelBuffer& buffer) { buffer.downSampleFactor = 1; }));
}

TEST(OutputFormTest, TheProcessorDecidesFromWhichSizeOnPicturesStream) {
    alignas(64) std::uint8_t pixels[64];
    for (const std::uint32_t samplesPerPixel : {2u, 4u}) {
        PixelBuffer buffer = formBuffer(16);
        buffer.pixels = pixels;
        buffer.samplesPerPixel = samplesPerPixel;
        buffer.frameHeight = 1024;
        const ProcessorTuning tuning = processorTuning();
        const std::uint64_t least = samplesPerPixel == 4 ? tuning.leastStreamed444 : tuning.leastStreamed422;
        for (const std::int64_t stride : {1 << 10, 4 << 10, (24 << 10) - 64, 24 << 10, 1 << 20}) {
            buffer.lineStride = stride;
            EXPECT_EQ(OutputForm(buffer).streams, static_cast<std::uint64_t>(stride) * 1024 >= least) << stride;
        }
    }
}
