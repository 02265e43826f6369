#include <cstdint>
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

#include "BufferRequirements.h"
#include "FlatFrames.h"
#include "Frame.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"

// What a decode call accepts and refuses, and what a host can learn before it.

namespace {

const char* const kRgbOf422 = "RGB output for 4:2:2 frames is not supported by Ravelo decoder.";
const char* const kStrideTooSmall = "Ravelo decoder: insufficient line stride given.";
const char* const kUnknownDepth = "Unsupported bit depth in PixelBuffer";

void expectFailure(std::vector<std::uint8_t> const& frame, DecodeRequest request, const char* text) {
    for (const OptimizationTarget target : runnableTargets()) {
        request.target = target;
        OutputBuffer output(-64, 4096);
        EXPECT_EQ(failureOf(frame, request, output), text) << describe(request);
        EXPECT_TRUE(isUntouched(output)) << describe(request);
    }
}

Bitstream bitstreamOf(std::vector<std::uint8_t> const& frame) {
    Bitstream bits;
    bits.data = frame.data();
    bits.size = frame.size();
    return bits;
}

} // namespace

TEST(RequestTest, AStrideOfExactlyOneLineIsAcceptedInBothDirections) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        const MadeFrame made = flatFrame(sizedSpec(chroma_format, 33, 17), 10, 20, 30);
        for (const std::uint32_t depth : kBitDepths) {
            DecodeRequest request = requestFor(made.bytes, 0, depth);
            const std::int64_t lineBytes = 33 * (chroma_format == 3 ? 4 : 2) * (depth > 8 ? 2 : 1);
            for (const std::int64_t stride : {lineBytes, -lineBytes}) {
                request.lineStride = stride;
                EXPECT_TRUE(decodesLikeModel(made.bytes, request));
            }
        }
    }
}

TEST(RequestTest, AStrideOfOneByteLessThanALineFailsInBothDirections) {
    const MadeFrame made = flatFrame(sizedSpec(2, 33, 17), 10, 20, 30);
    for (const std::uint32_t depth : kBitDepths) {
        DecodeRequest request = requestFor(made.bytes, 0, depth);
        const std::int64_t lineBytes = 33 * 2 * (depth > 8 ? 2 : 1);
        for (const std::int64_t stride : {lineBytes - 1, 1 - lineBytes, std::int64_t{0}}) {
            request.lineStride = stride;
            expectFailure(made.bytes, request, kStrideTooSmall);
        }
    }
}

TEST(RequestTest, TheMostNegativeStrideFails) {
    DecodeRequest request;
    request.lineStride = std::numeric_limits<std::int64_t>::min();
    expectFailure(flatFrame(sizedSpec(2, 16, 16), 0, 0, 0).bytes, request, kStrideTooSmall);
}

TEST(RequestTest, TheStrideIsHeldAgainstTheReducedWidth) {
    const MadeFrame made = flatFrame(sizedSpec(2, 64, 16), 10, 20, 30);
    DecodeRequest request = requestFor(made.bytes, 1);
    request.lineStride = 64;
    EXPECT_TRUE(decodesLikeModel(made.bytes, request));
    request.lineStride = 63;
    expectFailure(made.bytes, request, kStrideTooSmall);
}

TEST(RequestTest, RgbOf422FailsBeforeTheStrideIsLookedAt) {
    const MadeFrame made = flatFrame(sizedSpec(2, 16, 16), 0, 0, 0);
    for (const std::uint32_t coding : {1u, 2u, 3u, 0xFFFFFFFFu}) {
        DecodeRequest request = requestFor(made.bytes, 0, 8, coding);
        expectFailure(made.bytes, request, kRgbOf422);
        request.lineStride = 0;
        expectFailure(made.bytes, request, kRgbOf422);
    }
}

TEST(RequestTest, ChromaFormats0And1Are422AndIgnoreTheCoding) {
    for (const std::uint32_t chroma_format : {0u, 1u}) {
        const MadeFrame made = flatFrame(sizedSpec(chroma_format, 20, 20), 40, -60, 90);
        for (const std::uint32_t coding : {0u, 1u, 2u, 7u}) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, coding);
            EXPECT_EQ(request.lineStride, 64);
            const OutputBuffer output = decoded(made.bytes, request);
            EXPECT_EQ(sampleAt(output, request, 0, 0), code8(-60));
            EXPECT_EQ(sampleAt(output, request, 0, 1), code8(40));
            EXPECT_EQ(sampleAt(output, request, 0, 2), code8(90));
        }
    }
}

TEST(RequestTest, AnUnknownDepthFailsWithItsTextAndWritesNothing) {
    // The picture refuses it before its loops begin, however many slices it has.
    FrameSpec spec = sizedSpec(3, 200, 100);
    spec.log2_slice_size_in_mb = 0;
    const MadeFrame made = flatFrame(spec, 10, 20, 30);
    for (const std::uint32_t depth : {0u, 1u, 7u, 9u, 12u, 14u, 17u, 32u, 0xFFFFFFFFu}) {
        DecodeRequest request;
        request.bitDepth = depth;
        request.lineStride = 2048;
        for (int repeat = 0; repeat < 5; ++repeat)
            expectFailure(made.bytes, request, kUnknownDepth);
    }
}

TEST(RequestTest, AnUnknownDepthFailsAtEveryReductionAndInInterlacedFrames) {
    for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
        for (std::uint32_t interlace_mode = 0; interlace_mode < 4; ++interlace_mode) {
            FrameSpec spec = sizedSpec(2, 40, 40);
            spec.interlace_mode = interlace_mode;
            DecodeRequest request;
            request.downSampleFactor = reduction;
            request.bitDepth = 12;
            request.lineStride = 200;
            expectFailure(flatFrame(spec, 0, 0, 0).bytes, request, kUnknownDepth);
        }
    }
}

TEST(RequestTest, ADepthOf12CountsTwoBytesInTheStrideCheck) {
    const MadeFrame made = flatFrame(sizedSpec(2, 16, 16), 0, 0, 0);
    DecodeRequest request;
    request.bitDepth = 12;
    request.lineStride = 63;
    expectFailure(made.bytes, request, kStrideTooSmall);
    request.lineStride = 64;
    expectFailure(made.bytes, request, kUnknownDepth);
}

TEST(RequestTest, APictureWithoutSlicesMeetsNoDepthCheck) {
    const MadeFrame made = flatFrame(sizedSpec(2, 16, 0), 0, 0, 0);
    DecodeRequest request;
    request.bitDepth = 12;
    request.lineStride = 64;
    OutputBuffer output(-64, 512);
    EXPECT_EQ(decode(made.bytes, request, output), 1);
    EXPECT_TRUE(isUntouched(output));
}

TEST(RequestTest, TargetsAbove1RunAvx2AndTargetsBelow0RunBaseline) {
    // At half size the two targets round differently on the way into the transform.
    Random random = seeded(4001);
    const FrameSpec spec = sizedSpec(2, 64, 48);
    const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Dense, random));
    DecodeRequest request = requestFor(made.bytes, 1);
    const std::vector<std::uint8_t> baseline = decoded(made.bytes, request).bytes();
    request.target = runnableTargets().back();
    const std::vector<std::uint8_t> best = decoded(made.bytes, request).bytes();
    if (request.target == OptimizationTarget::AVX2) {
        ASSERT_NE(baseline, best);
    }
    for (const int target : {2, 3, 1000, std::numeric_limits<int>::max()}) {
        request.target = static_cast<OptimizationTarget>(target);
        EXPECT_EQ(decoded(made.bytes, request).bytes(), best) << target;
    }
    for (const int target : {-1, -2, std::numeric_limits<int>::min()}) {
        request.target = static_cast<OptimizationTarget>(target);
        EXPECT_EQ(decoded(made.bytes, request).bytes(), baseline) << target;
    }
}

TEST(RequestTest, AReductionOf4WritesNothingAndReturns1) {
    Random random = seeded(4002);
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        const FrameSpec spec = sizedSpec(chroma_format, 100, 60);
        const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, random));
        for (const OptimizationTarget target : runnableTargets()) {
            DecodeRequest request;
            request.downSampleFactor = 4;
            request.lineStride = 400;
            request.target = target;
            EXPECT_TRUE(isUntouched(decoded(made.bytes, request)));
        }
    }
}

TEST(RequestTest, AnyPairOfOuterWordsIsAccepted) {
    MadeFrame made = flatFrame(sizedSpec(2, 16, 16), 33, 44, 55);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> expected = decoded(made.bytes, request).bytes();
    for (const std::uint8_t byte : {0x01, 0x7F, 0xFF}) {
        std::fill(made.bytes.begin(), made.bytes.begin() + 8, byte);
        EXPECT_EQ(decoded(made.bytes, request).bytes(), expected);
    }
}

TEST(RequestTest, AReductionAbove3WritesNothingAtAnyDepth) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        FrameSpec spec = sizedSpec(chroma_format, 200, 40);
        spec.alpha_channel_type = 2;
        const MadeFrame made = flatFrame(spec, 33, 44, 55);
        for (const std::uint32_t reduction : {4u, 5u, 31u, 32u, 33u, 0xFFFFFFFFu}) {
            for (const std::uint32_t depth : kBitDepths) {
                for (const OptimizationTarget target : runnableTargets()) {
                    std::vector<std::uint8_t> pixels(2048 * 48, 0xA5);
                    RaveloDecoderInterface::DecompressFrameFromBits(made.bytes.data(), made.bytes.size(), reduction,
                                                                    ColorCoding_YCbCr, depth, pixels.data(), 2048,
                                                                    target);
                    ASSERT_EQ(pixels, std::vector<std::uint8_t>(2048 * 48, 0xA5)) << reduction << " " << depth;
                    const BufferRequirements needs = bufferRequirements(bitstreamOf(made.bytes), depth, reduction);
                    EXPECT_EQ(needs.safeStride, needs.leastStride);
                }
            }
        }
    }
}

TEST(FrameInfoTest, ReportsTheGeometryOfEveryReductionAndDepth) {
    FrameSpec spec = sizedSpec(3, 1001, 37);
    spec.alpha_channel_type = 2;
    const MadeFrame made = flatFrame(spec, 0, 0, 0);
    for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
        for (const std::uint32_t depth : {8u, 10u, 12u, 15u, 16u}) {
            const PixelBuffer info = Frame::GetFrameInfo(bitstreamOf(made.bytes), depth, reduction);
            EXPECT_EQ(info.width, 1001u >> reduction);
            EXPECT_EQ(info.height, 37u >> reduction);
            EXPECT_EQ(info.pixels, nullptr);
            EXPECT_EQ(info.lineStride, (1001 >> reduction) * 4 * (depth > 8 ? 2 : 1));
            EXPECT_EQ(info.downSampleFactor, reduction);
            EXPECT_EQ(info.samplesPerPixel, 4u);
            EXPECT_EQ(info.bitDepth, depth);
            EXPECT_EQ(info.alpha_channel_type, 2u);
        }
    }
}

TEST(FrameInfoTest, CountsFourSamplesOnlyWhenBothChromaBitsAreSet) {
    for (std::uint32_t chroma_format = 0; chroma_format < 4; ++chroma_format) {
        FrameSpec spec = sizedSpec(chroma_format, 48, 16);
        spec.junk = 0xFF;
        const MadeFrame made = flatFrame(spec, 0, 0, 0);
        EXPECT_EQ(Frame::GetFrameInfo(bitstreamOf(made.bytes), 8, 0).samplesPerPixel, chroma_format == 3 ? 4u : 2u);
    }
}

TEST(FrameInfoTest, ReadsZerosBeyondAShortFrame) {
    const MadeFrame made = flatFrame(sizedSpec(3, 48, 16), 0, 0, 0);
    for (std::size_t size = 0; size < 28; ++size) {
        const GuardedBytes input(std::span(made.bytes).first(size));
        Bitstream bits;
        bits.data = input.data();
        bits.size = size;
        const PixelBuffer info = Frame::GetFrameInfo(bits, 8, 0);
        EXPECT_EQ(info.width, size >= 18 ? 48u : 0u) << size;
        EXPECT_EQ(info.height, size >= 20 ? 16u : 0u) << size;
        EXPECT_EQ(info.samplesPerPixel, size >= 21 ? 4u : 2u) << size;
    }
}

TEST(FrameInfoTest, ItsStrideIsTheLeastThatTheDecodeCallAccepts) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
            const MadeFrame made = flatFrame(sizedSpec(chroma_format, 61, 19), 1, 2, 3);
            DecodeRequest request = requestFor(made.bytes, reduction);
            request.lineStride = Frame::GetFrameInfo(bitstreamOf(made.bytes), 8, reduction).lineStride;
            EXPECT_TRUE(decodesLikeModel(made.bytes, request));
            --request.lineStride;
            expectFailure(made.bytes, request, kStrideTooSmall);
        }
    }
}

TEST(BufferRequirementsTest, WithTheSafeStrideEveryWriteStaysInsideTheBufferAndInItsLine) {
    Random random = seeded(4003);
    for (int i = 0; i < 400; ++i) {
        FrameSpec spec = randomSpec(random);
        const MadeFrame made = flatFrameWithAlpha(spec, 5, 6, 7, 8);
        DecodeRequest request;
        request.downSampleFactor = randomBelow(random, 4);
        request.bitDepth = randomBelow(random, 2) == 0 ? 16 : 8;
        const BufferRequirements needs =
            bufferRequirements(bitstreamOf(made.bytes), request.bitDepth, request.downSampleFactor);
        EXPECT_EQ(needs.leastStride, static_cast<std::uint64_t>(leastStride(made.bytes, request)));
        request.lineStride = static_cast<std::int64_t>(needs.safeStride);
        SlowCanvas canvas(0, needs.bytes, 0);
        slowDecode(made.bytes, request, canvas);
        EXPECT_EQ(canvas.numStoresOutside(), 0u) << spec.describe() << " " << describe(request);
        // Deep pixels of a reduction form no picture: they lie over each other, but inside the buffer.
        if (request.downSampleFactor == 0 || request.bitDepth == 8) {
            EXPECT_EQ(canvas.numSharedBytes(), 0u) << spec.describe() << " " << describe(request);
        }
    }
}

TEST(BufferRequirementsTest, FullSizeWritesEveryByteOfThePictureAndNoOther) {
    Random random = seeded(4004);
    for (int i = 0; i < 100; ++i) {
        FrameSpec spec = randomSpec(random);
        const MadeFrame made = flatFrameWithAlpha(spec, 5, 6, 7, 8);
        DecodeRequest request;
        request.bitDepth = randomBelow(random, 2) == 0 ? 16 : 8;
        const std::int64_t lineBytes = leastStride(made.bytes, request);
        request.lineStride = lineBytes + randomBelow(random, 50);
        const OutputBuffer output = bufferFor(made.bytes, request);
        SlowCanvas canvas(output.lowestOffset(), output.bytes());
        slowDecode(made.bytes, request, canvas);
        for (std::int64_t line = -1; line <= spec.vertical_size; ++line) {
            const bool isPictureLine =
                line >= 0 && line < spec.vertical_size &&
                (spec.interlace_mode != 3 || (line % 2 == 0 && line / 2 < spec.vertical_size / 2));
            for (std::int64_t byte = 0; byte < request.lineStride; ++byte)
                ASSERT_EQ(canvas.isWritten(line * request.lineStride + byte), isPictureLine && byte < lineBytes)
                    << spec.describe() << " line " << line << " byte " << byte;
        }
        ASSERT_TRUE(decodesLikeModel(made.bytes, request));
    }
}
