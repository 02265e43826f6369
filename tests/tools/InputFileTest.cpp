#include "InputFile.h"

#include <array>
#include <filesystem>

#include <gmock/gmock.h>

#include "CommandError.h"
#include "PictureReader.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;

TEST(InputFileTest, PeekingDoesNotMoveOn) {
    const TestFolder folder;
    writeTestFile(folder.path("a"), "abcdef");
    InputFile file(folder.path("a"));
    EXPECT_THAT(file.peek(2), ElementsAre('a', 'b'));
    EXPECT_THAT(file.peek(3), ElementsAre('a', 'b', 'c'));
    std::array<std::uint8_t, 4> bytes = {};
    EXPECT_TRUE(file.read(bytes));
    EXPECT_THAT(bytes, ElementsAre('a', 'b', 'c', 'd'));
    EXPECT_THAT(file.peek(9), ElementsAre('e', 'f'));
    EXPECT_EQ(file.readAll(100), bytesOf("ef"));
}

TEST(InputFileTest, ReadingPastTheEndSaysSo) {
    InputFile file("memory", bytesOf("abc"));
    std::array<std::uint8_t, 4> bytes = {};
    EXPECT_FALSE(file.read(bytes));
}

TEST(InputFileTest, AFileAtTheLimitIsReadAndALargerOneIsNot) {
    const TestFolder folder;
    writeTestFile(folder.path("a"), std::string(1000, 'x'));
    EXPECT_EQ(readFile(folder.path("a"), 1000).size(), 1000u);
    try {
        readFile(folder.path("a"), 999);
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_EQ(error.exitCode(), ExitCode::Limit);
    }
}

TEST(InputFileTest, FoldersAndMissingFilesAreNamedInTheError) {
    const TestFolder folder;
    try {
        InputFile(folder.path(""));
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_THAT(error.what(), HasSubstr("it is a folder"));
    }
    EXPECT_THROW(InputFile(folder.path("missing")), CommandError);
}

TEST(PictureReaderTest, TheContentAndNotTheNameDecidesTheKind) {
    const TestFolder folder;
    writeTestFile(folder.path("picture.y4m"), smoothPpm(3, 2));
    EXPECT_EQ(readPicture(folder.path("picture.y4m")).width, 3u);
}

TEST(PictureReaderTest, UnknownKindsAreRefused) {
    EXPECT_THROW(pictureOf("GIF89a and more"), CommandError);
    EXPECT_THROW(pictureOf(""), CommandError);
    EXPECT_THROW(pictureOf("P"), CommandError);
}
