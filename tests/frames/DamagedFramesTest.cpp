#include <cstdint>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "FrameMaker.h"
#include "PixelBuffer.h"
#include "Random.h"

// Damage never stops a decode. What it writes is what the slow model writes, bit for bit, and nothing outside the
// frame's bytes is read: the input ends at unmapped memory.

namespace {

DecodeRequest randomRequest(std::vector<std::uint8_t> const& frame, Random& random) {
    DecodeRequest request;
    request.downSampleFactor = randomBelow(random, 2) * randomBelow(random, 4);
    request.bitDepth = request.downSampleFactor != 0 ? 8 : kBitDepths[randomBelow(random, 4)];
    const SlowFrameHeader header = slowParseHeader(frame);
    request.colorCoding = header.chroma_format == 2 ? 0 : randomBelow(random, 3);
    const std::vector<OptimizationTarget> targets = runnableTargets();
    request.target = targets[randomBelow(random, static_cast<std::uint32_t>(targets.size()))];
    request.lineStride = safeStride(frame, request);
    if (randomBelow(random, 2) == 0)
        request.lineStride = -request.lineStride;
    return request;
}

// Sizes that a mutation of the header makes huge would only cost time.
bool isSmall(std::vector<std::uint8_t> const& frame) {
    const SlowFrameHeader header = slowParseHeader(frame);
    return header.horizontal_size <= 400 && header.vertical_size <= 400;
}

void mutateBits(std::vector<std::uint8_t>& bytes, std::size_t from, Random& random) {
    for (std::uint32_t n = 1 + randomBelow(random, 6); n > 0; --n) {
        const std::size_t place = from + randomBelow(random, static_cast<std::uint32_t>(bytes.size() - from));
        bytes[place] = static_cast<std::uint8_t>(
            randomBelow(random, 2) == 0 ? random() : bytes[place] ^ (1u << randomBelow(random, 8)));
    }
}

template <class Damage>
void checkDamaged(std::uint32_t seed, std::uint32_t count, Damage damage) {
    Random random = seeded(seed);
    for (std::uint32_t i = 0; i < numRounds(count); ++i) {
        const FrameSpec spec = randomSpec(random);
        MadeFrame made = randomFrame(spec, random);
        damage(made, random);
        if (!isSmall(made.bytes))
            continue;
        const DecodeRequest request = randomRequest(made.bytes, random);
        ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << "frame " << i << ": " << spec.describe();
    }
}

} // namespace

TEST(DamagedFramesTest, MutatedSlicesEqualTheModel) {
    checkDamaged(3001, 900, [](MadeFrame& made, Random& random) {
        mutateBits(made.bytes, made.sliceOffsets.empty() ? 0 : made.sliceOffsets[0], random);
    });
}

TEST(DamagedFramesTest, MutatedHeadersAndSliceTablesEqualTheModel) {
    checkDamaged(3002, 500, [](MadeFrame& made, Random& random) {
        for (std::uint32_t n = 1 + randomBelow(random, 3); n > 0; --n) {
            const std::size_t end = made.sliceOffsets.empty() ? made.bytes.size() : made.sliceOffsets[0] + 8;
            const std::size_t place = randomBelow(random, static_cast<std::uint32_t>(end));
            made.bytes[std::min(place, made.bytes.size() - 1)] = static_cast<std::uint8_t>(random());
        }
    });
}

TEST(DamagedFramesTest, TruncatedFramesEqualTheModel) {
    checkDamaged(3003, 500, [](MadeFrame& made, Random& random) {
        made.bytes.resize(randomBelow(random, static_cast<std::uint32_t>(made.bytes.size() + 1)));
    });
}

TEST(DamagedFramesTest, SliceHeadersWithRandomSizesEqualTheModel) {
    checkDamaged(3004, 500, [](MadeFrame& made, Random& random) {
        for (std::size_t offset : made.sliceOffsets) {
            const std::size_t place = offset + randomBelow(random, 8);
            if (randomBelow(random, 2) == 0 && place < made.bytes.size())
                made.bytes[place] = static_cast<std::uint8_t>(random());
        }
    });
}

TEST(DamagedFramesTest, RandomBytesAfterAValidHeaderEqualTheModel) {
    checkDamaged(3005, 300, [](MadeFrame& made, Random& random) {
        const std::size_t from = made.sliceOffsets.empty() ? 28 : made.sliceOffsets[0];
        for (std::size_t i = from; i < made.bytes.size(); ++i)
            made.bytes[i] = static_cast<std::uint8_t>(random());
    });
}

TEST(DamagedFramesTest, EveryTruncationOfASmallFrameEqualsTheModel) {
    Random random = seeded(3006);
    FrameSpec spec;
    spec.horizontal_size = 24;
    spec.vertical_size = 20;
    spec.chroma_format = 3;
    spec.alpha_channel_type = 1;
    spec.interlace_mode = 1;
    spec.lumaMatrix.emplace().fill(3);
    const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, random));
    for (std::size_t size = 0; size <= made.bytes.size(); ++size) {
        const std::vector<std::uint8_t> frame(made.bytes.begin(),
                                              made.bytes.begin() + static_cast<std::ptrdiff_t>(size));
        const DecodeRequest request = randomRequest(frame, random);
        ASSERT_TRUE(decodesLikeModel(frame, request)) << size << " of " << made.bytes.size() << " bytes";
    }
}
