#include <cstdint>
#include <set>

#include <gtest/gtest.h>

#include "Checksum.h"
#include "DecodeCheck.h"
#include "Random.h"
#include "SlowBitReader.h"
#include "SlowDecoder.h"
#include "SlowScan.h"
#include "VectorManifest.h"

// The model is the reference for the decoder, so it is tested itself: against calls whose results were computed
// elsewhere, and against frames whose content is known because they were made from it.

TEST(SlowModelTest, MeetsEveryLineOfTheVectors) {
    for (VectorRequest const& vector : readVectorManifest()) {
        const std::vector<std::uint8_t> frame = readTestData("vectors/" + vector.frame);
        const std::uint64_t stride = static_cast<std::uint64_t>(vector.request.lineStride);
        SlowCanvas canvas(0, stride * vector.rows, kVectorFill);
        const SlowDecodeReport report = slowDecode(frame, vector.request, canvas);
        ASSERT_FALSE(report.open) << vector.describe();
        for (std::uint32_t row = 0; row < vector.rows; ++row)
            ASSERT_EQ(crc32Of(canvas.bytes() + row * stride, stride), vector.crc32[row])
                << vector.describe() << " line " << row;
    }
}

TEST(SlowModelTest, ReadsBackEveryCoefficientAndAlphaSampleThatAFrameWasMadeOf) {
    Random random = seeded(1001);
    for (int i = 0; i < 60; ++i) {
        const FrameSpec spec = randomSpec(random);
        const MadeFrame made = randomFrame(spec, random);
        for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
            DecodeRequest request;
            request.target = target;
            const SlowFrame parsed = slowParseFrame(made.bytes, request);
            ASSERT_EQ(parsed.slices.size(), made.slices.size()) << spec.describe();
            for (std::size_t s = 0; s < made.slices.size(); ++s) {
                ASSERT_TRUE(parsed.slices[s].ok) << spec.describe() << " slice " << s;
                ASSERT_FALSE(parsed.slices[s].open);
                ASSERT_EQ(parsed.slices[s].quantization_index, made.slices[s].quantization_index);
                ASSERT_EQ(parsed.slices[s].y, made.slices[s].y) << spec.describe() << " slice " << s;
                ASSERT_EQ(parsed.slices[s].cb, made.slices[s].cb);
                ASSERT_EQ(parsed.slices[s].cr, made.slices[s].cr);
                ASSERT_EQ(parsed.slices[s].alpha, made.slices[s].alpha) << spec.describe() << " slice " << s;
            }
        }
    }
}

TEST(SlowModelTest, WordReaderDeliversTheBitsOfANaiveReader) {
    Random random = seeded(1002);
    for (int i = 0; i < 400; ++i) {
        std::vector<std::uint8_t> bytes(randomBelow(random, 40));
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        SlowBitReader reader(bytes, OptimizationTarget::Baseline);
        const std::size_t numBits = 8 * bytes.size();
        auto bitAt = [&](std::size_t bit) { return bit < numBits ? (bytes[bit / 8] >> (7 - bit % 8)) & 1u : 0u; };
        for (std::size_t bit = 0; bit < numBits + 24 && !reader.wrappedInData();) {
            ASSERT_EQ(reader.peekBits32() >> 31, bitAt(bit));
            const std::uint32_t n = randomBelow(random, bit < numBits ? 33 : 9);
            std::uint32_t expected = 0;
            for (std::uint32_t k = 0; k < n; ++k)
                expected = (expected << 1) | bitAt(bit + k);
            const std::uint32_t value = reader.getBits(n);
            bit += n;
            if (reader.wrappedInData())
                break;
            ASSERT_EQ(value, expected) << "bit " << bit << " of " << numBits;
            ASSERT_EQ(reader.readPastEnd(), bit > numBits);
        }
    }
}

TEST(SlowModelTest, AReadThatWrapsTheBitCountInsideTheDataFailsTheScan) {
    Random random = seeded(1003);
    int numWrapped = 0;
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::uint8_t> bytes(1 + randomBelow(random, 12));
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random() & random());
        const OptimizationTarget target =
            randomBelow(random, 2) == 0 ? OptimizationTarget::Baseline : OptimizationTarget::AVX2;
        const SlowScanResult result = slowScanCoefficients(bytes, 1u << randomBelow(random, 4), 64, target);
        if (!result.wrapped)
            continue;
        ++numWrapped;
        ASSERT_FALSE(result.ok);
    }
    EXPECT_GT(numWrapped, 20);
}

TEST(SlowModelTest, ProgressivePatternIsAPermutationAndTheInterlacedOneItsTranspose) {
    std::set<std::uint32_t> seen;
    for (std::uint32_t position = 0; position < 64; ++position) {
        seen.insert(kSlowProgressivePattern[position]);
        EXPECT_EQ(slowInterlacedPattern(position), kSlowProgressivePattern[position % 8 * 8 + position / 8]);
    }
    EXPECT_EQ(seen.size(), 64u);
}
