#include <filesystem>

#include <gmock/gmock.h>

#include "InputFile.h"
#include "PictureReader.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// A shot of flat grey frames with the numbers 1 to 6 and a hole at 3; frame n has the level 20 * n.
class Shot {
public:
    Shot() {
        std::string clip = "YUV4MPEG2 W16 H16 Cmono\n";
        for (int number = 0; number <= 6; ++number)
            clip += "FRAME\n" + std::string(256, static_cast<char>(20 * number));
        const CommandResult result = runRavelo({"encode", "-", "-o", folder.path("s.%04d.rvl")}, clip);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        std::filesystem::remove(folder.path("s.0000.rvl"));
        std::filesystem::remove(folder.path("s.0003.rvl"));
    }

    // The levels of the pictures that a decode with these arguments makes.
    std::vector<int> levelsOf(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "decode");
        arguments.insert(arguments.end(), {"-q", "-f", "-o", folder.path("out.y4m")});
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        InputFile file(folder.path("out.y4m"));
        const std::unique_ptr<PictureReader> reader = makePictureReader(file);
        std::vector<int> levels;
        while (const std::optional<InputPicture> picture = reader->next())
            levels.push_back(picture->planes[0].at(0));
        return levels;
    }

    std::string pattern() const { return folder.path("s.####.rvl"); }

    TestFolder folder;
};

} // namespace

TEST(SequenceCommandTest, AHoleIsAnErrorUnlessAskedOtherwise) {
    const Shot shot;
    const CommandResult result = runRavelo({"decode", shot.pattern(), "-o", shot.folder.path("out.y4m")});
    EXPECT_EQ(result.exitCode, 1);
    expectOneLine(result.error);
    EXPECT_THAT(result.error, HasSubstr("s.0003.rvl does not exist"));
    EXPECT_FALSE(std::filesystem::exists(shot.folder.path("out.y4m")));
}

TEST(SequenceCommandTest, SkippedHolesAreLeftOut) {
    const Shot shot;
    EXPECT_THAT(shot.levelsOf({shot.pattern(), "--missing", "skip"}), ElementsAre(20, 40, 80, 100, 120));
}

TEST(SequenceCommandTest, HeldHolesRepeatTheFrameBefore) {
    const Shot shot;
    EXPECT_THAT(shot.levelsOf({shot.pattern(), "--missing", "hold"}), ElementsAre(20, 40, 40, 80, 100, 120));
}

TEST(SequenceCommandTest, AHoleAtTheStartHoldsTheFirstFrame) {
    const Shot shot;
    EXPECT_THAT(shot.levelsOf({shot.pattern(), "--frames", "0-2", "--missing", "hold"}), ElementsAre(20, 20, 40));
}

TEST(SequenceCommandTest, BlackHolesAreBlackFramesOfTheSameForm) {
    const Shot shot;
    EXPECT_THAT(shot.levelsOf({shot.pattern(), "--missing", "black"}), ElementsAre(20, 40, 16, 80, 100, 120));
}

TEST(SequenceCommandTest, ListsChooseFrames) {
    const Shot shot;
    EXPECT_THAT(shot.levelsOf({shot.pattern(), "--frames", "2-6x2"}), ElementsAre(40, 80, 120));
    EXPECT_THAT(shot.levelsOf({shot.folder.path("s.2-6x2####.rvl")}), ElementsAre(40, 80, 120));
    EXPECT_THAT(shot.levelsOf({shot.folder.path("s.%04d.rvl"), "--frames", "6,1"}), ElementsAre(120, 20));
    EXPECT_THAT(shot.levelsOf({shot.folder.path("s.@@@@.rvl"), "--frames", "5"}), ElementsAre(100));
}

TEST(SequenceCommandTest, OrderIsKeptWithManyFramesInFlight) {
    const Shot shot;
    for (const char* inFlight : {"1", "2", "16"})
        EXPECT_THAT(shot.levelsOf({shot.pattern(), "--missing", "skip", "--in-flight", inFlight, "--threads", "4"}),
                    ElementsAre(20, 40, 80, 100, 120));
}

TEST(SequenceCommandTest, NumbersGoFromInputToOutput) {
    const Shot shot;
    const std::string output = shot.folder.path("p.%02d.png");
    ASSERT_EQ(runRavelo({"decode", shot.pattern(), "--frames", "4-5", "-o", output}).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(shot.folder.path("p.04.png")));
    EXPECT_TRUE(std::filesystem::exists(shot.folder.path("p.05.png")));
}

TEST(SequenceCommandTest, HashesAreListedByFrame) {
    const Shot shot;
    const CommandResult result =
        runRavelo({"decode", shot.pattern(), "--missing", "hold", "-q", "--format", "xxh3", "-o", "-"});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 6);
    EXPECT_THAT(result.output, HasSubstr("  " + shot.folder.path("s.0003.rvl") + "\n"));
}

TEST(SequenceCommandTest, ExistingOutputsAreFoundBeforeTheJobStarts) {
    const Shot shot;
    writeTestFile(shot.folder.path("p.06.png"), "precious");
    const CommandResult result =
        runRavelo({"decode", shot.pattern(), "--missing", "skip", "-q", "-o", shot.folder.path("p.%02d.png")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("p.06.png exists"));
    EXPECT_FALSE(std::filesystem::exists(shot.folder.path("p.01.png")));
}

TEST(SequenceCommandTest, ListsThatMakeNoSenseAreUsageErrors) {
    const Shot shot;
    for (const char* list : {"5-1", "x", "1-5x0"}) {
        const CommandResult result = runRavelo({"decode", shot.pattern(), "--frames=" + std::string(list), "-o", "-"});
        EXPECT_EQ(result.exitCode, 2) << list;
        expectOneLine(result.error);
    }
}

TEST(SequenceCommandTest, ASequenceWithoutFilesIsAnError) {
    const TestFolder folder;
    const CommandResult result = runRavelo({"decode", folder.path("none.####.rvl"), "-o", "-"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("no file matches"));
}
