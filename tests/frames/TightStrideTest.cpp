#include <cstdint>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include "DecodeCheck.h"
#include "FlatFrames.h"

// Reduced pictures whose stride has no room for what is written to the right of them: the picture itself is the same as
// with a stride that has room. Only the second field of a frame may damage finished lines of the first.

namespace {

struct TightShape {
    std::int64_t lineBytes; // of the reduced picture
    std::uint32_t lines;
    bool hasSecondPicture;
    std::uint32_t firstLineOfSecond; // 0 or 1
};

TightShape tightShapeOf(FrameSpec const& spec, DecodeRequest const& request) {
    TightShape shape;
    shape.lineBytes =
        std::int64_t{spec.horizontal_size >> request.downSampleFactor} * (spec.chroma_format == 3 ? 4 : 2);
    shape.lines = spec.vertical_size >> request.downSampleFactor;
    shape.hasSecondPicture = spec.interlace_mode == 1 || spec.interlace_mode == 2;
    shape.firstLineOfSecond = spec.interlace_mode == 1 ? 1 : 0;
    return shape;
}

// The bytes of the picture that differ from those of a decode with the safe stride, where they must not. `numCompared`
// counts up what was compared.
std::uint64_t wrongBytes(MadeFrame const& made, FrameSpec const& spec, DecodeRequest request, std::int64_t stride,
                         std::uint64_t& numCompared) {
    const TightShape shape = tightShapeOf(spec, request);
    const std::int64_t safe = safeStride(made.bytes, request);
    request.lineStride = stride;
    const OutputBuffer tight = decoded(made.bytes, request);
    DecodeRequest roomy = request;
    roomy.lineStride = stride < 0 ? -safe : safe;
    const OutputBuffer expected = decoded(made.bytes, roomy);

    const std::int64_t excess = safe - (stride < 0 ? -stride : stride);
    std::uint64_t numWrong = 0;
    for (std::uint32_t line = 0; line < shape.lines; ++line) {
        const bool isOfFirst = shape.hasSecondPicture && line % 2 != shape.firstLineOfSecond;
        for (std::int64_t i = isOfFirst ? excess : 0; i < shape.lineBytes; ++i) {
            // Lines that belong to no picture, as in frames of one field, are left as they were.
            if (expected.isUntouched(line * roomy.lineStride + i))
                continue;
            ++numCompared;
            if (tight.at(line * stride + i) != expected.at(line * roomy.lineStride + i))
                ++numWrong;
        }
    }
    return numWrong;
}

MadeFrame tightPhoto(FrameSpec const& spec, Random& random) {
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}

} // namespace

TEST(TightStrideTest, A1000By200PictureAtHalfSizeIsWhole) {
    Random random = seeded(9101);
    const FrameSpec spec = sizedSpec(2, 1000, 200);
    const MadeFrame made = tightPhoto(spec, random);
    for (const OptimizationTarget target : runnableTargets()) {
        for (const std::int64_t stride : {1000, -1000}) {
            std::uint64_t numCompared = 0;
            EXPECT_EQ(wrongBytes(made, spec, requestFor(made.bytes, 1, 8, 0, target), stride, numCompared), 0u);
            EXPECT_GT(numCompared, 1000u * 99);
        }
    }
}

// One macroblock, in which each line falls on the next ones; one slice of several; and rows of several slices.
TEST(TightStrideTest, EveryPictureIsWholeWithEveryStride) {
    Random random = seeded(9102);
    std::uint64_t numCompared = 0;
    for (std::uint32_t i = 0; i < 600; ++i) {
        FrameSpec spec = randomSpec(random);
        const std::uint32_t largest = i % 3 == 0 ? 16 : i % 3 == 1 ? 128 : 500;
        spec.horizontal_size = 2 + randomBelow(random, largest - 1);
        spec.vertical_size = 1 + randomBelow(random, 120);
        const MadeFrame made = tightPhoto(spec, random);
        const std::vector<OptimizationTarget> targets = runnableTargets();
        const DecodeRequest request = requestFor(made.bytes, 1 + i % 3, 8, 0, targets[i % targets.size()]);
        const std::int64_t least = leastStride(made.bytes, request);
        const std::int64_t magnitude = least + (i % 5) * (safeStride(made.bytes, request) - least) / 5;
        for (const std::int64_t stride : {magnitude, -magnitude}) {
            if (stride == 0)
                continue;
            ASSERT_EQ(wrongBytes(made, spec, request, stride, numCompared), 0u)
                << describe(request) << ", stride " << stride << ", " << spec.describe();
        }
    }
    EXPECT_GT(numCompared, 500'000u);
}

TEST(TightStrideTest, ThePictureIsTheSameForAnyNumberOfThreads) {
    Random random = seeded(9103);
    for (const std::uint32_t width : {130u, 777u, 1999u}) {
        for (const std::uint32_t reduction : {1u, 2u, 3u}) {
            const MadeFrame made = tightPhoto(sizedSpec(3, width, 300), random);
            for (const std::int64_t direction : {1, -1}) {
                DecodeRequest request = requestFor(made.bytes, reduction);
                request.lineStride = direction * leastStride(made.bytes, request);
                std::vector<std::uint8_t> expected;
                for (const int numThreads : {1, 2, 8}) {
                    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                                    static_cast<std::size_t>(numThreads));
                    tbb::task_arena arena(numThreads);
                    for (std::uint32_t round = 0; round < numRounds(5); ++round) {
                        const std::vector<std::uint8_t> found =
                            arena.execute([&] { return decoded(made.bytes, request).bytes(); });
                        if (expected.empty())
                            expected = found;
                        ASSERT_EQ(found, expected) << width << " " << reduction << " " << numThreads;
                    }
                }
            }
        }
    }
}
