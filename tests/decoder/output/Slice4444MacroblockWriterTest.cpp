#include "Slice4444MacroblockWriter.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "OutputLevels.h"
#include "Random.h"
#include "WriterHarness.h"

namespace {

template <class On>
class Slice4444MacroblockWriterTest : public TargetTest<On> {
protected:
    static WriterCase make(std::uint32_t width, std::uint32_t height, std::uint32_t bitDepth, std::uint32_t alphaDepth,
                           std::uint32_t colorCoding = 0, std::uint32_t downSampleFactor = 0) {
        WriterCase c;
        c.target = On::target;
        c.kind = WriterKind::C4444;
        c.width = width;
        c.height = height;
        c.bitDepth = bitDepth;
        c.colorCoding = colorCoding;
        c.alphaDepth = alphaDepth;
        c.downSampleFactor = downSampleFactor;
        c.sliceMbs = (width + c.mbSize() - 1) / c.mbSize();
        return c;
    }

    // The alpha code of a sample in a group of eight and in a single pixel.
    static std::uint32_t groupCode(std::uint16_t a, std::uint32_t bitDepth, std::uint32_t alphaDepth) {
        return codes(a, bitDepth, alphaDepth).first;
    }
    static std::uint32_t singleCode(std::uint16_t a, std::uint32_t bitDepth, std::uint32_t alphaDepth) {
        return codes(a, bitDepth, alphaDepth).second;
    }
    static std::pair<std::uint32_t, std::uint32_t> codes(std::uint16_t a, std::uint32_t bitDepth,
                                                         std::uint32_t alphaDepth) {
        const WriterOutput output =
            written(make(9, 1, bitDepth, alphaDepth), MacroblockBlocks(), std::vector<std::uint16_t>(256, a));
        return {output.at(0, 0), output.at(0, 4 * 8)};
    }
};

TYPED_TEST_SUITE(Slice4444MacroblockWriterTest, BothTargets, TargetNames);

using Samples = std::vector<std::uint32_t>;

} // namespace

TYPED_TEST(Slice4444MacroblockWriterTest, AnOpaqueSampleIsTheGreatestCodeInBothForms) {
    struct {
        std::uint16_t sample;
        std::uint32_t alphaDepth, bitDepth, code;
    } const cases[] = {{255, 8, 8, 255},    {255, 8, 10, 1023},    {255, 8, 15, 32768},   {255, 8, 16, 65535},
                       {65535, 16, 8, 255}, {65535, 16, 10, 1023}, {65535, 16, 15, 32768}};
    for (auto const& c : cases) {
        EXPECT_EQ(this->groupCode(c.sample, c.bitDepth, c.alphaDepth), c.code) << c.bitDepth;
        EXPECT_EQ(this->singleCode(c.sample, c.bitDepth, c.alphaDepth), c.code) << c.bitDepth;
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, ASampleOfZeroIsZeroInBothForms) {
    for (const std::uint32_t bitDepth : kBitDepths) {
        for (const std::uint32_t alphaDepth : {8u, 16u}) {
            EXPECT_EQ(this->groupCode(0, bitDepth, alphaDepth), 0u);
            EXPECT_EQ(this->singleCode(0, bitDepth, alphaDepth), 0u);
        }
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, SixteenBitAlphaAt8BitsRoundsToNearestInGroupsAndDownInSinglePixels) {
    EXPECT_EQ(this->groupCode(32768, 8, 16), this->isAvx2 ? 128u : 127u);
    EXPECT_EQ(this->singleCode(32768, 8, 16), 127u);
}

TYPED_TEST(Slice4444MacroblockWriterTest, EightBitAlphaIsUnchangedAt8BitsAnd257TimesItselfAt16BitsInBothForms) {
    for (std::uint32_t a = 0; a < 256; ++a) {
        const auto sample = static_cast<std::uint16_t>(a);
        EXPECT_EQ(this->codes(sample, 8, 8), (std::pair{a, a}));
        EXPECT_EQ(this->codes(sample, 16, 8), (std::pair{a * 257, a * 257}));
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, SixteenBitAlphaAt16BitsWrapsInTheScalarFormFrom32769On) {
    for (const std::uint32_t a : {0u, 1u, 32767u, 32768u, 32769u, 32770u, 50000u, 65534u, 65535u}) {
        const auto sample = static_cast<std::uint16_t>(a);
        const std::uint32_t scalar = a >= 32769 ? a - 1 : a;
        EXPECT_EQ(this->singleCode(sample, 16, 16), scalar) << a;
        EXPECT_EQ(this->groupCode(sample, 16, 16), this->isAvx2 ? a : scalar) << a;
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, SixteenBitAlphaAt15BitsStaysInRangeForEverySample) {
    for (const std::uint32_t a : {1u, 2u, 32767u, 32768u, 32769u, 65534u, 65535u})
        EXPECT_EQ(this->singleCode(static_cast<std::uint16_t>(a), 15, 16), a * 32768 / 65535) << a;
}

TYPED_TEST(Slice4444MacroblockWriterTest, EverySampleHasTheCodeOfItsFormAtEveryDepth) {
    for (const std::uint32_t bitDepth : kBitDepths) {
        const std::int32_t maximum = maximumCode(bitDepth);
        for (const std::uint32_t alphaDepth : {8u, 16u}) {
            const float scale = static_cast<float>(maximum) / (alphaDepth == 16 ? 65535.0f : 255.0f);
            const std::uint32_t byteMask = bitDepth == 8 ? 0xFF : 0xFFFF;
            // Lines of a group and seven single pixels; a slice of one line shows 15 samples.
            const WriterCase c = this->make(15, 16, bitDepth, alphaDepth);
            for (std::uint32_t first = 0; first < 65536; first += 16 * 15) {
                std::vector<std::uint16_t> plane(256);
                const auto sampleAt = [first](std::uint32_t row, std::uint32_t x) {
                    return static_cast<std::uint16_t>(first + row * 15 + x);
                };
                for (std::uint32_t i = 0; i < 256; ++i)
                    plane[i] = sampleAt(i / 16, i % 16);
                const WriterOutput output = written(c, MacroblockBlocks(), plane);
                for (std::uint32_t row = 0; row < 16; ++row) {
                    for (std::uint32_t x = 0; x < 15; ++x) {
                        const std::uint16_t a = sampleAt(row, x);
                        const std::uint32_t product = a * static_cast<std::uint32_t>(maximum);
                        std::int64_t code = static_cast<std::int32_t>(product) / (alphaDepth == 16 ? 65535 : 255);
                        if (this->isAvx2 && x < 8) {
                            code = static_cast<std::int64_t>(std::fma(static_cast<float>(a), scale, 0.5f));
                            code = std::min<std::int64_t>(code, 65535);
                            if (bitDepth != 8)
                                code = std::min<std::int64_t>(code, maximum);
                        }
                        ASSERT_EQ(output.at(row, 4 * x), static_cast<std::uint32_t>(code) & byteMask)
                            << a << " of " << alphaDepth << " bits at " << bitDepth << " bits, pixel " << x;
                    }
                }
            }
        }
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, SamplesAbove255ReadAs8BitsKeepTheLowByteOfTheirForm) {
    // Frames of an undefined alpha type bring such samples.
    for (const std::uint32_t a : {256u, 300u, 4095u, 65535u}) {
        EXPECT_EQ(this->groupCode(static_cast<std::uint16_t>(a), 8, 8), a & 0xFF);
        EXPECT_EQ(this->singleCode(static_cast<std::uint16_t>(a), 8, 8), a & 0xFF);
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, ARightPartReadsAlphaColumnsFrom8OnAndRowsByThePitch) {
    std::vector<std::uint16_t> plane(512);
    for (std::uint32_t i = 0; i < plane.size(); ++i)
        plane[i] = static_cast<std::uint16_t>(i / 32 * 16 + i % 16 + (i % 32) / 16);
    const WriterOutput output = written(this->make(28, 16, 8, 8), {MacroblockBlocks(), MacroblockBlocks()}, plane);
    for (std::uint32_t row = 0; row < 16; ++row) {
        for (std::uint32_t x = 0; x < 28; ++x)
            EXPECT_EQ(output.at(row, 4 * x), (row * 16 + x % 16 + x / 16) & 0xFF) << row << " " << x;
        EXPECT_TRUE(output.isUntouched(row, 4 * 28));
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, AClippedHeightGoesOnThroughThePlaneBelowTheMiddle) {
    std::vector<std::uint16_t> plane(256);
    for (std::uint32_t i = 0; i < plane.size(); ++i)
        plane[i] = static_cast<std::uint16_t>(i / 16 + 1);
    const WriterOutput output = written(this->make(16, 11, 8, 8), MacroblockBlocks(), plane);
    for (std::uint32_t row = 0; row < 11; ++row)
        EXPECT_EQ(output.at(row, 60), row + 1);
    EXPECT_TRUE(output.isUntouched(11, 0));
}

TYPED_TEST(Slice4444MacroblockWriterTest, ReducedSizesAreOpaqueWhateverThePlaneHolds) {
    for (std::uint32_t factor = 1; factor <= 3; ++factor) {
        for (const std::uint32_t alphaDepth : {8u, 16u}) {
            const std::uint32_t mbSize = 16u >> factor;
            for (std::uint32_t width = 1; width <= mbSize; ++width) {
                const WriterCase c = this->make(width, mbSize, 8, alphaDepth, 0, factor);
                const WriterOutput zeros = written(c, MacroblockBlocks(), std::vector<std::uint16_t>(256, 0));
                EXPECT_EQ(zeros.bytes(), written(c, MacroblockBlocks(), {}).bytes());
                for (std::uint32_t x = 0; x < width; ++x) {
                    const bool inGroup = factor == 1 && x < width / 4 * 4;
                    const bool isHalved = this->isAvx2 && inGroup && alphaDepth == 16;
                    EXPECT_EQ(zeros.at(0, 4 * x), isHalved ? 127u : 255u) << factor << " " << width << " " << x;
                }
            }
        }
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, TheWriterSaysWhetherItReadsThePlane) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        for (const std::uint32_t bitDepth : {8u, 16u}) {
            const WriterCase c = this->make(1, 1, bitDepth, 8, 0, factor);
            WriterOutput output(c);
            const auto writer = makeWriter<TypeParam::target>(c, pixelBufferOf(c, output));
            EXPECT_EQ(writer->readsAlpha(), factor == 0 || bitDepth > 8);
        }
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, TheFormOfRgbConversionFollowsTargetSizeAndGroup) {
    Random random = seeded(4401);
    struct {
        std::uint32_t bitDepth, factor, width, groupWidth; // groupWidth 0: no vector form at all
    } const forms[] = {{8, 0, 15, 8}, {16, 0, 15, 8}, {8, 1, 7, 4}, {8, 2, 3, 0}, {8, 3, 2, 0}};
    for (auto const& form : forms) {
        const WriterCase c = this->make(form.width, 1, form.bitDepth, 8, 1, form.factor);
        WriterOutput unused(c);
        const auto writer = makeWriter<TypeParam::target>(c, pixelBufferOf(c, unused));
        for (std::uint32_t found = 0; found < numRounds(10);) {
            // Reduced blocks hold integers; full-size ones take a fine grid.
            const float step = form.factor == 0 ? 2048.0f : 1.0f;
            const auto sample = [&random, step] {
                return static_cast<float>(randomBelow(random, static_cast<std::uint32_t>(512 * step))) / step - 256.0f;
            };
            const float y = sample(), cb = sample(), cr = sample();
            const auto byDivision = writer->convertToRGB(y, cb, cr);
            const auto byReciprocals = writer->convertToRGBByReciprocals(y, cb, cr);
            const std::uint32_t scalar = static_cast<std::uint32_t>(writer->clamp(byDivision.second));
            const std::uint32_t vector = static_cast<std::uint32_t>(writer->clamp(byReciprocals.second));
            if (scalar == vector) {
                // Integers meet a boundary between codes seldom, and on some matrices never.
                found += form.factor != 0 && randomBelow(random, 1u << 17) == 0 ? 1 : 0;
                continue;
            }
            ++found;
            const WriterOutput output = written(c, MacroblockBlocks::flat(y, cb, cr), std::vector<std::uint16_t>(256));
            for (std::uint32_t x = 0; x < form.width; ++x)
                ASSERT_EQ(output.at(0, 4 * x + 2), this->isAvx2 && x < form.groupWidth ? vector : scalar)
                    << form.bitDepth << " bits, reduction " << form.factor << ", pixel " << x;
        }
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, ColoursAreThoseOfTheWriterWithoutAlpha) {
    Random random = seeded(4402);
    for (const std::uint32_t bitDepth : {8u, 16u}) {
        WriterCase with = this->make(16, 16, bitDepth, 8, 1);
        const auto blocks = randomMacroblocks(random, SampleRange::Legal, with);
        const WriterOutput alpha = written(with, blocks, std::vector<std::uint16_t>(256, 255));
        with.kind = WriterKind::C444;
        EXPECT_EQ(alpha.bytes(), written(with, blocks).bytes());
    }
}

TYPED_TEST(Slice4444MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtFullSize) {
    Random random = seeded(4403);
    checkEveryForm(TypeParam::target, WriterKind::C4444, 0, random);
}

TYPED_TEST(Slice4444MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtReducedSizes) {
    Random random = seeded(4404);
    for (std::uint32_t factor = 1; factor <= 3; ++factor)
        checkEveryForm(TypeParam::target, WriterKind::C4444, factor, random);
}

TYPED_TEST(Slice4444MacroblockWriterTest, FullSizeIntegerBlocksGiveTheCodesOfFloatsButForDeepGroupsOnAvx2) {
    Random random = seeded(4405);
    checkIntegerBlocks(TypeParam::target, WriterKind::C4444, random);
}
