#include "RgbImage.h"

#include <algorithm>

#include <gmock/gmock.h>

#include "FrameEncoder.h"
#include "InputFile.h"
#include "PixelBuffer.h"
#include "ToolsTestSupport.h"

using testing::Each;
using testing::Ge;
using testing::Le;

namespace {

// A frame of one colour, whose codes of 8 bits survive exactly.
std::vector<std::uint8_t> flatFrame(ChromaFormat chromaFormat, std::uint16_t y, std::uint16_t cb, std::uint16_t cr) {
    SourcePicture picture;
    picture.width = 16;
    picture.height = 16;
    picture.chromaFormat = chromaFormat;
    picture.y.assign(256, y);
    picture.cb.assign(std::size_t{picture.chromaWidth()} * 16, cb);
    picture.cr.assign(std::size_t{picture.chromaWidth()} * 16, cr);
    EncoderSettings settings;
    settings.quantization_index = 1;
    return encodeFrame(picture, settings).bytes;
}

RgbImage imageOf(std::vector<std::uint8_t> const& frame, DecodeRequest const& form, bool videoRange = false) {
    DecodedFrame decoded;
    decoded.decode(frame, form);
    return rgbImageOf(decoded, {.videoRange = videoRange});
}

std::vector<std::uint8_t> vectorFrame(std::string const& name) {
    return readFile(vectorPath(name), 1 << 20);
}

} // namespace

TEST(RgbImageTest, WhiteAndBlackOf422ReachTheEndsOfTheRange) {
    for (const std::uint32_t bitDepth : kBitDepths) {
        const DecodeRequest form = {0, ColorCoding_YCbCr, bitDepth, OptimizationTarget::AVX2};
        const RgbImage white = imageOf(flatFrame(ChromaFormat::C422, 235, 128, 128), form);
        // At 15 bits the middle of chroma lies between two codes, and half a code becomes one in green or blue.
        const int tolerance = bitDepth == 15 ? 1 : 0;
        EXPECT_THAT(white.samples, Each(Ge(white.maxValue - tolerance))) << bitDepth;
        EXPECT_THAT(imageOf(flatFrame(ChromaFormat::C422, 16, 128, 128), form).samples, Each(Le(tolerance)))
            << bitDepth;
    }
}

TEST(RgbImageTest, VideoRangeOf422KeepsBlackAndWhiteWhereTheyAre) {
    const DecodeRequest form;
    EXPECT_THAT(imageOf(flatFrame(ChromaFormat::C422, 235, 128, 128), form, true).samples, Each(235));
    EXPECT_THAT(imageOf(flatFrame(ChromaFormat::C422, 16, 128, 128), form, true).samples, Each(16));
}

TEST(RgbImageTest, RgbOfTheLibraryIsTakenAsItIs) {
    const std::vector<std::uint8_t> frame = vectorFrame("valid444-1.rvl");
    const DecodeRequest form = {0, ColorCoding_RGBFull, 8, OptimizationTarget::Baseline};
    DecodedFrame decoded;
    decoded.decode(frame, form);
    const RgbImage image = rgbImageOf(decoded);
    ASSERT_EQ(image.channels, 3u);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const std::span<const std::uint8_t> row = decoded.row(y);
        for (std::size_t x = 0; x < image.width; ++x)
            for (std::size_t c = 0; c < 3; ++c)
                ASSERT_EQ(image.samples[(std::size_t{y} * image.width + x) * 3 + c], row[4 * x + 1 + c]);
    }
}

TEST(RgbImageTest, TheCommandsOwnStepAgreesWithTheLibrary) {
    // Both start from the same samples, but the command sees them rounded to codes. The largest gain of the matrices
    // and ranges is 256/224 * 2 = 2.3 of a component whose rounding is half a code, and two components take part.
    for (const char* name : {"valid444-1.rvl", "valid444-2.rvl", "valid444-3.rvl", "valid4444_8-1.rvl"}) {
        const std::vector<std::uint8_t> frame = vectorFrame(name);
        const RgbImage library = imageOf(frame, {0, ColorCoding_RGBFull, 16, OptimizationTarget::Baseline});
        DecodedFrame components;
        components.decode(frame, {0, ColorCoding_YCbCr, 16, OptimizationTarget::Baseline});
        const RgbImage own = rgbImageOf(components);
        ASSERT_EQ(library.samples.size(), own.samples.size());
        std::size_t compared = 0;
        std::vector<std::uint16_t> row;
        for (std::size_t i = 0; i < own.samples.size(); ++i) {
            const std::size_t pixel = i / own.channels;
            components.widenRow(static_cast<std::uint32_t>(pixel / own.width), row);
            // A component beyond its codes was clamped before the command saw it.
            const std::uint16_t* sample = row.data() + 4 * (pixel % own.width);
            if (std::any_of(sample + 1, sample + 4, [](std::uint16_t code) { return code == 0 || code == 65535; }))
                continue;
            ASSERT_NEAR(own.samples[i], library.samples[i], 3) << name << " sample " << i;
            ++compared;
        }
        EXPECT_GT(compared, 0u);
    }
}

TEST(RgbImageTest, ChromaOf422IsInterpolatedAcrossColumns) {
    // Cb rises from the first chroma sample to the second, so the column between lies halfway.
    SourcePicture picture;
    picture.width = 16;
    picture.height = 16;
    picture.y.assign(256, 128);
    for (std::size_t i = 0; i < 8 * 16; ++i)
        picture.cb.push_back(static_cast<std::uint16_t>(100 + 8 * (i % 8)));
    picture.cr.assign(8 * 16, 128);
    EncoderSettings settings;
    settings.quantization_index = 1;
    const RgbImage image =
        imageOf(encodeFrame(picture, settings).bytes, {0, ColorCoding_YCbCr, 16, OptimizationTarget::AVX2});
    for (std::size_t x = 1; x + 1 < 14; x += 2) {
        const double left = image.samples[3 * (x - 1) + 2];
        const double right = image.samples[3 * (x + 1) + 2];
        // The mean is rounded to a code twice: once as chroma, which the matrix amplifies 2.2 times, and once as blue.
        EXPECT_NEAR(image.samples[3 * x + 2], (left + right) / 2, 3) << x;
        EXPECT_LT(left, right);
    }
}

TEST(RgbImageTest, AlphaIsTheFourthChannel) {
    const std::vector<std::uint8_t> frame = vectorFrame("valid4444_16-1.rvl");
    DecodedFrame decoded;
    decoded.decode(frame, {0, ColorCoding_RGBFull, 16, OptimizationTarget::AVX2});
    const RgbImage image = rgbImageOf(decoded);
    ASSERT_EQ(image.channels, 4u);
    std::vector<std::uint16_t> row;
    decoded.widenRow(3, row);
    for (std::size_t x = 0; x < image.width; ++x)
        ASSERT_EQ(image.samples[(3 * std::size_t{image.width} + x) * 4 + 3], row[4 * x]);
}

TEST(DecodedFrameTest, BlackFramesAreBlackInEveryForm) {
    for (const std::string name : {"valid422-1.rvl", "valid444-1.rvl"}) {
        const std::vector<std::uint8_t> frame = vectorFrame(name);
        for (const std::uint32_t bitDepth : kBitDepths) {
            for (const ColorCoding coding : {ColorCoding_YCbCr, ColorCoding_RGBFull}) {
                if (name == "valid422-1.rvl" && coding == ColorCoding_RGBFull)
                    continue; // the library has no such form
                DecodedFrame black;
                black.fillBlack(frame, {0, coding, bitDepth, OptimizationTarget::Baseline});
                EXPECT_THAT(rgbImageOf(black).samples, Each(Le(bitDepth == 15 ? 1 : 0)))
                    << name << ' ' << bitDepth << ' ' << coding;
            }
        }
        for (const std::uint32_t bitDepth : {8u, 16u}) {
            DecodedFrame black;
            black.fillBlack(frame, {.bitDepth = bitDepth, .pixelForm = RAVELO_RGBA});
            EXPECT_THAT(rgbImageOf(black).samples, Each(0)) << name << ' ' << bitDepth;
            EXPECT_EQ(black.row(0).back(), 255) << "opaque";
        }
        DecodedFrame halves;
        halves.fillBlack(frame, {.bitDepth = 16, .pixelForm = RAVELO_RGBA_HALF});
        std::vector<std::uint16_t> row;
        halves.widenRow(3, row);
        EXPECT_THAT(std::vector(row.begin() + 4, row.begin() + 8), testing::ElementsAre(0, 0, 0, 0x3C00));
    }
}

TEST(DecodedFrameTest, AnObjectCanBeUsedForFramesOfOtherForms) {
    DecodedFrame used;
    for (const char* name : {"valid444-2.rvl", "tiny-1.rvl", "valid422-1.rvl", "odd-1.rvl"}) {
        const std::vector<std::uint8_t> frame = vectorFrame(name);
        const DecodeRequest form = {0, ColorCoding_YCbCr, 10, OptimizationTarget::Baseline};
        DecodedFrame fresh;
        fresh.decode(frame, form);
        used.decode(frame, form);
        ASSERT_EQ(used.height(), fresh.height());
        for (std::uint32_t y = 0; y < fresh.height(); ++y)
            ASSERT_TRUE(std::ranges::equal(used.row(y), fresh.row(y))) << name << " line " << y;
    }
}
