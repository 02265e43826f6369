#include <algorithm>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "PixelBuffer.h"

// The pixels of full-size pictures: order of samples and blocks, edges, clamping, RGB levels and alpha.

namespace {

int maximumOf(std::uint32_t depth) {
    return depth == 8 ? 255 : depth == 10 ? 1023 : depth == 15 ? 32768 : 65535;
}

// Each block of each component has a different value.
int distinctSample(int component, std::uint32_t block) {
    return 20 * static_cast<int>(block) - 90 + 5 * component;
}
MadeFrame distinctBlocks(FrameSpec const& spec) {
    return makeFrame(spec, flatSlices([](SlicePlace const&, int component, std::uint32_t block) {
                         return distinctSample(component, block);
                     }));
}

// Samples so large that every code is far beyond its range.
MadeFrame overflowingFrame(FrameSpec const& spec, int sign) {
    const SliceMaker flat = flatSlices(32767 * sign, 32767 * sign, 32767 * sign);
    return makeFrame(spec, [flat](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.quantization_index = 255;
        std::ranges::fill(content.alpha, std::uint16_t{77});
    });
}

} // namespace

TEST(Output422Test, TwoPixelsAreCbYCrY) {
    const MadeFrame made = flatFrame(sizedSpec(2, 32, 16), 40, -60, 90);
    for (const std::uint32_t depth : kBitDepths) {
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, depth, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            const double scale = (1.0 + maximumOf(depth)) / 512;
            const int samples[4] = {-60, 40, 90, 40};
            for (std::int64_t i = 0; i < 64; ++i)
                EXPECT_EQ(sampleAt(output, request, 7, i),
                          static_cast<int>(std::floor((samples[i % 4] + 256) * scale + 0.5)))
                    << depth;
        }
    }
}

TEST(Output422Test, LumaBlocksRunAlongTheRowsAndEachChromaBlockSpansARow) {
    const MadeFrame made = distinctBlocks(sizedSpec(2, 16, 16));
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 16; ++line) {
            for (std::int64_t x = 0; x < 16; ++x) {
                const std::uint32_t luma = static_cast<std::uint32_t>(line / 8 * 2 + x / 8);
                const std::uint32_t chroma = static_cast<std::uint32_t>(line / 8);
                EXPECT_EQ(sampleAt(output, request, line, 2 * x + 1), code8(distinctSample(0, luma)));
                EXPECT_EQ(sampleAt(output, request, line, 2 * x), code8(distinctSample(x % 2 == 0 ? 1 : 2, chroma)));
            }
        }
    }
}

TEST(Output422Test, Width5WritesTenSamplesAndEndsInCbY) {
    const MadeFrame made = flatFrame(sizedSpec(2, 5, 16), 40, -60, 90);
    for (const std::uint32_t depth : kBitDepths) {
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, depth, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            EXPECT_EQ(sampleAt(output, request, 3, 8), sampleAt(output, request, 3, 0));
            EXPECT_EQ(sampleAt(output, request, 3, 9), sampleAt(output, request, 3, 1));
            EXPECT_TRUE(isUntouched(output, request, 3, 10));
            EXPECT_TRUE(isUntouched(output, request, 3, 11));
        }
    }
}

TEST(Output422Test, Width10TakesTheChromaOfItsLastPairFromColumn4) {
    const SliceMaker flat = flatSlices(0, 0, 0);
    const MadeFrame made = makeFrame(sizedSpec(2, 10, 8), [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.cb[1] = 300; // the first horizontal frequency: every column has a different value
    });
    const MadeFrame whole = makeFrame(sizedSpec(2, 16, 8), [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.cb[1] = 300;
    });
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        const OutputBuffer reference = decoded(whole.bytes, request);
        for (std::int64_t i = 0; i < 20; ++i)
            EXPECT_EQ(sampleAt(output, request, 0, i), sampleAt(reference, request, 0, i));
        EXPECT_NE(sampleAt(output, request, 0, 16), sampleAt(output, request, 0, 12));
        EXPECT_TRUE(isUntouched(output, request, 0, 20));
    }
}

TEST(Output422Test, Height3WritesThreeLinesOfTheUpperBlocks) {
    const MadeFrame made = distinctBlocks(sizedSpec(2, 16, 3));
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 3; ++line)
            EXPECT_EQ(sampleAt(output, request, line, 17), code8(distinctSample(0, 1)));
        EXPECT_TRUE(isUntouched(output, request, 3, 1));
    }
}

TEST(Output422Test, TenBitCodesRunFrom0At256BelowZeroTo1023At255AndAHalf) {
    // With index 8 a DC is half a step.
    const int expected[][2] = {{-512, 0}, {511, 1023}, {512, 1023}, {600, 1023}, {-513, 0}, {0, 512}};
    for (auto const& [dc, code] : expected) {
        const SliceMaker flat = flatSlices(dc, dc, dc);
        const MadeFrame made = makeFrame(sizedSpec(2, 16, 16), [&](SlicePlace const& place, SliceContent& content) {
            flat(place, content);
            content.quantization_index = 8;
        });
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 10, 0, target);
            EXPECT_EQ(sampleAt(decoded(made.bytes, request), request, 0, 1), code) << dc;
        }
    }
}

TEST(Output422Test, CodesFarBeyondTheirRangeClampAtEveryDepth) {
    for (const std::uint32_t depth : kBitDepths) {
        for (const OptimizationTarget target : runnableTargets()) {
            for (const int sign : {1, -1}) {
                const MadeFrame made = overflowingFrame(sizedSpec(2, 21, 16), sign);
                const DecodeRequest request = requestFor(made.bytes, 0, depth, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                for (std::int64_t i = 0; i < 42; ++i)
                    EXPECT_EQ(sampleAt(output, request, 0, i), sign > 0 ? maximumOf(depth) : 0) << depth;
            }
        }
    }
}

TEST(Output444Test, ChromaBlocksRunDownTheColumnsAndLumaBlocksAlongTheRows) {
    for (const std::uint32_t alpha_channel_type : {0u, 1u}) {
        const MadeFrame made = distinctBlocks(sizedSpec(3, 16, 16, alpha_channel_type));
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t line = 0; line < 16; ++line) {
                for (std::int64_t x = 0; x < 16; ++x) {
                    const std::uint32_t luma = static_cast<std::uint32_t>(line / 8 * 2 + x / 8);
                    const std::uint32_t chroma = static_cast<std::uint32_t>(x / 8 * 2 + line / 8);
                    EXPECT_EQ(sampleAt(output, request, line, 4 * x + 1), code8(distinctSample(0, luma)));
                    EXPECT_EQ(sampleAt(output, request, line, 4 * x + 2), code8(distinctSample(1, chroma)));
                    EXPECT_EQ(sampleAt(output, request, line, 4 * x + 3), code8(distinctSample(2, chroma)));
                }
            }
        }
    }
}

TEST(Output444Test, WithoutAlphaEveryPixelIsOpaqueWith32768At15Bits) {
    const MadeFrame made = flatFrame(sizedSpec(3, 21, 9), 40, -60, 90);
    for (const std::uint32_t depth : kBitDepths) {
        for (const std::uint32_t coding : {0u, 1u, 2u, 3u}) {
            for (const OptimizationTarget target : runnableTargets()) {
                const DecodeRequest request = requestFor(made.bytes, 0, depth, coding, target);
                const OutputBuffer output = decoded(made.bytes, request);
                for (std::int64_t x = 0; x < 21; ++x)
                    EXPECT_EQ(sampleAt(output, request, 5, 4 * x), maximumOf(depth));
                EXPECT_TRUE(isUntouched(output, request, 5, 84));
            }
        }
    }
}

TEST(Output444Test, Width3WritesThreeWholePixels) {
    const MadeFrame made = flatFrame(sizedSpec(3, 3, 16), 40, -60, 90);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        EXPECT_EQ(sampleAt(output, request, 15, 9), code8(40));
        EXPECT_EQ(sampleAt(output, request, 15, 11), code8(90));
        EXPECT_TRUE(isUntouched(output, request, 15, 12));
    }
}

TEST(Output444Test, BlackAndWhiteReachTheLevelsOfTheirCoding) {
    const int fullBlack[4] = {0, 0, 0, 0};
    const int fullWhite[4] = {255, 1023, 32768, 65535};
    // 1/16 and 235/256 of the range: at 15 bits 2048.06 and 30080.9, rounded.
    const int videoBlack[4] = {16, 64, 2048, 4096};
    const int videoWhite[4] = {235, 940, 30081, 60160};
    const MadeFrame black = flatFrame(sizedSpec(3, 21, 16), -224, 0, 0);
    const MadeFrame white = flatFrame(sizedSpec(3, 21, 16), 214, 0, 0);
    for (std::size_t d = 0; d < 4; ++d) {
        for (const OptimizationTarget target : runnableTargets()) {
            for (std::int64_t x = 0; x < 21; ++x) {
                for (std::int64_t sample = 1; sample < 4; ++sample) {
                    DecodeRequest request = requestFor(black.bytes, 0, kBitDepths[d], 1, target);
                    EXPECT_EQ(sampleAt(decoded(black.bytes, request), request, 0, 4 * x + sample), fullBlack[d]);
                    EXPECT_EQ(sampleAt(decoded(white.bytes, request), request, 0, 4 * x + sample), fullWhite[d]);
                    request.colorCoding = 2;
                    EXPECT_EQ(sampleAt(decoded(black.bytes, request), request, 0, 4 * x + sample), videoBlack[d]);
                    EXPECT_EQ(sampleAt(decoded(white.bytes, request), request, 0, 4 * x + sample), videoWhite[d]);
                }
            }
        }
    }
}

TEST(Output444Test, CodingsAbove2GiveBlackAndKeepTheAlpha) {
    for (const std::uint32_t alpha_channel_type : {0u, 1u}) {
        const MadeFrame made = flatFrameWithAlpha(sizedSpec(3, 21, 16, alpha_channel_type), 100, 50, -50, 200);
        for (const std::uint32_t coding : {3u, 4u, 0xFFFFFFFFu}) {
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                for (const OptimizationTarget target : runnableTargets()) {
                    const DecodeRequest request = requestFor(made.bytes, reduction, 8, coding, target);
                    const OutputBuffer output = decoded(made.bytes, request);
                    for (std::int64_t sample = 1; sample < 4; ++sample)
                        EXPECT_EQ(sampleAt(output, request, 0, sample), 0);
                    EXPECT_EQ(sampleAt(output, request, 0, 0), alpha_channel_type == 1 && reduction == 0 ? 200 : 255);
                }
            }
        }
    }
}

TEST(Output444Test, FramesWithoutANamedMatrixUseTheirFullHeightToChooseOne) {
    // Pure Cr of 224 steps is R = y + 2 (1 - Kr) / 2. With Kr of 0.2126 and of 0.299 the codes differ.
    for (const std::uint32_t height : {576u, 577u}) {
        for (const std::uint32_t matrix : {0u, 2u, 7u, 255u}) {
            for (const std::uint32_t interlace_mode : {0u, 1u}) {
                FrameSpec spec = sizedSpec(3, 16, height);
                spec.interlace_mode = interlace_mode;
                spec.matrix_coefficients = matrix;
                const MadeFrame made = flatFrame(spec, -100, 0, 100);
                spec.matrix_coefficients = height > 576 ? 1 : 6;
                const MadeFrame same = flatFrame(spec, -100, 0, 100);
                spec.matrix_coefficients = height > 576 ? 6 : 1;
                const MadeFrame other = flatFrame(spec, -100, 0, 100);
                for (const std::uint32_t reduction : {0u, 1u, 3u}) {
                    const DecodeRequest request = requestFor(made.bytes, reduction, 8, 1);
                    const OutputBuffer output = decoded(made.bytes, request);
                    EXPECT_EQ(output.bytes(), decoded(same.bytes, request).bytes());
                    EXPECT_NE(output.bytes(), decoded(other.bytes, request).bytes());
                }
            }
        }
    }
}

TEST(Output444Test, Matrices1And6And9AreThreeDifferentOnes) {
    std::vector<std::vector<std::uint8_t>> outputs;
    for (const std::uint32_t matrix : {1u, 6u, 9u}) {
        FrameSpec spec = sizedSpec(3, 16, 16);
        spec.matrix_coefficients = matrix;
        const MadeFrame made = flatFrame(spec, -100, 60, 100);
        const DecodeRequest request = requestFor(made.bytes, 0, 16, 1);
        const OutputBuffer output = decoded(made.bytes, request);
        const double kr = matrix == 1 ? 0.2126 : matrix == 6 ? 0.299 : 0.2627;
        const double kg = matrix == 1 ? 0.7152 : matrix == 6 ? 0.587 : 0.678;
        const double kb = matrix == 1 ? 0.0722 : matrix == 6 ? 0.114 : 0.0593;
        const double y = (-100 + 224) / 438.0, cb = 60 / 448.0, cr = 100 / 448.0;
        const double rgb[3] = {y + 2 * (1 - kr) * cr, y - 2 * (1 - kb) * kb / kg * cb - 2 * (1 - kr) * kr / kg * cr,
                               y + 2 * (1 - kb) * cb};
        // Single precision is good for seven digits of a five-digit code, so only the rounding to codes remains.
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(sampleAt(output, request, 0, 1 + i), rgb[i] * 65535, 0.51) << matrix << " " << i;
        outputs.push_back(output.bytes());
    }
    EXPECT_NE(outputs[0], outputs[1]);
    EXPECT_NE(outputs[1], outputs[2]);
    EXPECT_NE(outputs[0], outputs[2]);
}

TEST(Output444Test, GroupsOfEightOfAvx2PackCodesFrom32768UpAs0At8Bits) {
    for (const std::uint32_t alpha_channel_type : {0u, 2u}) {
        const MadeFrame made = overflowingFrame(sizedSpec(3, 21, 16, alpha_channel_type), 1);
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t x = 0; x < 21; ++x) {
                const bool isGroup = target == OptimizationTarget::AVX2 && x < 16;
                for (std::int64_t sample = 1; sample < 4; ++sample)
                    EXPECT_EQ(sampleAt(output, request, 0, 4 * x + sample), isGroup ? 0 : 255) << x;
            }
        }
    }
}

TEST(Output444Test, CodesFarBeyondTheirRangeClampAt16BitStorage) {
    for (const std::uint32_t alpha_channel_type : {0u, 2u}) {
        for (const std::uint32_t depth : {10u, 15u, 16u}) {
            for (const OptimizationTarget target : runnableTargets()) {
                for (const int sign : {1, -1}) {
                    const MadeFrame made = overflowingFrame(sizedSpec(3, 21, 16, alpha_channel_type), sign);
                    const DecodeRequest request = requestFor(made.bytes, 0, depth, 0, target);
                    const OutputBuffer output = decoded(made.bytes, request);
                    for (std::int64_t i = 0; i < 84; ++i) {
                        if (i % 4 == 0)
                            continue;
                        EXPECT_EQ(sampleAt(output, request, 0, i), sign > 0 ? maximumOf(depth) : 0) << depth;
                    }
                }
            }
        }
    }
}

// --- alpha -----------------------------------------------------------------------------------------------------------

namespace {

// The alpha codes of one value: in a whole group of eight pixels, and in the single pixels after it.
struct AlphaCodes {
    int group;
    int single;
};

AlphaCodes alphaCodes(std::uint32_t alpha_channel_type, std::uint16_t alpha, std::uint32_t depth,
                      OptimizationTarget target) {
    const MadeFrame made = flatFrameWithAlpha(sizedSpec(3, 12, 2, alpha_channel_type), 0, 0, 0, alpha);
    const DecodeRequest request = requestFor(made.bytes, 0, depth, 0, target);
    const OutputBuffer output = decoded(made.bytes, request);
    return {sampleAt(output, request, 1, 0), sampleAt(output, request, 1, 4 * 11)};
}

} // namespace

TEST(AlphaOutputTest, EightBitAlphaScalesExactlyWhereTheDivisionIsExact) {
    for (const OptimizationTarget target : runnableTargets()) {
        for (std::uint32_t a = 0; a < 256; ++a) {
            const AlphaCodes at8 = alphaCodes(1, static_cast<std::uint16_t>(a), 8, target);
            const AlphaCodes at16 = alphaCodes(1, static_cast<std::uint16_t>(a), 16, target);
            EXPECT_EQ(at8.group, static_cast<int>(a));
            EXPECT_EQ(at8.single, static_cast<int>(a));
            EXPECT_EQ(at16.group, static_cast<int>(a * 257));
            EXPECT_EQ(at16.single, static_cast<int>(a * 257));
        }
        EXPECT_EQ(alphaCodes(1, 255, 10, target).group, 1023);
        EXPECT_EQ(alphaCodes(1, 255, 10, target).single, 1023);
        EXPECT_EQ(alphaCodes(1, 255, 15, target).group, 32768);
        EXPECT_EQ(alphaCodes(1, 255, 15, target).single, 32768);
    }
}

TEST(AlphaOutputTest, SixteenBitAlphaOf0And65535ReachTheEndsAt8Bits) {
    for (const OptimizationTarget target : runnableTargets()) {
        EXPECT_EQ(alphaCodes(2, 0, 8, target).group, 0);
        EXPECT_EQ(alphaCodes(2, 0, 8, target).single, 0);
        EXPECT_EQ(alphaCodes(2, 65535, 8, target).group, 255);
        EXPECT_EQ(alphaCodes(2, 65535, 8, target).single, 255);
    }
}

TEST(AlphaOutputTest, GroupsOfAvx2RoundToNearestAndAllOtherPixelsRoundDown) {
    EXPECT_EQ(alphaCodes(2, 32768, 8, OptimizationTarget::Baseline).group, 127);
    EXPECT_EQ(alphaCodes(2, 32768, 8, OptimizationTarget::Baseline).single, 127);
    if (runnableTargets().size() > 1) {
        EXPECT_EQ(alphaCodes(2, 32768, 8, OptimizationTarget::AVX2).group, 128);
        EXPECT_EQ(alphaCodes(2, 32768, 8, OptimizationTarget::AVX2).single, 127);
    }
}

TEST(AlphaOutputTest, SixteenBitAlphaFrom32769UpLosesOneIn16BitSinglePixels) {
    for (const OptimizationTarget target : runnableTargets()) {
        const bool isAvx2 = target == OptimizationTarget::AVX2;
        for (const int a : {0, 1, 32767, 32768}) {
            EXPECT_EQ(alphaCodes(2, static_cast<std::uint16_t>(a), 16, target).group, a);
            EXPECT_EQ(alphaCodes(2, static_cast<std::uint16_t>(a), 16, target).single, a);
        }
        for (const int a : {32769, 40000, 65534, 65535}) {
            EXPECT_EQ(alphaCodes(2, static_cast<std::uint16_t>(a), 16, target).group, isAvx2 ? a : a - 1);
            EXPECT_EQ(alphaCodes(2, static_cast<std::uint16_t>(a), 16, target).single, a - 1);
        }
        EXPECT_EQ(alphaCodes(2, 65535, 15, target).single, 32768);
    }
}

TEST(AlphaOutputTest, UndefinedTypesReadSixteenBitsAndScaleThemAsEight) {
    for (std::uint32_t type = 3; type < 16; ++type) {
        for (const OptimizationTarget target : runnableTargets()) {
            for (const std::uint32_t a : {0u, 7u, 255u, 256u, 1000u, 32768u, 65535u}) {
                const AlphaCodes codes = alphaCodes(type, static_cast<std::uint16_t>(a), 8, target);
                EXPECT_EQ(codes.group, static_cast<int>(a & 0xFF)) << type;
                EXPECT_EQ(codes.single, static_cast<int>(a & 0xFF)) << type;
            }
            // At 16 bits a group saturates, and a single pixel keeps the low half of its wrapped product's quotient.
            const AlphaCodes codes = alphaCodes(type, 1000, 16, target);
            EXPECT_EQ(codes.group, target == OptimizationTarget::AVX2 ? 65535 : (1000 * 65535 / 255) & 0xFFFF);
            EXPECT_EQ(codes.single, (1000 * 65535 / 255) & 0xFFFF);
        }
    }
}

TEST(AlphaOutputTest, ARightPartReadsTheAlphaColumnsFrom8) {
    for (const std::uint32_t width : {12u, 16u, 28u}) {
        const FrameSpec spec = sizedSpec(3, width, 16, 1);
        const SliceMaker flat = flatSlices(0, 0, 0);
        const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
            flat(place, content);
            for (std::size_t i = 0; i < content.alpha.size(); ++i)
                content.alpha[i] = static_cast<std::uint16_t>(
                    (i % (16 * place.sliceMbs) + 16 * place.sliceColumn * 2 + 3 * (i / (16 * place.sliceMbs))) & 0xFF);
        });
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t line = 0; line < 16; ++line) {
                for (std::int64_t x = 0; x < width; ++x)
                    EXPECT_EQ(sampleAt(output, request, line, 4 * x), x + 3 * line) << width;
            }
        }
    }
}
