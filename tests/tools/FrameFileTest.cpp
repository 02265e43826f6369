#include "FrameFile.h"

#include <algorithm>

#include <gmock/gmock.h>

#include "CommandError.h"
#include "DecodedFrame.h"
#include "FrameEncoder.h"
#include "FrameParts.h"
#include "ToolsTestSupport.h"

namespace {

constexpr std::size_t kSurplus = 3 << 20;

std::vector<std::uint8_t> readFrom(std::vector<std::uint8_t> const& bytes) {
    InputFile file("memory", bytes);
    return readFrame(file, {kDefaultMaxPixels, 0});
}

std::vector<std::uint8_t> withSurplus(std::vector<std::uint8_t> bytes, std::uint8_t value) {
    bytes.resize(bytes.size() + kSurplus, value);
    return bytes;
}

std::vector<std::uint8_t> firstBytes(std::vector<std::uint8_t> const& bytes, std::size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

// Noise, which makes a frame of several mebibytes.
std::vector<std::uint8_t> largeFrame(std::uint32_t interlace_mode) {
    SourcePicture picture;
    picture.width = 1024;
    picture.height = 1024;
    picture.bitDepth = 8;
    std::uint32_t state = 1;
    const auto fill = [&state](std::vector<std::uint16_t>& plane, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            state = state * 1664525 + 1013904223;
            plane.push_back(static_cast<std::uint16_t>(16 + (state >> 24) % 200));
        }
    };
    fill(picture.y, 1024 * 1024);
    fill(picture.cb, 512 * 1024);
    fill(picture.cr, 512 * 1024);
    EncoderSettings settings;
    settings.interlace_mode = interlace_mode;
    settings.quantization_index = 1;
    return encodeFrame(picture, settings).bytes;
}

} // namespace

TEST(FrameFileTest, FramesOfTheEncoderDeclareTheirOwnSize) {
    for (const std::uint32_t interlace_mode : {0u, 1u, 2u}) {
        const std::vector<std::uint8_t> frame = largeFrame(interlace_mode);
        EXPECT_EQ(declaredFrameBytes(frame), frame.size()) << interlace_mode;
    }
}

TEST(FrameFileTest, AFrameIsReadWholeInAllItsParts) {
    for (const std::uint32_t interlace_mode : {0u, 1u}) {
        const std::vector<std::uint8_t> frame = largeFrame(interlace_mode);
        ASSERT_GT(frame.size(), 2 * kBytesAfterFrame);
        EXPECT_TRUE(readFrom(frame) == frame) << interlace_mode;
    }
}

TEST(FrameFileTest, OfWhatFollowsAFrameOneMebibyteIsRead) {
    for (const std::uint32_t interlace_mode : {0u, 1u}) {
        const std::vector<std::uint8_t> frame = largeFrame(interlace_mode);
        const std::vector<std::uint8_t> file = withSurplus(frame, 0xFF);
        EXPECT_TRUE(readFrom(file) == firstBytes(file, frame.size() + kBytesAfterFrame)) << interlace_mode;
    }
}

TEST(FrameFileTest, AFrameThatIsCutOffIsReadAsFarAsItGoes) {
    const std::vector<std::uint8_t> frame = largeFrame(1);
    for (const std::size_t size : {std::size_t{200}, frame.size() / 3, frame.size() / 2, frame.size() - 1})
        EXPECT_TRUE(readFrom(firstBytes(frame, size)) == firstBytes(frame, size)) << size;
}

// The header of a slice may declare more than the table of slices does, so a slice may read on after the frame.
TEST(FrameFileTest, WhatDecodesDoesNotDependOnWhereReadingEnds) {
    for (const char* kind : {"extremes", "failing", "interlaced", "oddheaders", "undefined_alpha"}) {
        const std::string name = std::string(kind) + "-1.rvl";
        const std::vector<std::uint8_t> file = withSurplus(bytesOf(readTestFile(vectorPath(name))), 0x55);
        DecodedFrame whole;
        DecodedFrame read;
        whole.decode(file, {});
        read.decode(readFrom(file), {});
        ASSERT_EQ(whole.height(), read.height());
        for (std::uint32_t y = 0; y < whole.height(); ++y)
            ASSERT_TRUE(std::ranges::equal(whole.row(y), read.row(y))) << name << ", line " << y;
    }
}

TEST(FrameFileTest, ALimitIsFoundBeforeTheFrameIsRead) {
    const std::vector<std::uint8_t> frame = largeFrame(0);
    InputFile file("memory", frame);
    try {
        readFrame(file, {1000, 0});
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_EQ(error.exitCode(), ExitCode::Limit);
    }
    EXPECT_EQ(file.peek(frame.size()).size(), frame.size() - declaredHeaderBytes(frame));
}
