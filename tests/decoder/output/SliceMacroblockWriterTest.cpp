#include "SliceMacroblockWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "PixelBuffer.h"
#include "Random.h"
#include "WriterHarness.h"

namespace {

// The base class alone.
template <OptimizationTarget target>
class BareWriter : public SliceMacroblockWriter<target, float> {
public:
    using Base = SliceMacroblockWriter<target, float>;
    using Base::Base;

    void operator()(unsigned int, float const (*)[8][8], float const (*)[8][8], float const (*)[8][8],
                    std::uint16_t const*) const override {}
    void reconstructBlock16s(unsigned int, std::int16_t const (*)[8][8], std::int16_t const (*)[8][8],
                             std::int16_t const (*)[8][8], std::uint16_t const*) const override {}
    void reconstructBlock16s_Half(unsigned int, std::int16_t const (*)[4][4], std::int16_t const (*)[4][4],
                                  std::int16_t const (*)[4][4], std::uint16_t const*) const override {}
    void reconstructBlock16s_Quarter(unsigned int, std::int16_t const (*)[2][2], std::int16_t const (*)[2][2],
                                     std::int16_t const (*)[2][2], std::uint16_t const*) const override {}
    void reconstructBlock16s_Eighth(unsigned int, std::int16_t const*, std::int16_t const*, std::int16_t const*,
                                    std::uint16_t const*) const override {}
};

template <class On>
class SliceMacroblockWriterTest : public TargetTest<On> {
protected:
    using Writer = BareWriter<On::target>;

    static PixelBuffer buffer(std::uint32_t bitDepth, std::uint32_t colorCoding = 0, std::uint32_t matrix = 1) {
        PixelBuffer result;
        result.width = 16;
        result.height = 16;
        result.frameHeight = 1080;
        result.bitDepth = bitDepth;
        result.colorCoding = static_cast<ColorCoding>(colorCoding);
        result.matrix_coefficients = matrix;
        return result;
    }

    static std::array<unsigned int, 4> bounds(std::uint64_t width, std::uint64_t height, unsigned int mb,
                                              std::uint32_t downSampleFactor = 0) {
        PixelBuffer slice = buffer(8);
        slice.width = width;
        slice.height = height;
        slice.downSampleFactor = downSampleFactor;
        std::array<unsigned int, 4> result{};
        Writer(slice).setBlockBounds(mb, result[0], result[1], result[2], result[3]);
        return result;
    }

    // a * b + c with the roundings of the target.
    static float multiplyAdd(float a, float b, float c) {
        if (TargetTest<On>::isAvx2)
            return std::fma(a, b, c);
        const volatile float product = a * b;
        return product + c;
    }
};

TYPED_TEST_SUITE(SliceMacroblockWriterTest, BothTargets, TargetNames);

using Bounds = std::array<unsigned int, 4>; // left, right, top, bottom

std::int32_t truncated(float value) {
    return static_cast<std::int32_t>(std::clamp(static_cast<double>(value), -2147483648.0, 2147483647.0));
}

float randomSample(Random& random) {
    return static_cast<float>(static_cast<int>(random() & 0xFFFFFF) - 0x800000) / 8388608.0f * 300.0f;
}

} // namespace

TYPED_TEST(SliceMacroblockWriterTest, TheConstructorCopiesTheRecordAndTheLevels) {
    PixelBuffer slice = TestFixture::buffer(15, 2, 9);
    slice.width = 77;
    slice.lineStride = -12345;
    const typename TestFixture::Writer writer(slice);
    const OutputLevels levels = outputLevels(slice);
    EXPECT_EQ(writer.pixelBuffer().width, 77u);
    EXPECT_EQ(writer.pixelBuffer().lineStride, -12345);
    EXPECT_EQ(writer.levels().minValue, 0);
    EXPECT_EQ(writer.levels().maxValue, 32768);
    EXPECT_EQ(writer.levels().sampleScale, levels.sampleScale);
    EXPECT_EQ(writer.levels().alpha8Scale, levels.alpha8Scale);
    EXPECT_EQ(writer.levels().alpha16Scale, levels.alpha16Scale);
    EXPECT_EQ(writer.levels().cbToGreen, levels.cbToGreen);
    EXPECT_EQ(writer.levels().cbToBlue, levels.cbToBlue);
    EXPECT_EQ(writer.levels().crToRed, levels.crToRed);
    EXPECT_EQ(writer.levels().crToGreen, levels.crToGreen);
    EXPECT_EQ(writer.levels().rgbScale, levels.rgbScale);
    EXPECT_EQ(writer.levels().rgbOffset, levels.rgbOffset);
}

TYPED_TEST(SliceMacroblockWriterTest, AnUnknownBitDepthThrowsFromEveryWriter) {
    for (const WriterKind kind : {WriterKind::C422, WriterKind::C444, WriterKind::C4444}) {
        for (const std::uint32_t bitDepth : {0u, 1u, 7u, 9u, 12u, 14u, 17u, 32u}) {
            WriterCase c;
            c.kind = kind;
            try {
                makeWriter<TypeParam::target>(c, TestFixture::buffer(bitDepth));
                FAIL() << bitDepth;
            } catch (std::runtime_error const& error) {
                EXPECT_EQ(std::string(error.what()), "Unsupported bit depth in PixelBuffer");
            }
        }
    }
}

// --- bounds ----------------------------------------------------------------------------------------------------------

TYPED_TEST(SliceMacroblockWriterTest, AWholeMacroblockHasFourQuadrantsOfEight) {
    EXPECT_EQ(this->bounds(32, 16, 1), (Bounds{8, 8, 8, 8}));
}

TYPED_TEST(SliceMacroblockWriterTest, AWidthOf5Or10OrThe12InTheLastMacroblockClipsTheRight) {
    EXPECT_EQ(this->bounds(5, 16, 0), (Bounds{5, 0, 8, 8}));
    EXPECT_EQ(this->bounds(26, 16, 1), (Bounds{8, 2, 8, 8}));
    EXPECT_EQ(this->bounds(12, 16, 0), (Bounds{8, 4, 8, 8}));
    EXPECT_EQ(this->bounds(8, 16, 0), (Bounds{8, 0, 8, 8}));
}

TYPED_TEST(SliceMacroblockWriterTest, AHeightAtOrBelowTheMiddleHasNoBottomRows) {
    EXPECT_EQ(this->bounds(16, 3, 0), (Bounds{8, 8, 3, 0}));
    EXPECT_EQ(this->bounds(16, 8, 0), (Bounds{8, 8, 8, 0}));
    EXPECT_EQ(this->bounds(16, 9, 0), (Bounds{8, 8, 8, 1}));
}

TYPED_TEST(SliceMacroblockWriterTest, ReducedMacroblocksHaveReducedQuadrants) {
    EXPECT_EQ(this->bounds(8, 8, 0, 1), (Bounds{4, 4, 4, 4}));
    EXPECT_EQ(this->bounds(13, 5, 1, 1), (Bounds{4, 1, 4, 1}));
    EXPECT_EQ(this->bounds(4, 4, 0, 2), (Bounds{2, 2, 2, 2}));
    EXPECT_EQ(this->bounds(2, 2, 0, 3), (Bounds{1, 1, 1, 1}));
    EXPECT_EQ(this->bounds(2, 1, 0, 3), (Bounds{1, 1, 1, 0}));
}

TYPED_TEST(SliceMacroblockWriterTest, ReductionsAbove3LeaveNoPixelOfARow) {
    for (const std::uint32_t factor : {4u, 5u, 32u, 0xFFFFFFFFu}) {
        const auto [left, right, top, bottom] = TestFixture::bounds(16, 16, 0, factor);
        EXPECT_EQ(left + right, 0u);
    }
}

TYPED_TEST(SliceMacroblockWriterTest, AMacroblockBeyondTheWidthComesOutWhole) {
    // The difference is unsigned.
    EXPECT_EQ(this->bounds(15, 16, 1), (Bounds{8, 8, 8, 8}));
}

TYPED_TEST(SliceMacroblockWriterTest, OnlyTheLow32BitsOfTheWidthCount) {
    EXPECT_EQ(this->bounds((std::uint64_t{1} << 32) + 5, 16, 0), (Bounds{5, 0, 8, 8}));
}

// --- codes -----------------------------------------------------------------------------------------------------------

TYPED_TEST(SliceMacroblockWriterTest, RoundIsTheFloorOfTheValueAndAHalf) {
    EXPECT_EQ(TestFixture::Writer::round(2.4f), 2);
    EXPECT_EQ(TestFixture::Writer::round(2.5f), 3);
    EXPECT_EQ(TestFixture::Writer::round(-0.5f), 0);
    EXPECT_EQ(TestFixture::Writer::round(-0.75f), -1);
    EXPECT_EQ(TestFixture::Writer::round(-2.5f), -2);
    EXPECT_EQ(TestFixture::Writer::round(1e20f), 2147483647);
    EXPECT_EQ(TestFixture::Writer::round(-1e20f), -2147483647 - 1);
}

TYPED_TEST(SliceMacroblockWriterTest, ClampKeepsCodesBetweenZeroAndTheMaximum) {
    for (const std::uint32_t depth : kBitDepths) {
        const typename TestFixture::Writer writer(TestFixture::buffer(depth));
        EXPECT_EQ(writer.clamp(-1), 0);
        EXPECT_EQ(writer.clamp(-2147483647 - 1), 0);
        EXPECT_EQ(writer.clamp(0), 0);
        EXPECT_EQ(writer.clamp(writer.levels().maxValue - 1), writer.levels().maxValue - 1);
        EXPECT_EQ(writer.clamp(writer.levels().maxValue), writer.levels().maxValue);
        EXPECT_EQ(writer.clamp(writer.levels().maxValue + 1), writer.levels().maxValue);
        EXPECT_EQ(writer.clamp(2147483647), writer.levels().maxValue);
    }
}

TYPED_TEST(SliceMacroblockWriterTest, VideoBlackAndWhiteAreTheirCodesAtEveryDepth) {
    // A code of 8 bits is (s + 256) / 2; the other depths scale by (1 + maximum) / 256.
    constexpr std::int32_t expected[4][3] = {
        {16, 235, 128}, {64, 940, 512}, {2048, 30081, 16385}, {4096, 60160, 32768}};
    for (int i = 0; i < 4; ++i) {
        const typename TestFixture::Writer writer(TestFixture::buffer(kBitDepths[i]));
        EXPECT_EQ(writer.encodeSample(-224.0f), expected[i][0]);
        EXPECT_EQ(writer.encodeSample(214.0f), expected[i][1]);
        EXPECT_EQ(writer.encodeSample(0.0f), expected[i][2]);
    }
}

TYPED_TEST(SliceMacroblockWriterTest, TenBitSamplesRunFrom0To1023AndStayThere) {
    const typename TestFixture::Writer writer(TestFixture::buffer(10));
    EXPECT_EQ(writer.encodeSample(-256.0f), 0);
    EXPECT_EQ(writer.encodeSample(255.5f), 1023);
    EXPECT_EQ(writer.encodeSample(256.0f), 1023);
    EXPECT_EQ(writer.encodeSample(1000.0f), 1023);
    EXPECT_EQ(writer.encodeSample(-257.0f), 0);
}

TYPED_TEST(SliceMacroblockWriterTest, SamplesBeyond32BitsClampToTheNearerEnd) {
    for (const std::uint32_t depth : kBitDepths) {
        const typename TestFixture::Writer writer(TestFixture::buffer(depth));
        for (const float sample : {1e8f, 4.3e9f, 1e12f, 1e30f}) {
            EXPECT_EQ(writer.encodeSample(sample), writer.levels().maxValue);
            EXPECT_EQ(writer.encodeSample(-sample), 0);
        }
    }
}

TYPED_TEST(SliceMacroblockWriterTest, EncodedSamplesHaveTheRoundingsOfTheTarget) {
    Random random = seeded(4101);
    for (const std::uint32_t depth : kBitDepths) {
        const typename TestFixture::Writer writer(TestFixture::buffer(depth));
        for (int i = 0; i < 200000; ++i) {
            // Around the middle between two codes, where the roundings show.
            const float code =
                static_cast<float>(randomBelow(random, static_cast<std::uint32_t>(writer.levels().maxValue)));
            const float middle = (code + 0.5f) / writer.levels().sampleScale - 256.0f;
            const float sample = randomBelow(random, 2) == 0 ? std::nextafter(middle, -1e9f) : middle;
            const float scaled = this->multiplyAdd(sample + 256.0f, writer.levels().sampleScale, 0.5f);
            ASSERT_EQ(writer.unclampedCode(sample), truncated(scaled)) << sample;
        }
    }
}

TYPED_TEST(SliceMacroblockWriterTest, IntegerSamplesAt8BitsEqualTheirFormIn16BitIntegers) {
    const typename TestFixture::Writer writer(TestFixture::buffer(8));
    for (int sample = -32768; sample <= 32767; ++sample) {
        const int code = std::min(sample + 257, 32767) >> 1;
        ASSERT_EQ(writer.encodeSample(static_cast<float>(sample)), std::clamp(code, 0, 255)) << sample;
    }
}

// --- colours ---------------------------------------------------------------------------------------------------------

TYPED_TEST(SliceMacroblockWriterTest, TheScalarFormDividesAndScalesEachStepRounded) {
    Random random = seeded(4102);
    for (const std::uint32_t depth : kBitDepths) {
        for (const std::uint32_t coding : {1u, 2u, 3u}) {
            for (const std::uint32_t matrix : {1u, 6u, 9u}) {
                const typename TestFixture::Writer writer(TestFixture::buffer(depth, coding, matrix));
                for (int i = 0; i < 20000; ++i) {
                    const float y = randomSample(random), cb = randomSample(random), cr = randomSample(random);
                    const float normalY = static_cast<float>((static_cast<double>(y) + 224.0) / 438.0);
                    const float normalCb = cb / 448.0f;
                    const float normalCr = cr / 448.0f;
                    const float red = this->multiplyAdd(writer.levels().crToRed, normalCr, normalY);
                    const float withCb = this->multiplyAdd(writer.levels().cbToGreen, normalCb, normalY);
                    const float green = this->multiplyAdd(writer.levels().crToGreen, normalCr, withCb);
                    const float blue = this->multiplyAdd(writer.levels().cbToBlue, normalCb, normalY);
                    const auto scaled = [&writer](float value) {
                        const volatile float product = value * writer.levels().rgbScale;
                        const volatile float raised = product + writer.levels().rgbOffset;
                        return truncated(raised + 0.5f);
                    };
                    const auto codes = writer.convertToRGB(y, cb, cr);
                    ASSERT_EQ(codes.first, scaled(red));
                    ASSERT_EQ(codes.second, scaled(green));
                    ASSERT_EQ(codes.third, scaled(blue));
                }
            }
        }
    }
}

TYPED_TEST(SliceMacroblockWriterTest, TheVectorFormMultipliesByReciprocalsAndFusesTheOffset) {
    if (!this->isAvx2)
        GTEST_SKIP() << "Baseline has no vector form.";
    Random random = seeded(4103);
    const float perLuma = static_cast<float>(1.0 / 438.0);
    const float perChroma = static_cast<float>(1.0 / 448.0);
    int numDifferent = 0;
    for (const std::uint32_t depth : kBitDepths) {
        for (const std::uint32_t coding : {1u, 2u, 3u}) {
            const typename TestFixture::Writer writer(TestFixture::buffer(depth, coding, 6));
            for (int i = 0; i < 30000; ++i) {
                const float y = randomSample(random), cb = randomSample(random), cr = randomSample(random);
                const float normalY = (y + 224.0f) * perLuma;
                const float normalCb = cb * perChroma;
                const float normalCr = cr * perChroma;
                const auto scaled = [&writer](float value) {
                    return truncated(std::fma(value, writer.levels().rgbScale, writer.levels().rgbOffset) + 0.5f);
                };
                const auto codes = writer.convertToRGBByReciprocals(y, cb, cr);
                ASSERT_EQ(codes.first, scaled(std::fma(writer.levels().crToRed, normalCr, normalY)));
                ASSERT_EQ(codes.second, scaled(std::fma(writer.levels().crToGreen, normalCr,
                                                        std::fma(writer.levels().cbToGreen, normalCb, normalY))));
                ASSERT_EQ(codes.third, scaled(std::fma(writer.levels().cbToBlue, normalCb, normalY)));
                numDifferent += codes.first != writer.convertToRGB(y, cb, cr).first;
            }
        }
    }
    EXPECT_GT(numDifferent, 0) << "No sample tells the two forms apart.";
}

TYPED_TEST(SliceMacroblockWriterTest, CodingsAboveTwoGiveACodeOfZeroForEveryColour) {
    const typename TestFixture::Writer writer(TestFixture::buffer(16, 3));
    for (const float y : {-224.0f, 0.0f, 214.0f}) {
        const auto codes = writer.convertToRGB(y, 100.0f, -100.0f);
        EXPECT_EQ(codes.first, 0);
        EXPECT_EQ(codes.second, 0);
        EXPECT_EQ(codes.third, 0);
    }
}

TYPED_TEST(SliceMacroblockWriterTest, BlackAndWhiteHaveTheLevelsOfTheirCodingAtEveryDepth) {
    constexpr std::int32_t expected[4][4] = {
        {0, 255, 16, 235}, {0, 1023, 64, 940}, {0, 32768, 2048, 30081}, {0, 65535, 4096, 60160}};
    for (int i = 0; i < 4; ++i) {
        const typename TestFixture::Writer full(TestFixture::buffer(kBitDepths[i], 1));
        const typename TestFixture::Writer video(TestFixture::buffer(kBitDepths[i], 2));
        const std::int32_t codes[4] = {full.convertToRGB(-224, 0, 0).second, full.convertToRGB(214, 0, 0).second,
                                       video.convertToRGB(-224, 0, 0).second, video.convertToRGB(214, 0, 0).second};
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(codes[k], expected[i][k]) << kBitDepths[i] << " bits";
    }
}
