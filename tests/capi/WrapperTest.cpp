#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostFrames.h"
#include "ravelo.hpp"

TEST(WrapperTest, AnImageHoldsThePixelsOfTheCInterface) {
    for (const std::uint32_t depth : {8u, 16u}) {
        const MadeFrame frame = smallFrame(smallSpec(3, 0, 1), 1);
        ravelo_decode_options options = usualOptions();
        options.bit_depth = depth;
        options.coding = RAVELO_RGB_FULL;
        const HostDecode reference = hostDecode(frame.bytes, options);
        ravelo::Options wrapperOptions;
        wrapperOptions.bitDepth = depth;
        wrapperOptions.coding = RAVELO_RGB_FULL;
        const ravelo::Image image(frame.bytes, wrapperOptions);
        EXPECT_EQ(image.width(), 75u);
        EXPECT_EQ(image.height(), 52u);
        EXPECT_EQ(image.samplesPerPixel(), 4u);
        EXPECT_EQ(image.bytesPerSample(), depth / 8);
        EXPECT_EQ(image.lineBytes(), 75u * 4 * depth / 8);
        EXPECT_EQ(image.options().bitDepth, depth);
        for (std::uint32_t y = 0; y < image.height(); ++y) {
            const std::uint8_t* line = &reference.pixels[y * reference.needs.safe_stride];
            ASSERT_EQ(std::memcmp(image.line(y), line, image.lineBytes()), 0);
            std::uint16_t sample = line[5];
            if (depth == 16)
                std::memcpy(&sample, line + 10, sizeof sample);
            ASSERT_EQ(image.sample(y, 5), sample);
        }
    }
}

TEST(WrapperTest, ErrorsCarryStatusAndText) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 2);
    ravelo::Options options;
    options.coding = RAVELO_RGB_FULL;
    try {
        const ravelo::Image image(frame.bytes, options);
        FAIL() << "a 4:2:2 frame has no RGB";
    } catch (ravelo::Error const& error) {
        EXPECT_EQ(error.status(), RAVELO_ERROR_COMBINATION);
        EXPECT_THAT(error.what(), testing::HasSubstr("4:2:2"));
    }
    EXPECT_THROW(ravelo::frameInfo(ravelo::Bytes(frame.bytes.data(), 27)), ravelo::Error);
    options.coding = RAVELO_YCBCR;
    options.maxPixels = 1;
    EXPECT_THROW(ravelo::bufferRequirements(frame.bytes, options), ravelo::Error);
}

TEST(WrapperTest, AnImageIsUsedAgainForFramesOfOtherSizes) {
    ravelo::Image image;
    EXPECT_EQ(image.width(), 0u);
    for (const std::uint32_t width : {75u, 200u, 16u, 75u}) {
        FrameSpec spec = smallSpec(2, 0, 0);
        spec.horizontal_size = width;
        const MadeFrame frame = smallFrame(spec, width);
        EXPECT_TRUE(image.decode(frame.bytes));
        const HostDecode reference = hostDecode(frame.bytes, usualOptions());
        ASSERT_EQ(image.width(), width);
        for (std::uint32_t y = 0; y < image.height(); ++y)
            ASSERT_EQ(std::memcmp(image.line(y), &reference.pixels[y * reference.needs.safe_stride], image.lineBytes()),
                      0);
    }
    const ravelo::Image moved = std::move(image);
    EXPECT_EQ(moved.width(), 75u);
    EXPECT_NE(moved.data(), nullptr);
}

TEST(WrapperTest, DamageIsListedWhereTheOptionsHaveRoom) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 3);
    const std::vector<std::uint8_t> cut(frame.bytes.begin(), frame.bytes.begin() + 200);
    ravelo::Options options;
    options.damageCapacity = 3;
    options.failedSlices = RAVELO_FAILED_BLACK;
    ravelo::Image image(cut, options);
    EXPECT_EQ(image.damage().size(), 3u);
    EXPECT_GT(image.failedSlices(), 3u);
    EXPECT_EQ(image.sample(image.height() - 1, 1), 16u);
    EXPECT_TRUE(image.decode(frame.bytes, options));
    EXPECT_TRUE(image.damage().empty());
    EXPECT_EQ(image.failedSlices(), 0u);
}

TEST(WrapperTest, FailuresAreCountedWithoutAList) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 3);
    const std::vector<std::uint8_t> cut(frame.bytes.begin(), frame.bytes.begin() + 200);
    const ravelo::Image image(cut);
    EXPECT_GT(image.failedSlices(), 3u);
    EXPECT_TRUE(image.damage().empty());
}

TEST(WrapperTest, AFrameThatWasNotReadIsExplained) {
    try {
        const ravelo::Image image(std::vector<char>{});
        FAIL() << "there is no frame";
    } catch (ravelo::Error const& error) {
        EXPECT_EQ(error.status(), RAVELO_ERROR_ARGUMENT);
        EXPECT_THAT(error.what(), testing::HasSubstr("was its file opened and read?"));
    }
    EXPECT_THROW(ravelo::checkFrame(ravelo::Bytes(nullptr, 0)), ravelo::Error);
}

TEST(WrapperTest, ACheckHasAVerdictAndAText) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 0, 0), 3).bytes;
    EXPECT_EQ(ravelo::checkFrame(frame).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE));
    EXPECT_STREQ(ravelo::checkFrame({frame.data(), 12}).text, "cut off at byte 12 of 28");
}

TEST(WrapperTest, AStoppedDecodeSaysSo) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 4);
    ravelo::StopFlag stop;
    ravelo::Options options;
    options.stop = &stop;
    ravelo::Image image;
    EXPECT_TRUE(image.decode(frame.bytes, options));
    stop.request();
    EXPECT_FALSE(image.decode(frame.bytes, options));
    stop.reset();
    EXPECT_TRUE(image.decode(frame.bytes, options));
}

TEST(WrapperTest, AnImageThatIsReducedToNothingIsEmpty) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = spec.vertical_size = 7;
    ravelo::Options options;
    options.reduction = RAVELO_EIGHTH_SIZE;
    const ravelo::Image image(smallFrame(spec, 5).bytes, options);
    EXPECT_EQ(image.width(), 0u);
    EXPECT_EQ(image.height(), 0u);
}

TEST(WrapperTest, AnImageHoldsFormsPlanesAndRegions) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 0, 0), 1).bytes; // 75 x 52
    ravelo::Options options;
    options.pixelForm = RAVELO_RGBA;
    const ravelo::Image whole(frame, options);
    EXPECT_EQ(whole.planes(), 1u);
    EXPECT_EQ(whole.lineBytes(), 4u * 75);
    options.regionX = 5;
    options.regionY = 7;
    options.regionWidth = 20;
    options.regionHeight = 9;
    const ravelo::Image region(frame, options);
    ASSERT_EQ(region.width(), 20u);
    ASSERT_EQ(region.height(), 9u);
    for (std::uint32_t y = 0; y < 9; ++y)
        EXPECT_EQ(std::memcmp(region.line(y), whole.line(7 + y) + 4 * 5, 4 * 20), 0);

    ravelo::Options planar;
    planar.pixelForm = RAVELO_PLANAR;
    planar.bitDepth = 10;
    ravelo::Options coded;
    coded.bitDepth = 10;
    const ravelo::Image planes(frame, planar), pixels(frame, coded);
    ASSERT_EQ(planes.planes(), 3u);
    EXPECT_EQ(planes.planeWidth(1), 38u);
    for (std::uint32_t y = 0; y < 52; ++y) {
        for (std::uint32_t x = 0; x < 75; ++x) {
            const auto at = [&](std::uint32_t plane, std::uint32_t index) {
                std::uint16_t sample;
                std::memcpy(&sample, planes.planeLine(plane, y) + 2 * index, sizeof sample);
                return sample;
            };
            ASSERT_EQ(at(0, x), pixels.sample(y, 2 * x + 1));
            ASSERT_EQ(at(1 + x % 2, x / 2), pixels.sample(y, 2 * x));
        }
    }
    ravelo::Options half;
    half.pixelForm = RAVELO_RGBA_HALF;
    EXPECT_EQ(ravelo::Image(frame, half).lineBytes(), 8u * 75);
}
