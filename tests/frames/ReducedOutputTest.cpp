#include <cstdint>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "Random.h"

// The pixels of reduced pictures: where they go, what lies beyond the right and lower edges, and their alpha.

namespace {

int distinctSample(int component, std::uint32_t block) {
    return 20 * static_cast<int>(block) - 90 + 5 * component;
}

// A stride with room to see what is written beyond the right edge.
DecodeRequest roomyRequest(std::vector<std::uint8_t> const& frame, std::uint32_t reduction, OptimizationTarget target) {
    DecodeRequest request = requestFor(frame, reduction, 8, 0, target);
    request.lineStride += 256;
    return request;
}

// Pixels of line 0 to the last one that is written.
std::int64_t writtenPixels(OutputBuffer const& output, DecodeRequest const& request, std::int64_t samplesPerPixel) {
    std::int64_t numSamples = request.lineStride;
    while (numSamples > 0 && isUntouched(output, request, 0, numSamples - 1))
        --numSamples;
    return (numSamples + samplesPerPixel - 1) / samplesPerPixel;
}

} // namespace

TEST(ReducedOutputTest, Width1000AtHalfSizeWrites504Columns) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        const MadeFrame made = flatFrame(sizedSpec(chroma_format, 1000, 16), 40, 40, 40);
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = roomyRequest(made.bytes, 1, target);
            const OutputBuffer output = decoded(made.bytes, request);
            EXPECT_EQ(writtenPixels(output, request, chroma_format == 3 ? 4 : 2), 504);
        }
    }
}

TEST(ReducedOutputTest, AWidthOfWholeMacroblocksHasNoExcess) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        for (const std::uint32_t width : {16u, 48u, 160u}) {
            const MadeFrame made = flatFrame(sizedSpec(chroma_format, width, 16), 40, 40, 40);
            for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
                for (const OptimizationTarget target : runnableTargets()) {
                    const DecodeRequest request = roomyRequest(made.bytes, reduction, target);
                    const OutputBuffer output = decoded(made.bytes, request);
                    EXPECT_EQ(writtenPixels(output, request, chroma_format == 3 ? 4 : 2), width >> reduction);
                }
            }
        }
    }
}

TEST(ReducedOutputTest, APictureNarrowerThanAReducedMacroblockWritesItsFullWidth) {
    // The last slice's width is corrected by the unreduced width: 5 columns of an 8 pixel macroblock, although the
    // reduced picture has 2.
    const MadeFrame made = flatFrame(sizedSpec(3, 5, 16), 40, 40, 40);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = roomyRequest(made.bytes, 1, target);
        EXPECT_EQ(writtenPixels(decoded(made.bytes, request), request, 4), 5);
    }
}

TEST(ReducedOutputTest, WithTheLeastStrideTheExcessColumnsFallOnTheNextLine) {
    // Two slices write these bytes. The format does not say which is the last, so each must be what one of them leaves.
    Random random = seeded(4401);
    for (int i = 0; i < 60; ++i) {
        FrameSpec spec = randomSpec(random);
        spec.horizontal_size = 1 + randomBelow(random, 100);
        const MadeFrame made = randomFrame(spec, random);
        for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
            for (const OptimizationTarget target : runnableTargets()) {
                DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
                request.lineStride = leastStride(made.bytes, request);
                ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << spec.describe();
                request.lineStride = -request.lineStride;
                ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << spec.describe();
            }
        }
    }
}

TEST(ReducedOutputTest, TheLowerEdgeIsThatOfTheReducedPicture) {
    for (const std::uint32_t height : {8u, 15u, 16u, 24u, 31u, 33u, 40u}) {
        const MadeFrame made = flatFrame(sizedSpec(3, 32, height), 40, 40, 40);
        for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
            for (const OptimizationTarget target : runnableTargets()) {
                const DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                const std::int64_t numLines = height >> reduction;
                EXPECT_FALSE(isUntouched(output, request, numLines - 1, 1));
                EXPECT_TRUE(isUntouched(output, request, numLines, 1)) << height << " " << reduction;
            }
        }
    }
}

TEST(ReducedOutputTest, EighthSizeOfASingleReducedLineWritesOnlyThatLine) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        for (const std::uint32_t alpha_channel_type : {0u, 1u}) {
            const MadeFrame made =
                flatFrameWithAlpha(sizedSpec(chroma_format, 32, 8, alpha_channel_type), 40, 40, 40, 3);
            for (const OptimizationTarget target : runnableTargets()) {
                const DecodeRequest request = requestFor(made.bytes, 3, 8, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                EXPECT_FALSE(isUntouched(output, request, 0, 0));
                EXPECT_TRUE(isUntouched(output, request, 1, 0));
            }
        }
    }
}

TEST(ReducedOutputTest, EighthSizeOf422WritesTheFirstLineOfARowThatHasNone) {
    // 20 lines are two macroblock rows, of which the reduced picture of 2 lines has only the first.
    const MadeFrame made = flatFrame(sizedSpec(2, 32, 20), 40, 40, 40);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 3, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        EXPECT_FALSE(isUntouched(output, request, 2, 0));
        EXPECT_TRUE(isUntouched(output, request, 3, 0));
    }
}

TEST(ReducedOutputTest, EighthSizeOf422ShowsTheFirstBlocksCrInBothLines) {
    const MadeFrame made =
        makeFrame(sizedSpec(2, 16, 16), flatSlices([](SlicePlace const&, int component, std::uint32_t block) {
                      return distinctSample(component, block);
                  }));
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 3, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::uint32_t line = 0; line < 2; ++line) {
            EXPECT_EQ(sampleAt(output, request, line, 0), code8(distinctSample(1, line)));
            EXPECT_EQ(sampleAt(output, request, line, 1), code8(distinctSample(0, 2 * line)));
            EXPECT_EQ(sampleAt(output, request, line, 2), code8(distinctSample(2, 0)));
            EXPECT_EQ(sampleAt(output, request, line, 3), code8(distinctSample(0, 2 * line + 1)));
        }
    }
}

TEST(ReducedOutputTest, BlocksKeepTheirPlacesAtEverySize) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        const MadeFrame made = makeFrame(sizedSpec(chroma_format, 16, 16),
                                         flatSlices([](SlicePlace const&, int component, std::uint32_t block) {
                                             return distinctSample(component, block);
                                         }));
        // At eighth size the 4:2:2 writer has a different order, which another test checks.
        for (std::uint32_t reduction = 1; reduction < (chroma_format == 3 ? 4u : 3u); ++reduction) {
            for (const OptimizationTarget target : runnableTargets()) {
                const DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                const std::int64_t side = 8 >> reduction;
                for (std::int64_t line = 0; line < 2 * side; ++line) {
                    for (std::int64_t x = 0; x < 2 * side; ++x) {
                        const std::uint32_t bottom = line >= side ? 1 : 0;
                        const std::uint32_t right = x >= side ? 1 : 0;
                        const int luma = code8(distinctSample(0, 2 * bottom + right));
                        if (chroma_format == 3) {
                            EXPECT_EQ(sampleAt(output, request, line, 4 * x + 1), luma);
                            EXPECT_EQ(sampleAt(output, request, line, 4 * x + 2),
                                      code8(distinctSample(1, 2 * right + bottom)));
                            EXPECT_EQ(sampleAt(output, request, line, 4 * x + 3),
                                      code8(distinctSample(2, 2 * right + bottom)));
                        } else {
                            EXPECT_EQ(sampleAt(output, request, line, 2 * x + 1), luma);
                            EXPECT_EQ(sampleAt(output, request, line, 2 * x),
                                      code8(distinctSample(x % 2 == 0 ? 1 : 2, bottom)));
                        }
                    }
                }
            }
        }
    }
}

TEST(ReducedAlphaTest, ThePlaneHasNoEffectWhateverItHolds) {
    for (std::uint32_t type = 1; type < 4; ++type) {
        FrameSpec spec = sizedSpec(3, 70, 45, type);
        for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
            for (const OptimizationTarget target : runnableTargets()) {
                std::vector<std::vector<std::uint8_t>> outputs;
                for (const std::uint16_t alpha : {0, 128, 255}) {
                    const MadeFrame made = flatFrameWithAlpha(spec, 40, -30, 20, alpha);
                    outputs.push_back(decoded(made.bytes, requestFor(made.bytes, reduction, 8, 1, target)).bytes());
                }
                EXPECT_EQ(outputs[0], outputs[1]);
                EXPECT_EQ(outputs[0], outputs[2]);
            }
        }
    }
}

TEST(ReducedAlphaTest, SixteenBitAlphaAtHalfSizeIs127InTheGroupsOfAvx2And255ElseWhere) {
    for (std::uint32_t type = 0; type < 4; ++type) {
        const MadeFrame made = flatFrameWithAlpha(sizedSpec(3, 32, 16, type), 40, -30, 20, 9);
        for (std::uint32_t reduction = 1; reduction < 4; ++reduction) {
            for (const OptimizationTarget target : runnableTargets()) {
                const bool is127 = type == 2 && reduction == 1 && target == OptimizationTarget::AVX2;
                const DecodeRequest request = requestFor(made.bytes, reduction, 8, 0, target);
                const OutputBuffer output = decoded(made.bytes, request);
                for (std::int64_t x = 0; x < 32 >> reduction; ++x)
                    EXPECT_EQ(sampleAt(output, request, 0, 4 * x), is127 ? 127 : 255) << type << " " << reduction;
            }
        }
    }
}

TEST(ReducedAlphaTest, SinglePixelsAtHalfSizeAre255OnBothTargets) {
    // Only pictures narrower than a reduced macroblock have pixels outside the groups of four.
    for (std::uint32_t width = 1; width < 8; ++width) {
        const MadeFrame made = flatFrameWithAlpha(sizedSpec(3, width, 16, 2), 40, -30, 20, 9);
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 1, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t x = 0; x < width; ++x) {
                const bool isGroup = width >= 4 && x < 4 && target == OptimizationTarget::AVX2;
                EXPECT_EQ(sampleAt(output, request, 0, 4 * x), isGroup ? 127 : 255) << width << " " << x;
            }
        }
    }
}
