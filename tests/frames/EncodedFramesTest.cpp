#include <algorithm>
#include <cstdint>

#include <gtest/gtest.h>

#include "CoefficientFrame.h"
#include "DecodeCheck.h"
#include "FrameEncoder.h"
#include "PixelBuffer.h"
#include "Random.h"

// Frames of the encoder: what it wrote is what the scans return, on both targets, and what the decoder makes of it is
// what the slow model makes of it.

namespace {

std::array<std::uint8_t, 64> randomMatrix(Random& random) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::uint8_t& entry : matrix)
        entry = static_cast<std::uint8_t>(1 + randomBelow(random, 40));
    return matrix;
}

EncoderSettings randomSettings(Random& random, bool hasAlpha) {
    constexpr std::uint32_t matrices[4] = {0, 1, 6, 9};
    constexpr AlphaRunCoding runCodings[3] = {AlphaRunCoding::Shortest, AlphaRunCoding::LongForm,
                                              AlphaRunCoding::Split};
    EncoderSettings settings;
    settings.interlace_mode = randomBelow(random, 4);
    settings.log2_slice_size_in_mb = randomBelow(random, 4);
    if (randomBelow(random, 2) == 0)
        settings.lumaMatrix = randomMatrix(random);
    if (randomBelow(random, 2) == 0)
        settings.chromaMatrix = randomMatrix(random);
    settings.quantization_index = 1 + randomBelow(random, 20);
    settings.alphaRunCoding = runCodings[randomBelow(random, 3)];
    settings.alphaDifferenceCoding =
        randomBelow(random, 2) == 0 ? AlphaDifferenceCoding::Shortest : AlphaDifferenceCoding::LongForm;
    settings.header_size = randomBelow(random, 2) * (148 + randomBelow(random, 100));
    settings.picture_header_size = 8 + randomBelow(random, 24);
    settings.slice_header_size = randomBelow(random, 2) * ((hasAlpha ? 8u : 6u) + randomBelow(random, 20));
    settings.matrix_coefficients = matrices[randomBelow(random, 4)];
    return settings;
}

void fillCoefficients(std::vector<std::int16_t>& coefficients, Random& random) {
    const bool isExtreme = randomBelow(random, 6) == 0;
    for (std::int16_t& coefficient : coefficients) {
        if (randomBelow(random, 6) == 0)
            coefficient = static_cast<std::int16_t>(isExtreme ? random() : randomBelow(random, 61) - 30);
    }
}

CoefficientFrame randomCoefficientFrame(Random& random) {
    CoefficientFrame frame;
    frame.width = 1 + randomBelow(random, 150);
    frame.height = 1 + randomBelow(random, 90);
    frame.chromaFormat = randomBelow(random, 2) == 0 ? ChromaFormat::C422 : ChromaFormat::C444;
    frame.alphaBits = randomBelow(random, 3) * 8;
    frame.settings = randomSettings(random, frame.alphaBits != 0);
    frame.makeEmptySlices();
    const std::uint32_t alphaMask = frame.alphaBits == 8 ? 0xFF : 0xFFFF;
    for (CoefficientSlice& slice : frame.slices) {
        slice.quantization_index = randomBelow(random, 256);
        fillCoefficients(slice.y, random);
        fillCoefficients(slice.cb, random);
        fillCoefficients(slice.cr, random);
        std::uint32_t alpha = 0;
        for (std::uint16_t& sample : slice.alpha) {
            if (randomBelow(random, 4) == 0)
                alpha = (randomBelow(random, 3) == 0 ? random() : alpha + randomBelow(random, 9)) & alphaMask;
            sample = static_cast<std::uint16_t>(alpha);
        }
    }
    return frame;
}

SourcePicture randomPicture(Random& random) {
    SourcePicture picture;
    picture.width = 1 + randomBelow(random, 120);
    picture.height = 2 + randomBelow(random, 70);
    picture.chromaFormat = randomBelow(random, 2) == 0 ? ChromaFormat::C422 : ChromaFormat::C444;
    picture.bitDepth = 8 + randomBelow(random, 9);
    picture.alphaBits = randomBelow(random, 3) * 8;
    const std::uint32_t numPixels = picture.width * picture.height;
    const std::uint32_t numChroma = picture.chromaWidth() * picture.height;
    const std::uint32_t maximum = (1u << picture.bitDepth) - 1;
    for (std::uint32_t i = 0; i < numPixels; ++i)
        picture.y.push_back(static_cast<std::uint16_t>((i * 37 + randomBelow(random, 1 + maximum / 8)) & maximum));
    for (std::uint32_t i = 0; i < numChroma; ++i) {
        picture.cb.push_back(static_cast<std::uint16_t>(randomBelow(random, maximum + 1)));
        picture.cr.push_back(static_cast<std::uint16_t>((maximum / 2 + i % 16) & maximum));
    }
    for (std::uint32_t i = 0; picture.alphaBits != 0 && i < numPixels; ++i)
        picture.alpha.push_back(static_cast<std::uint16_t>((i / 7 * 1237) & ((1u << picture.alphaBits) - 1)));
    return picture;
}

void expectModelInOneRandomForm(std::vector<std::uint8_t> const& frame, Random& random) {
    DecodeRequest request;
    request.downSampleFactor = randomBelow(random, 4);
    request.bitDepth = request.downSampleFactor != 0 ? 8 : kBitDepths[randomBelow(random, 4)];
    request.colorCoding = slowParseHeader(frame).is444() ? randomBelow(random, 3) : 0;
    for (const OptimizationTarget target : runnableTargets()) {
        request.target = target;
        request.lineStride = safeStride(frame, request);
        ASSERT_TRUE(decodesLikeModel(frame, request));
    }
}

} // namespace

TEST(EncodedFramesTest, TheScansReturnEveryCoefficientAndAlphaSampleThatWasWritten) {
    Random random = seeded(7001);
    for (int i = 0; i < 60; ++i) {
        const CoefficientFrame frame = randomCoefficientFrame(random);
        const std::vector<std::uint8_t> bytes = assembleCoefficientFrame(frame);
        for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
            DecodeRequest request;
            request.target = target;
            const SlowFrame parsed = slowParseFrame(bytes, request);
            ASSERT_EQ(parsed.slices.size(), frame.slices.size());
            for (std::size_t s = 0; s < parsed.slices.size(); ++s) {
                ASSERT_TRUE(parsed.slices[s].ok);
                ASSERT_EQ(parsed.slices[s].quantization_index, frame.slices[s].quantization_index);
                ASSERT_EQ(parsed.slices[s].y, frame.slices[s].y);
                ASSERT_EQ(parsed.slices[s].cb, frame.slices[s].cb);
                ASSERT_EQ(parsed.slices[s].cr, frame.slices[s].cr);
                ASSERT_EQ(parsed.slices[s].alpha, frame.slices[s].alpha);
            }
        }
    }
}

TEST(EncodedFramesTest, FramesOfCoefficientsDecodeLikeTheModel) {
    Random random = seeded(7002);
    for (int i = 0; i < 150; ++i)
        expectModelInOneRandomForm(assembleCoefficientFrame(randomCoefficientFrame(random)), random);
}

TEST(EncodedFramesTest, EncodedPicturesDecodeLikeTheModel) {
    Random random = seeded(7003);
    for (int i = 0; i < 60; ++i) {
        const SourcePicture picture = randomPicture(random);
        const EncodedFrame frame = encodeFrame(picture, randomSettings(random, picture.alphaBits != 0));
        expectModelInOneRandomForm(frame.bytes, random);
    }
}
