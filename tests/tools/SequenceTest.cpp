#include "Sequence.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "OutputName.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string nameOf(std::string const& path, std::uint64_t number) {
    const std::optional<SequencePattern> pattern = SequencePattern::parse(path);
    return pattern ? pattern->nameOf(number) : "no pattern";
}

ExitCode exitCodeOfList(std::string const& text) {
    try {
        parseNumberList(text);
    } catch (CommandError const& error) {
        return error.exitCode();
    }
    return ExitCode::Done;
}

std::vector<std::uint64_t> numbersOf(std::vector<SequenceItem> const& items) {
    std::vector<std::uint64_t> numbers;
    for (SequenceItem const& item : items)
        numbers.push_back(item.number);
    return numbers;
}

} // namespace

TEST(SequenceTest, ListsHoldNumbersRangesAndSteps) {
    EXPECT_THAT(parseNumberList("7"), ElementsAre(7));
    EXPECT_THAT(parseNumberList("1-3"), ElementsAre(1, 2, 3));
    EXPECT_THAT(parseNumberList("1-10x4"), ElementsAre(1, 5, 9));
    EXPECT_THAT(parseNumberList("1-2,9,4-4"), ElementsAre(1, 2, 9, 4));
}

TEST(SequenceTest, ListsThatMakeNoSenseAreRefused) {
    for (const char* text : {"", "x", "1-", "-1", "1,,2", "5-1", "1-5x0", "1-5x", "1-5y2", "1-99999999999",
                             "0-999999999999999999", "99999999999999999999"})
        EXPECT_EQ(exitCodeOfList(text), ExitCode::Usage) << text;
}

TEST(SequenceTest, TheNumbersOfAllRangesTogetherHaveALimit) {
    EXPECT_EQ(parseNumberList("1-9999999,1").size(), kMaxNumbers);
    EXPECT_EQ(exitCodeOfList("1-10000001"), ExitCode::Usage);
    EXPECT_EQ(exitCodeOfList("1-6000000,1-6000000"), ExitCode::Usage);
    EXPECT_EQ(exitCodeOfList("1-10000000,1"), ExitCode::Usage);
}

TEST(SequenceTest, TheNumbersOfAllArgumentsTogetherHaveALimit) {
    const std::string longest = "/nowhere/a.1-10000000#.rvl";
    try {
        expandSequences({"b.rvl", longest}, "");
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_EQ(error.exitCode(), ExitCode::Usage);
        EXPECT_THAT(error.what(), HasSubstr("more than 10000000 files"));
    }
}

TEST(SequenceTest, AllSpellingsNameTheSameFile) {
    EXPECT_EQ(nameOf("a/shot.%04d.rvl", 7), "a/shot.0007.rvl");
    EXPECT_EQ(nameOf("a/shot.####.rvl", 7), "a/shot.0007.rvl");
    EXPECT_EQ(nameOf("a/shot.@@@@.rvl", 7), "a/shot.0007.rvl");
    EXPECT_EQ(nameOf("a/shot.$F4.rvl", 7), "a/shot.0007.rvl");
}

TEST(SequenceTest, NumbersMayBeLongerThanTheirPlace) {
    EXPECT_EQ(nameOf("shot.%02d.rvl", 12345), "shot.12345.rvl");
    EXPECT_EQ(nameOf("shot.%d.rvl", 5), "shot.5.rvl");
    for (const char* name : {"shot.#.rvl", "shot.@.rvl", "shot.%d.rvl", "shot.$F.rvl"}) {
        EXPECT_EQ(nameOf(name, 7), "shot.7.rvl");
        EXPECT_EQ(nameOf(name, 10), "shot.10.rvl");
    }
}

TEST(SequenceTest, NamesWithoutAPlaceAreNoPattern) {
    EXPECT_FALSE(SequencePattern::parse("shot.0001.rvl"));
    EXPECT_FALSE(SequencePattern::parse("100%.rvl"));
    EXPECT_FALSE(SequencePattern::parse("%4d.rvl"));
    EXPECT_FALSE(SequencePattern::parse("%0d.rvl"));
    EXPECT_FALSE(SequencePattern::parse("%"));
    EXPECT_FALSE(SequencePattern::parse(""));
    EXPECT_FALSE(SequencePattern::parse("50%done.rvl/x.rvl"));
}

TEST(SequenceTest, AListStandsInFrontOfItsPlace) {
    const std::optional<SequencePattern> pattern = SequencePattern::parse("shot.1-5x2####.rvl");
    ASSERT_TRUE(pattern);
    EXPECT_THAT(pattern->listedNumbers(), ElementsAre(1, 3, 5));
    EXPECT_EQ(pattern->nameOf(3), "shot.0003.rvl");
}

TEST(SequenceTest, OfSeveralPlacesTheLastIsTaken) {
    EXPECT_EQ(nameOf("a##b###.rvl", 7), "a##b007.rvl");
    EXPECT_EQ(nameOf("a#@@.rvl", 7), "a#07.rvl");
    EXPECT_EQ(nameOf("a%d%03d.rvl", 7), "a%d007.rvl");
    EXPECT_EQ(nameOf("a%d%x.rvl", 7), "a7%x.rvl");
    EXPECT_EQ(nameOf("a$Fb$F3.rvl", 7), "a$Fb007.rvl");
    EXPECT_EQ(nameOf("a$F0.rvl", 7), "a70.rvl");
}

TEST(SequenceTest, ANumberWithoutARangeBelongsToTheName) {
    EXPECT_EQ(nameOf("take2####.rvl", 1), "take20001.rvl");
    EXPECT_EQ(nameOf("take-2####.rvl", 1), "take-20001.rvl");
    EXPECT_EQ(nameOf("x####", 1), "x0001");
    EXPECT_EQ(nameOf("1-####", 1), "1-0001");
}

TEST(SequenceTest, HolesBetweenFirstAndLastFileAreItems) {
    const TestFolder folder;
    for (const char* name : {"s.0002.rvl", "s.0003.rvl", "s.0006.rvl", "s.x.rvl", "s.7.rvl", "other.0004.rvl"})
        writeTestFile(folder.path(name), "");
    const std::vector<SequenceItem> items = expandSequences({folder.path("s.####.rvl")}, "");
    EXPECT_THAT(numbersOf(items), ElementsAre(2, 3, 4, 5, 6));
    EXPECT_TRUE(items[1].exists);
    EXPECT_FALSE(items[2].exists);
    EXPECT_EQ(items[2].path, folder.path("s.0004.rvl"));
}

TEST(SequenceTest, WhatStandsInForAHoleDependsOnTheFilesAlone) {
    const TestFolder folder;
    for (const char* name : {"s.2.rvl", "s.5.rvl"})
        writeTestFile(folder.path(name), "");
    const std::vector<SequenceItem> items = expandSequences({folder.path("s.#.rvl")}, "9,4,2,1");
    const std::vector<std::string> wanted = {folder.path("s.5.rvl"), folder.path("s.2.rvl"), "",
                                             folder.path("s.2.rvl")};
    for (std::size_t i = 0; i < wanted.size(); ++i)
        EXPECT_EQ(items[i].standIn, wanted[i]) << i;
    EXPECT_EQ(expandSequences({folder.path("none.#.rvl")}, "1")[0].standIn, "");
}

TEST(SequenceTest, GivenNumbersDecideWhatIsWanted) {
    const TestFolder folder;
    writeTestFile(folder.path("s.3.rvl"), "");
    const std::vector<SequenceItem> items = expandSequences({folder.path("s.%d.rvl")}, "1-5x2");
    EXPECT_THAT(numbersOf(items), ElementsAre(1, 3, 5));
    EXPECT_FALSE(items[0].exists);
    EXPECT_TRUE(items[1].exists);
}

TEST(SequenceTest, AFileThatHasSuchANameIsMeantItself) {
    const TestFolder folder;
    writeTestFile(folder.path("take#1.rvl"), "");
    writeTestFile(folder.path("take11.rvl"), "");
    const std::vector<SequenceItem> items = expandSequences({folder.path("take#1.rvl")}, "");
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].path, folder.path("take#1.rvl"));
}

TEST(SequenceTest, ASequenceWithoutFilesIsAnError) {
    const TestFolder folder;
    EXPECT_THROW(expandSequences({folder.path("none.####.rvl")}, ""), CommandError);
}

TEST(SequenceTest, OtherFilesKeepTheirPlaceAsNumber) {
    EXPECT_THAT(numbersOf(expandSequences({"b.rvl", "-", "a.rvl"}, "")), ElementsAre(0, 1, 2));
}

TEST(OutputNameTest, AFolderTakesTheNameOfTheSource) {
    const TestFolder folder;
    const OutputName output(folder.path(""));
    EXPECT_TRUE(output.isFolder());
    EXPECT_EQ(output.pathFor("a/shot.0001.rvl", 1, "png"), folder.path("shot.0001.png"));
}

TEST(OutputNameTest, ANumberedNameTakesTheNumberOfTheSource) {
    const OutputName output("out.####.png");
    EXPECT_TRUE(output.isSequence());
    EXPECT_EQ(output.pathFor("in.0012.rvl", 12, "png"), "out.0012.png");
}

TEST(OutputNameTest, OtherNamesAndStandardOutputAreSingle) {
    EXPECT_TRUE(OutputName("a.png").isSingleFile());
    EXPECT_TRUE(OutputName("-").isSingleFile());
    EXPECT_TRUE(OutputName("-").isStandardOutput());
}
