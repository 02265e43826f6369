#include "Slice444MacroblockWriter.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "PixelBuffer.h"
#include "Random.h"
#include "WriterHarness.h"

namespace {

template <class On>
class Slice444MacroblockWriterTest : public TargetTest<On> {
protected:
    static WriterCase make(std::uint32_t width, std::uint32_t height, std::uint32_t bitDepth = 8,
                           std::uint32_t colorCoding = 0, std::uint32_t downSampleFactor = 0) {
        WriterCase c;
        c.target = On::target;
        c.kind = WriterKind::C444;
        c.width = width;
        c.height = height;
        c.bitDepth = bitDepth;
        c.colorCoding = colorCoding;
        c.downSampleFactor = downSampleFactor;
        c.sliceMbs = (width + c.mbSize() - 1) / c.mbSize();
        return c;
    }
};

TYPED_TEST_SUITE(Slice444MacroblockWriterTest, BothTargets, TargetNames);

using Samples = std::vector<std::uint32_t>;

// A byte for block, row and column of a component; a sample of code c is 2c - 256.
MacroblockBlocks labelled(std::uint32_t size) {
    MacroblockBlocks blocks;
    for (std::uint32_t block = 0; block < 4; ++block) {
        for (std::uint32_t row = 0; row < size; ++row) {
            for (std::uint32_t column = 0; column < size; ++column) {
                const float code = static_cast<float>(block * 64 + row * 8 + column);
                blocks.y[block][row][column] = 2 * code - 256;
                blocks.cb[block][row][column] = 2 * (255 - code) - 256;
                blocks.cr[block][row][column] = 2 * (code / 2) - 256;
            }
        }
    }
    return blocks;
}

} // namespace

TYPED_TEST(Slice444MacroblockWriterTest, LumaBlocksRunAlongTheRowsAndChromaBlocksDownTheColumns) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const std::uint32_t half = 8u >> factor;
        const WriterOutput output = written(this->make(2 * half, 2 * half, 8, 0, factor), labelled(half));
        for (std::uint32_t row = 0; row < 2 * half; ++row) {
            for (std::uint32_t x = 0; x < 2 * half; ++x) {
                const std::uint32_t place = row % half * 8 + x % half;
                const std::uint32_t luma = (row / half * 2 + x / half) * 64 + place;
                const std::uint32_t chroma = (x / half * 2 + row / half) * 64 + place;
                ASSERT_EQ(output.at(row, 4 * x), 255u);
                ASSERT_EQ(output.at(row, 4 * x + 1), luma) << factor << " " << row << " " << x;
                ASSERT_EQ(output.at(row, 4 * x + 2), 255 - chroma) << factor << " " << row << " " << x;
                ASSERT_NEAR(output.at(row, 4 * x + 3), chroma / 2.0, 0.5) << factor << " " << row << " " << x;
            }
            EXPECT_TRUE(output.isUntouched(row, 8 * half));
        }
        EXPECT_TRUE(output.isUntouched(2 * half, 0));
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, AlphaIsTheGreatestCodeInEveryPixelOfEveryForm) {
    struct {
        std::uint32_t bitDepth, alpha;
    } const depths[] = {{8, 255}, {10, 1023}, {15, 0x8000}, {16, 65535}};
    for (auto const& depth : depths) {
        for (std::uint32_t coding = 0; coding < 4; ++coding) {
            const WriterOutput output = written(this->make(13, 16, depth.bitDepth, coding), MacroblockBlocks());
            for (std::uint32_t x = 0; x < 13; ++x)
                EXPECT_EQ(output.at(15, 4 * x), depth.alpha) << depth.bitDepth << " " << coding << " " << x;
        }
    }
    for (std::uint32_t factor = 1; factor <= 3; ++factor)
        EXPECT_EQ(written(this->make(16u >> factor, 2, 8, 1, factor), MacroblockBlocks()).at(0, 4), 255u);
}

TYPED_TEST(Slice444MacroblockWriterTest, YCbCrPixelsHaveFourSamplesWithAlphaFirst) {
    const WriterOutput output = written(this->make(16, 16, 10), MacroblockBlocks::flat(-224, 0, 224));
    for (std::uint32_t x = 0; x < 16; ++x)
        EXPECT_EQ(output.samples(7, 4 * x, 4), (Samples{1023, 64, 512, 960}));
}

TYPED_TEST(Slice444MacroblockWriterTest, MacroblocksStand64SamplesApart) {
    for (const std::uint32_t bitDepth : {8u, 16u}) {
        const WriterOutput output = written(this->make(32, 16, bitDepth),
                                            {MacroblockBlocks::flat(-256, 0, 0), MacroblockBlocks::flat(300, 0, 0)});
        EXPECT_EQ(output.at(0, 61), 0u);
        EXPECT_EQ(output.at(0, 65), bitDepth == 8 ? 255u : 65535u);
        EXPECT_TRUE(output.isUntouched(0, 128));
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, AWidthOf3WritesThreeWholePixelsAndNothingInTheRightPart) {
    const WriterOutput output = written(this->make(3, 16), labelled(8));
    for (std::uint32_t row = 0; row < 16; ++row) {
        for (std::uint32_t x = 0; x < 3; ++x)
            EXPECT_EQ(output.at(row, 4 * x + 1), row / 8 * 128 + row % 8 * 8 + x);
        EXPECT_NEAR(output.at(row, 11), (row / 8 * 64 + row % 8 * 8 + 2) / 2.0, 0.5);
        for (std::uint32_t i = 12; i < 64; ++i)
            EXPECT_TRUE(output.isUntouched(row, i));
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, VideoRangeRgbAt8BitsHasBlackAt16AndWhiteAt235) {
    const WriterOutput black = written(this->make(16, 16, 8, 2), MacroblockBlocks::flat(-224, 0, 0));
    const WriterOutput white = written(this->make(16, 16, 8, 2), MacroblockBlocks::flat(214, 0, 0));
    EXPECT_EQ(black.samples(0, 0, 4), (Samples{255, 16, 16, 16}));
    EXPECT_EQ(white.samples(0, 0, 4), (Samples{255, 235, 235, 235}));
}

TYPED_TEST(Slice444MacroblockWriterTest, FullRangeRgbAt8BitsHasBlackAt0AndWhiteAt255) {
    const WriterOutput black = written(this->make(16, 16, 8, 1), MacroblockBlocks::flat(-224, 0, 0));
    const WriterOutput white = written(this->make(16, 16, 8, 1), MacroblockBlocks::flat(214, 0, 0));
    EXPECT_EQ(black.samples(0, 0, 4), (Samples{255, 0, 0, 0}));
    EXPECT_EQ(white.samples(0, 0, 4), (Samples{255, 255, 255, 255}));
}

TYPED_TEST(Slice444MacroblockWriterTest, CodingsAboveTwoWriteBlackPixelsThatAreOpaque) {
    for (const std::uint32_t bitDepth : {8u, 16u}) {
        const WriterOutput output = written(this->make(11, 9, bitDepth, 7), MacroblockBlocks::flat(214, 100, -100));
        for (std::uint32_t x = 0; x < 11; ++x)
            EXPECT_EQ(output.samples(8, 4 * x, 4), (Samples{bitDepth == 8 ? 255u : 65535u, 0, 0, 0}));
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, CodesOf32768AndMoreComeOutAsZeroInGroupsOfEightBytesOfAvx2Alone) {
    // At 8 bits a sample of 65280 has the code 32768.
    for (const float sample : {65278.0f, 65280.0f, 70000.0f, 200000.0f, 1e12f}) {
        const std::uint32_t inGroup = this->isAvx2 && sample >= 65280.0f ? 0 : 255;
        const WriterOutput output = written(this->make(15, 16), MacroblockBlocks::flat(sample, sample, sample));
        for (std::uint32_t x = 0; x < 15; ++x)
            EXPECT_EQ(output.samples(3, 4 * x + 1, 3), Samples(3, x < 8 ? inGroup : 255)) << sample << " " << x;
        const WriterOutput wide = written(this->make(16, 16, 16), MacroblockBlocks::flat(sample, sample, sample));
        EXPECT_EQ(wide.samples(0, 1, 3), Samples(3, 65535));
    }
    const WriterOutput rgb = written(this->make(16, 16, 8, 1), MacroblockBlocks::flat(1e6f, 0, 0));
    EXPECT_EQ(rgb.samples(0, 1, 3), Samples(3, this->isAvx2 ? 0 : 255));
    // Reduced groups are narrower and clamp.
    const WriterOutput half = written(this->make(8, 8, 8, 0, 1), MacroblockBlocks::flat(32767, 32767, 32767));
    EXPECT_EQ(half.samples(0, 1, 3), Samples(3, 255));
}

TYPED_TEST(Slice444MacroblockWriterTest, NegativeCodesOfAnySizeComeOutAsZero) {
    for (const float sample : {-300.0f, -65536.0f, -1e6f, -1e12f}) {
        for (const std::uint32_t bitDepth : kBitDepths) {
            const WriterOutput output =
                written(this->make(15, 16, bitDepth), MacroblockBlocks::flat(sample, sample, sample));
            EXPECT_EQ(output.samples(0, 1, 3), Samples(3, 0));
            EXPECT_EQ(output.samples(0, 4 * 14 + 1, 3), Samples(3, 0));
        }
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, TheFormOfRgbConversionFollowsTargetDepthAndGroup) {
    Random random = seeded(4301);
    for (const std::uint32_t bitDepth : kBitDepths) {
        const WriterCase c = this->make(15, 16, bitDepth, 1);
        WriterOutput unused(c);
        const auto writer = makeWriter<TypeParam::target>(c, pixelBufferOf(c, unused));
        for (int found = 0; found < 10;) {
            const auto sample = [&random] {
                return static_cast<float>(randomBelow(random, 1u << 20)) / 2048.0f - 256.0f;
            };
            const float y = sample(), cb = sample(), cr = sample();
            const auto byDivision = writer->convertToRGB(y, cb, cr);
            const auto byReciprocals = writer->convertToRGBByReciprocals(y, cb, cr);
            const std::uint32_t scalar = static_cast<std::uint32_t>(writer->clamp(byDivision.second));
            const std::uint32_t vector = static_cast<std::uint32_t>(writer->clamp(byReciprocals.second));
            if (scalar == vector)
                continue;
            ++found;
            const WriterOutput output = written(c, MacroblockBlocks::flat(y, cb, cr));
            const std::uint32_t inGroup = this->isAvx2 ? vector : scalar;
            const std::uint32_t single = this->isAvx2 && bitDepth == 8 ? vector : scalar;
            ASSERT_EQ(output.at(0, 2), inGroup) << bitDepth;
            ASSERT_EQ(output.at(0, 4 * 14 + 2), single) << bitDepth;
        }
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, AWidthOfZeroWritesNothing) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        WriterCase c = this->make(0, 16, 8, 0, factor);
        c.sliceMbs = 1;
        const WriterOutput untouched(c);
        EXPECT_EQ(written(c, labelled(8)).bytes(), untouched.bytes());
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, SinglePixelsAndGroupsOf8BitsAreConvertedAlikeAtEverySize) {
    // A colour whose green differs between division and reciprocals.
    constexpr float y = -280, cb = -117, cr = -270;
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const std::uint32_t mbSize = 16u >> factor;
        for (std::uint32_t width = 1; width <= mbSize; ++width) {
            const WriterCase c = this->make(width, 1, 8, 2, factor);
            WriterOutput unused(c);
            const auto writer = makeWriter<TypeParam::target>(c, pixelBufferOf(c, unused));
            const std::int32_t byDivision = writer->convertToRGB(y, cb, cr).second;
            const std::int32_t byReciprocals = writer->convertToRGBByReciprocals(y, cb, cr).second;
            ASSERT_TRUE(!this->isAvx2 || byDivision != byReciprocals);
            const WriterOutput output = written(c, MacroblockBlocks::flat(y, cb, cr));
            for (std::uint32_t x = 0; x < width; ++x)
                ASSERT_EQ(output.at(0, 4 * x + 2),
                          static_cast<std::uint32_t>(this->isAvx2 ? byReciprocals : byDivision))
                    << "reduction " << factor << ", pixel " << x << " of " << width;
        }
    }
}

TYPED_TEST(Slice444MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtFullSize) {
    Random random = seeded(4302);
    checkEveryForm(TypeParam::target, WriterKind::C444, 0, random);
}

TYPED_TEST(Slice444MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtReducedSizes) {
    Random random = seeded(4303);
    for (std::uint32_t factor = 1; factor <= 3; ++factor)
        checkEveryForm(TypeParam::target, WriterKind::C444, factor, random);
}

TYPED_TEST(Slice444MacroblockWriterTest, FullSizeIntegerBlocksGiveTheCodesOfFloatsButForDeepGroupsOnAvx2) {
    Random random = seeded(4304);
    checkIntegerBlocks(TypeParam::target, WriterKind::C444, random);
}
