#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "ExactDecoder.h"
#include "FlatFrames.h"
#include "PixelBuffer.h"
#include "Random.h"
#include "SlowWriter.h"

// Baseline against real numbers. Wherever the real code, with all the rounding that single precision can make, lies
// between two whole numbers, the decoder must give the lower one of them; only where a whole number lies within the
// bound may it give either neighbour. ExactDecoder.h derives the bound.

namespace {

struct Tally {
    std::uint64_t numSamples = 0;
    std::uint64_t numPinned = 0; // samples for which the bound leaves one code only
    double largestError = 0;     // of samples within the legal range
};

// The code that truncation and clamping make of a real one.
int finished(double value, int maximum) {
    return static_cast<int>(std::clamp(std::floor(value), 0.0, static_cast<double>(maximum)));
}

void checkFrame(MadeFrame const& made, DecodeRequest const& request, OutputBuffer const& output, Tally& tally) {
    const SlowFrame frame = slowParseFrame(made.bytes, request);
    const int maximum = slowLevels(frame.header, request).maxValue;
    visitExactCodes(frame, request, [&](std::int64_t offset, ExactCode exact) {
        const int code = request.bitDepth > 8 ? output.sample16At(offset) : output.at(offset);
        const int least = finished(exact.value - exact.error, maximum);
        const int most = finished(exact.value + exact.error, maximum);
        ++tally.numSamples;
        tally.numPinned += least == most ? 1 : 0;
        if (exact.value > 0 && exact.value < maximum)
            tally.largestError = std::max(tally.largestError, exact.error);
        if (code < least || code > most)
            ADD_FAILURE() << "offset " << offset << ": " << code << " instead of " << exact.value << " +- "
                          << exact.error << "; " << describe(request);
    });
}

Tally checkTexture(Texture texture, std::uint32_t depth, std::uint32_t numFrames, Random& random) {
    Tally tally;
    for (std::uint32_t i = 0; i < numFrames; ++i) {
        FrameSpec spec = randomSpec(random);
        spec.lumaMatrix.reset();
        spec.chromaMatrix.reset();
        spec.horizontal_size = 20 + randomBelow(random, 60);
        spec.vertical_size = 20 + randomBelow(random, 60);
        const MadeFrame made = makeFrame(spec, randomSlices(spec, texture, random));
        const std::uint32_t coding = spec.chroma_format == 2 ? 0 : i % 3;
        const DecodeRequest request = requestFor(made.bytes, 0, depth, coding);
        checkFrame(made, request, decoded(made.bytes, request), tally);
        if (testing::Test::HasFailure())
            break;
    }
    return tally;
}

} // namespace

TEST(ExactCodesTest, BaselineDiffersNowhereByMoreThanSinglePrecisionExplains) {
    Random random = seeded(5001);
    for (const std::uint32_t depth : kBitDepths) {
        for (const Texture texture : {Texture::Flat, Texture::Photo, Texture::Dense, Texture::Sparse, Texture::Extreme})
            checkTexture(texture, depth, numRounds(12), random);
    }
}

TEST(ExactCodesTest, TheBoundLeavesHardlyAnyChoiceAt8And10Bits) {
    Random random = seeded(5002);
    for (const std::uint32_t depth : {8u, 10u}) {
        const Tally tally = checkTexture(Texture::Photo, depth, 12, random);
        EXPECT_GT(tally.numSamples, 20000u);
        EXPECT_GT(static_cast<double>(tally.numPinned), 0.99 * static_cast<double>(tally.numSamples));
        EXPECT_LT(tally.largestError, 0.01);
    }
}

TEST(ExactCodesTest, EveryVariantOfTheFloatTransformStaysWithinTheBound) {
    // The fused variants round less often than the plain one, in the same formulas.
    Random random = seeded(5003);
    Tally tally;
    for (Variant const& variant : runnableVariants()) {
        for (int i = 0; i < 12; ++i) {
            const FrameSpec spec = randomSpec(random);
            const MadeFrame made = randomFrame(spec, random);
            const DecodeRequest request = requestFor(made.bytes, 0, 16);
            OutputBuffer output = bufferFor(made.bytes, request);
            decode(made.bytes, request, output, variant);
            checkFrame(made, request, output, tally);
            ASSERT_FALSE(testing::Test::HasFailure()) << variant.name << " " << spec.describe();
        }
    }
}
