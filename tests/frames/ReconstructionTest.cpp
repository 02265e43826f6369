#include <cstdint>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "Random.h"

// From coefficients to samples: the quantisation index, the scan patterns, and the four sizes.

namespace {

FrameSpec smallSpecOf(std::uint32_t chroma_format, std::uint32_t interlace_mode = 0) {
    FrameSpec spec;
    spec.chroma_format = chroma_format;
    spec.interlace_mode = interlace_mode;
    spec.horizontal_size = 16;
    spec.vertical_size = interlace_mode == 0 ? 16 : 32;
    return spec;
}

std::array<std::uint8_t, 64> matrixOf(std::uint8_t entry) {
    std::array<std::uint8_t, 64> matrix{};
    matrix.fill(entry);
    return matrix;
}

// Every block of every component holds `dc` and nothing else.
MadeFrame dcFrame(FrameSpec const& spec, int dc, std::uint8_t quantization_index) {
    const SliceMaker flat = flatSlices(dc, dc, dc);
    return makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.quantization_index = quantization_index;
    });
}

int firstLuma(MadeFrame const& made, DecodeRequest const& request) {
    return sampleAt(decoded(made.bytes, request), request, 0, 1);
}

// The 16-bit code of a DC of 1 with the default matrix: a sample of index / 16 for indices to 128.
int codeOfIndex(std::uint8_t quantization_index, OptimizationTarget target) {
    const MadeFrame made = dcFrame(smallSpecOf(2), 1, quantization_index);
    return firstLuma(made, requestFor(made.bytes, 0, 16, 0, target));
}

} // namespace

TEST(QuantizationIndexTest, Index0MakesEverySampleMidGrey) {
    Random random = seeded(4301);
    for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
        for (const OptimizationTarget target : runnableTargets()) {
            const FrameSpec spec = smallSpecOf(2);
            const SliceMaker slices = randomSlices(spec, Texture::Extreme, random);
            const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
                slices(place, content);
                content.quantization_index = 0;
            });
            const DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t i = 0; i < request.lineStride; ++i)
                EXPECT_EQ(sampleAt(output, request, 0, i), 128);
        }
    }
}

TEST(QuantizationIndexTest, Index128Is128AndFrom129EachStepIsWorth4) {
    for (const OptimizationTarget target : runnableTargets()) {
        EXPECT_EQ(codeOfIndex(127, target), 32768 + 127 * 8);
        EXPECT_EQ(codeOfIndex(128, target), 32768 + 128 * 8);
        EXPECT_EQ(codeOfIndex(129, target), 32768 + 132 * 8);
        EXPECT_EQ(codeOfIndex(130, target), 32768 + 136 * 8);
        EXPECT_EQ(codeOfIndex(255, target), 32768 + 636 * 8);
    }
}

TEST(ScanPatternTest, OnlyFramesInFieldsUseTheInterlacedPattern) {
    // Scan index 1 is the first horizontal frequency of a progressive frame and the first vertical one of a field.
    const SliceMaker flat = flatSlices(0, 0, 0);
    for (std::uint32_t mode = 0; mode < 4; ++mode) {
        const MadeFrame made = makeFrame(smallSpecOf(2, mode), [&](SlicePlace const& place, SliceContent& content) {
            flat(place, content);
            content.y[1] = 200;
        });
        for (const OptimizationTarget target : runnableTargets()) {
            for (std::uint32_t reduction = 0; reduction < 3; ++reduction) {
                const DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                const std::int64_t lastOfBlock = (8 >> reduction) - 1;
                const std::int64_t lineStep = mode == 0 ? 1 : 2;
                // Modes 1 and 2 have a second field on the other lines; this looks at the field that has line 0.
                const int corner = sampleAt(output, request, 0, 1);
                const int toTheRight = sampleAt(output, request, 0, 2 * lastOfBlock + 1);
                const int below = sampleAt(output, request, lastOfBlock * lineStep, 1);
                EXPECT_EQ(corner == toTheRight, mode != 0) << "mode " << mode << " reduction " << reduction;
                EXPECT_EQ(corner == below, mode == 0) << "mode " << mode << " reduction " << reduction;
            }
        }
    }
}

TEST(ScanPatternTest, BothFieldsUseTheInterlacedPattern) {
    const SliceMaker flat = flatSlices(0, 0, 0);
    const MadeFrame made = makeFrame(smallSpecOf(2, 1), [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.y[1] = 200;
    });
    const DecodeRequest request = requestFor(made.bytes);
    const OutputBuffer output = decoded(made.bytes, request);
    for (std::int64_t line = 0; line < 16; ++line)
        EXPECT_EQ(sampleAt(output, request, line, 1), sampleAt(output, request, line / 2 * 2, 15));
}

TEST(ReducedSizeTest, TheTargetsConvertCoefficientsByTheirOwnRules) {
    // A DC of 40000 wraps to -25536 on Baseline and saturates to 32767 on AVX2.
    FrameSpec spec = smallSpecOf(2);
    spec.lumaMatrix = matrixOf(8);
    const MadeFrame made = dcFrame(spec, 20000, 2);
    for (const std::uint32_t reduction : {1u, 2u}) {
        EXPECT_EQ(firstLuma(made, requestFor(made.bytes, reduction)), 0);
        if (runnableTargets().size() > 1) {
            EXPECT_EQ(firstLuma(made, requestFor(made.bytes, reduction, 8, 0, OptimizationTarget::AVX2)), 255);
        }
    }
}

TEST(ReducedSizeTest, TheTargetsRoundCoefficientsByTheirOwnRules) {
    // With a matrix entry of 1 and index 1 a DC of 92 is X = 11.5: 11 on Baseline, whose eighth rounds to 1, and the
    // even 12 on AVX2, whose eighth is 1.5 and rounds up to 2.
    FrameSpec spec = smallSpecOf(2);
    spec.lumaMatrix = matrixOf(1);
    const MadeFrame made = dcFrame(spec, 92, 1);
    for (const std::uint32_t reduction : {1u, 2u}) {
        EXPECT_EQ(firstLuma(made, requestFor(made.bytes, reduction)), code8(1));
        if (runnableTargets().size() > 1) {
            EXPECT_EQ(firstLuma(made, requestFor(made.bytes, reduction, 8, 0, OptimizationTarget::AVX2)), code8(2));
        }
    }
}

TEST(EighthSizeTest, TheDcProductIsTruncatedBeforeItIsRounded) {
    // DC products of 19.875 and -19.875 become 19 and -19, and (19 + 4) >> 3 is 2, (-19 + 4) >> 3 is -2.
    FrameSpec spec = smallSpecOf(3);
    spec.lumaMatrix = matrixOf(1);
    for (const OptimizationTarget target : runnableTargets()) {
        for (const int sign : {1, -1}) {
            const MadeFrame made = dcFrame(spec, 159 * sign, 1);
            const DecodeRequest request = requestFor(made.bytes, 3, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t sample = 1; sample < 4; ++sample)
                EXPECT_EQ(sampleAt(output, request, 0, sample), code8(2 * sign));
        }
    }
}

TEST(EighthSizeTest, BothTargetsGiveTheSameBytesInYCbCr) {
    Random random = seeded(4303);
    for (int i = 0; i < 40; ++i) {
        FrameSpec spec = smallSpecOf(2 + static_cast<std::uint32_t>(i % 2), randomBelow(random, 4));
        spec.horizontal_size = 1 + randomBelow(random, 90);
        spec.vertical_size = 1 + randomBelow(random, 70);
        const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, random));
        const DecodeRequest request = requestFor(made.bytes, 3);
        const OutputBuffer baseline = decoded(made.bytes, request);
        for (const OptimizationTarget target : runnableTargets()) {
            const OutputBuffer output = decoded(made.bytes, requestFor(made.bytes, 3, 8, 0, target));
            ASSERT_TRUE(output.bytes() == baseline.bytes()) << spec.describe();
        }
    }
}

TEST(EighthSizeTest, BothOrdersOfMultiplicationGiveTheModelsValue) {
    // 4:4:4 chroma multiplies the scales first and 4:2:2 chroma does not. No coefficient, index and entry show which,
    // since the product is cut to a whole number. The entries here make products of more bits than a float has.
    Random random = seeded(4302);
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        for (int i = 0; i < 200; ++i) {
            FrameSpec spec = smallSpecOf(chroma_format);
            spec.lumaMatrix = matrixOf(static_cast<std::uint8_t>(1 + randomBelow(random, 255)));
            const MadeFrame made = dcFrame(spec, static_cast<int>(randomBelow(random, 65536)) - 32768,
                                           static_cast<std::uint8_t>(random()));
            for (const OptimizationTarget target : runnableTargets())
                ASSERT_TRUE(decodesLikeModel(made.bytes, requestFor(made.bytes, 3, 8, 0, target)));
        }
    }
}

TEST(DeepReductionTest, RunsTheFloatPathOverAllCoefficientsAndWritesTheCornersOfItsBlocks) {
    // Half size with 10 bits: of every 8x8 block only the top left 4x4 corner is written, macroblocks follow each other
    // by 16 pixels, and slices start every 8 pixels.
    FrameSpec spec = smallSpecOf(2);
    const SliceMaker flat = flatSlices([](SlicePlace const&, int component, std::uint32_t block) {
        return component == 0 ? static_cast<int>(50 * block) - 100 : 0;
    });
    const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.y[63] = 1000; // the last scan index, which no reduced transform keeps
    });
    for (const OptimizationTarget target : runnableTargets()) {
        DecodeRequest request = requestFor(made.bytes, 1, 10, 0, target);
        request.lineStride = 128;
        const OutputBuffer output = decoded(made.bytes, request);
        EXPECT_NE(sampleAt(output, request, 0, 1), sampleAt(output, request, 0, 3));
        EXPECT_EQ(sampleAt(output, request, 0, 2 * 4 + 1), (-50 + 256) * 2);
        EXPECT_EQ(sampleAt(output, request, 4, 1), (0 + 256) * 2);
        EXPECT_EQ(sampleAt(output, request, 4, 2 * 4 + 1), (50 + 256) * 2);
        EXPECT_TRUE(isUntouched(output, request, 0, 16));
        EXPECT_TRUE(isUntouched(output, request, 8, 0));
    }
}

TEST(DeepReductionTest, EveryReductionAndFormEqualsTheModelAndRaisesNoError) {
    Random random = seeded(4303);
    for (int i = 0; i < 30; ++i) {
        const FrameSpec spec = randomSpec(random);
        const MadeFrame made = randomFrame(spec, random);
        for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
            for (const std::uint32_t depth : {10u, 15u, 16u}) {
                for (const OptimizationTarget target : runnableTargets()) {
                    const std::uint32_t coding = spec.chroma_format == 2 ? 0 : randomBelow(random, 3);
                    ASSERT_TRUE(decodesLikeModel(made.bytes, requestFor(made.bytes, reduction, depth, coding, target)))
                        << spec.describe();
                }
            }
        }
    }
}
