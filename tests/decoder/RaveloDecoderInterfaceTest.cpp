#include "RaveloDecoderInterface.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FrameMaker.h"
#include "Random.h"

namespace {

constexpr std::int64_t kStride = 48 * 4;
constexpr std::uint32_t kLines = 16;

// Half size of a frame with alpha of 16 bits: the one output in which the two targets differ in every pixel.
MadeFrame telltaleFrame() {
    FrameSpec spec;
    spec.horizontal_size = 48;
    spec.vertical_size = 32;
    spec.chroma_format = 3;
    spec.alpha_channel_type = 2;
    Random random(1101);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}

std::vector<std::uint8_t> decodedAs(MadeFrame const& made, OptimizationTarget target) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kStride) * kLines);
    EXPECT_EQ(RaveloDecoderInterface::DecompressFrameFromBits(made.bytes.data(), made.bytes.size(), 1,
                                                              ColorCoding_YCbCr, 8, pixels.data(), kStride, target),
              1);
    return pixels;
}

} // namespace

TEST(RaveloDecoderInterfaceTest, GetMaxOptTypeNeverChangesItsAnswer) {
    const int first = RaveloDecoderInterface::GetMaxOptType();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([first] {
            for (int k = 0; k < 100; ++k)
                EXPECT_EQ(RaveloDecoderInterface::GetMaxOptType(), first);
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(RaveloDecoderInterfaceTest, TargetsAboveZeroRunAvx2WhereTheProcessorCanAndBaselineElsewhere) {
    const MadeFrame made = telltaleFrame();
    const std::uint8_t alpha = RaveloDecoderInterface::GetMaxOptType() == 1 ? 127 : 255;
    for (const int target : {1, 2, 3, 1000, 2147483647})
        EXPECT_EQ(decodedAs(made, static_cast<OptimizationTarget>(target))[0], alpha) << target;
}

TEST(RaveloDecoderInterfaceTest, TargetsOfZeroAndBelowRunBaseline) {
    const MadeFrame made = telltaleFrame();
    const auto expected = decodedAs(made, OptimizationTarget::Baseline);
    EXPECT_EQ(expected[0], 255);
    for (const int target : {-1, -2, -2147483647 - 1})
        EXPECT_EQ(decodedAs(made, static_cast<OptimizationTarget>(target)), expected) << target;
}

TEST(RaveloDecoderInterfaceTest, ACallReturnsOneWhateverTheDataIs) {
    std::vector<std::uint8_t> pixels(1024);
    EXPECT_EQ(RaveloDecoderInterface::DecompressFrameFromBits(nullptr, 0, 0, ColorCoding_YCbCr, 8, pixels.data(), 64,
                                                              OptimizationTarget::Baseline),
              1);
    MadeFrame made = telltaleFrame();
    for (std::size_t size = 0; size < made.bytes.size(); size += 97)
        EXPECT_EQ(RaveloDecoderInterface::DecompressFrameFromBits(made.bytes.data(), size, 1, ColorCoding_YCbCr, 8,
                                                                  std::vector<std::uint8_t>(kStride * kLines).data(),
                                                                  kStride, OptimizationTarget::Baseline),
                  1);
}

TEST(RaveloDecoderInterfaceTest, FramesDecodeAtTheSameTimeOnDifferentThreads) {
    const MadeFrame made = telltaleFrame();
    const auto expected = decodedAs(made, OptimizationTarget::AVX2);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&made, &expected] {
            for (int k = 0; k < 20; ++k)
                EXPECT_EQ(decodedAs(made, OptimizationTarget::AVX2), expected);
        });
    for (std::thread& thread : threads)
        thread.join();
}
