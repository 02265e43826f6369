#include <cstdint>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "FrameMaker.h"
#include "PixelBuffer.h"
#include "Random.h"

// Random frames over every knob of the format, decoded in every form, equal the slow model bit for bit.

namespace {

// A stride that is accepted: the least, the least with room for whole macroblocks, or some bytes more, odd ones too;
// upwards or downwards.
std::int64_t randomStride(std::vector<std::uint8_t> const& frame, DecodeRequest const& request, Random& random) {
    std::int64_t stride = leastStride(frame, request);
    const std::uint32_t kind = randomBelow(random, 3);
    if (kind > 0)
        stride = safeStride(frame, request);
    if (kind > 1)
        stride += randomBelow(random, 70);
    return randomBelow(random, 2) == 0 ? stride : -stride;
}

void checkEveryForm(FrameSpec const& spec, MadeFrame const& made, Random& random) {
    for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
        for (const std::uint32_t depth : kBitDepths) {
            for (const OptimizationTarget target : runnableTargets()) {
                DecodeRequest request;
                request.downSampleFactor = reduction;
                request.bitDepth = depth;
                request.target = target;
                request.colorCoding = spec.chroma_format == 2 ? 0 : randomBelow(random, 4);
                request.lineStride = randomStride(made.bytes, request, random);
                ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << spec.describe();
            }
        }
    }
}

void checkRandomFrames(std::uint32_t seed, std::uint32_t count, void (*adjust)(FrameSpec&)) {
    Random random = seeded(seed);
    for (std::uint32_t i = 0; i < numRounds(count); ++i) {
        FrameSpec spec = randomSpec(random);
        adjust(spec);
        const MadeFrame made = randomFrame(spec, random);
        checkEveryForm(spec, made, random);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

} // namespace

TEST(RandomFramesTest, EveryFormOf422EqualsTheModel) {
    checkRandomFrames(2001, 60, [](FrameSpec& spec) { spec.chroma_format = 2; });
}

TEST(RandomFramesTest, EveryFormOf444EqualsTheModel) {
    checkRandomFrames(2002, 50, [](FrameSpec& spec) {
        spec.chroma_format = 3;
        spec.alpha_channel_type = 0;
    });
}

TEST(RandomFramesTest, EveryFormOf444WithAlphaEqualsTheModel) {
    checkRandomFrames(2003, 60, [](FrameSpec& spec) {
        spec.chroma_format = 3;
        if (spec.alpha_channel_type == 0)
            spec.alpha_channel_type = 2;
    });
}

TEST(RandomFramesTest, EveryFormOfInterlacedFramesEqualsTheModel) {
    checkRandomFrames(2004, 40, [](FrameSpec& spec) {
        if (spec.interlace_mode == 0)
            spec.interlace_mode = 1;
    });
}

TEST(RandomFramesTest, EverySizeFrom1x1To18x18EqualsTheModel) {
    Random random = seeded(2005);
    for (std::uint32_t size = 0; size < 18 * 18; ++size) {
        FrameSpec spec = randomSpec(random);
        spec.horizontal_size = size % 18 + 1;
        spec.vertical_size = size / 18 + 1;
        const MadeFrame made = randomFrame(spec, random);
        DecodeRequest request;
        request.downSampleFactor = randomBelow(random, 4);
        request.bitDepth = request.downSampleFactor != 0 ? 8 : kBitDepths[randomBelow(random, 4)];
        request.colorCoding = spec.chroma_format == 2 ? 0 : randomBelow(random, 3);
        for (const OptimizationTarget target : runnableTargets()) {
            request.target = target;
            request.lineStride = randomStride(made.bytes, request, random);
            ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << spec.describe();
        }
    }
}

TEST(RandomFramesTest, EveryTransformVariantGivesTheSameReducedPictures) {
    Random random = seeded(2006);
    for (Variant const& variant : runnableVariants()) {
        for (std::uint32_t i = 0; i < numRounds(40); ++i) {
            const FrameSpec spec = randomSpec(random);
            const MadeFrame made = randomFrame(spec, random);
            for (const OptimizationTarget target : runnableTargets()) {
                DecodeRequest request;
                // The plain variants agree at full size as well.
                request.downSampleFactor = variant.isFused ? 1 + randomBelow(random, 3) : randomBelow(random, 4);
                request.target = target;
                request.colorCoding = spec.chroma_format == 2 ? 0 : randomBelow(random, 3);
                request.lineStride = randomStride(made.bytes, request, random);
                ASSERT_TRUE(decodesLikeModel(made.bytes, request, variant)) << variant.name << " " << spec.describe();
            }
        }
    }
}
