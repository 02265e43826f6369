#include "PngReader.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::uint8_t kGray = 0;
constexpr std::uint8_t kRgb = 2;
constexpr std::uint8_t kGrayAlpha = 4;
constexpr std::uint8_t kRgbAlpha = 6;

CommandError pngErrorOf(std::string const& content) {
    try {
        pictureOf(content);
    } catch (CommandError const& error) {
        return error;
    }
    return CommandError(ExitCode::Done, "no error");
}

} // namespace

TEST(PngReaderTest, ReadsRgb) {
    const InputPicture picture = pictureOf(plainPng(2, 1, 8, kRgb, "abcdef"));
    EXPECT_EQ(picture.model, ColorModel::Rgb);
    EXPECT_EQ(picture.maxValue, 255u);
    EXPECT_THAT(picture.planes[0], ElementsAre('a', 'd'));
    EXPECT_THAT(picture.planes[2], ElementsAre('c', 'f'));
}

TEST(PngReaderTest, ReadsDeepRgbWithAlpha) {
    const InputPicture picture = pictureOf(plainPng(1, 1, 16, kRgbAlpha, "\x01\x02\x03\x04\x05\x06\x07\x08"));
    EXPECT_EQ(picture.maxValue, 65535u);
    EXPECT_THAT(picture.planes[0], ElementsAre(0x0102));
    EXPECT_THAT(picture.alpha, ElementsAre(0x0708));
    EXPECT_EQ(picture.alphaMaxValue, 65535u);
}

TEST(PngReaderTest, BitsOfSmallGrayBecomeWholeBytes) {
    const InputPicture picture = pictureOf(plainPng(8, 1, 1, kGray, "\xA0"));
    EXPECT_EQ(picture.model, ColorModel::Gray);
    EXPECT_THAT(picture.planes[0], ElementsAre(255, 0, 255, 0, 0, 0, 0, 0));
}

TEST(PngReaderTest, ReadsGrayWithAlpha) {
    const InputPicture picture = pictureOf(plainPng(1, 2, 8, kGrayAlpha, "abcd"));
    EXPECT_THAT(picture.planes[0], ElementsAre('a', 'c'));
    EXPECT_THAT(picture.alpha, ElementsAre('b', 'd'));
}

TEST(PngReaderTest, EveryTruncationIsAnError) {
    const std::string whole = plainPng(3, 2, 8, kRgb, "abcdefghijklmnopqr");
    ASSERT_EQ(pngErrorOf(whole).exitCode(), ExitCode::Done);
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(pngErrorOf(whole.substr(0, size)).exitCode(), ExitCode::Failed) << size;
}

TEST(PngReaderTest, EveryFlippedByteIsReadOrRefused) {
    const std::string whole = plainPng(3, 2, 8, kRgb, "abcdefghijklmnopqr");
    for (std::size_t i = 8; i < whole.size(); ++i) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 0xFF);
        const CommandError error = pngErrorOf(damaged);
        EXPECT_TRUE(error.exitCode() == ExitCode::Done || error.exitCode() == ExitCode::Failed) << i;
    }
}

TEST(PngReaderTest, HugeSizesAreRefusedBeforeMemoryIsReserved) {
    EXPECT_EQ(pngErrorOf(plainPng(65535, 65535, 16, kRgb, "")).exitCode(), ExitCode::Limit);
    EXPECT_THAT(pngErrorOf(plainPng(70000, 1, 8, kRgb, "")).what(), HasSubstr("damaged"));
}
