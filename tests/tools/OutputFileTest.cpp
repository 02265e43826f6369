#include "OutputFile.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(OutputFileTest, AFileHasItsNameOnlyWhenItIsWhole) {
    const TestFolder folder;
    {
        OutputFile file(folder.path("a"), false);
        file.write("half ");
        EXPECT_FALSE(std::filesystem::exists(folder.path("a")));
        file.write("and half");
        file.commit();
    }
    EXPECT_EQ(readTestFile(folder.path("a")), "half and half");
    EXPECT_THAT(folder.files(), ElementsAre("a"));
}

TEST(OutputFileTest, AFileThatIsNotCommittedLeavesNothingBehind) {
    const TestFolder folder;
    { OutputFile(folder.path("a"), false).write("half"); }
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(OutputFileTest, AnAbandonedFileLeavesTheOldOneAlone) {
    const TestFolder folder;
    writeTestFile(folder.path("a"), "old");
    { OutputFile(folder.path("a"), true).write("new"); }
    EXPECT_EQ(readTestFile(folder.path("a")), "old");
}

TEST(OutputFileTest, ExistingFilesAreOverwrittenOnlyWhenAllowed) {
    const TestFolder folder;
    writeTestFile(folder.path("a"), "old");
    EXPECT_THROW(OutputFile(folder.path("a"), false), CommandError);
    writeFile(folder.path("a"), true, bytesOf("new"));
    EXPECT_EQ(readTestFile(folder.path("a")), "new");
}

TEST(OutputFileTest, AFileMadeMeanwhileSurvives) {
    const TestFolder folder;
    OutputFile file(folder.path("a"), false);
    file.write("mine");
    writeTestFile(folder.path("a"), "theirs");
    EXPECT_THROW(file.commit(), CommandError);
    EXPECT_EQ(readTestFile(folder.path("a")), "theirs");
}

TEST(OutputFileTest, ALinkStaysAndItsFileIsReplaced) {
    const TestFolder folder;
    writeTestFile(folder.path("file"), "old");
    std::filesystem::create_symlink(folder.path("file"), folder.path("link"));
    writeFile(folder.path("link"), true, bytesOf("new"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
    EXPECT_EQ(readTestFile(folder.path("file")), "new");
}

TEST(OutputFileTest, NewFilesHaveThePermissionsOfTheUsersMask) {
    const TestFolder folder;
    writeTestFile(folder.path("ordinary"), "");
    writeFile(folder.path("ours"), false, bytesOf("x"));
    struct stat ordinary;
    struct stat ours;
    ASSERT_EQ(::stat(folder.path("ordinary").c_str(), &ordinary), 0);
    ASSERT_EQ(::stat(folder.path("ours").c_str(), &ours), 0);
    EXPECT_EQ(ours.st_mode, ordinary.st_mode);
}

TEST(OutputFileTest, AMissingFolderIsNamedInTheError) {
    try {
        OutputFile("/nowhere/at/all/a.png", false);
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_THAT(error.what(), HasSubstr("cannot write /nowhere/at/all/a.png: No such file"));
        EXPECT_EQ(error.exitCode(), ExitCode::Failed);
    }
}

TEST(OutputFileTest, AFullDiskIsAnError) {
    OutputFile file("/dev/full", false);
    EXPECT_THROW(file.write("x"), CommandError);
}

TEST(OutputFileTest, DevicesAreWrittenDirectly) {
    OutputFile file("/dev/null", false);
    file.write("x");
    file.commit();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}
