#include "OutputFile.h"

#include <climits>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

struct stat statusOf(std::string const& path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status;
}

// For as long as the object lives, the test is an ordinary user.
class OtherUser {
public:
    OtherUser() {
        EXPECT_EQ(::setegid(65534), 0);
        EXPECT_EQ(::seteuid(65534), 0);
    }
    ~OtherUser() {
        EXPECT_EQ(::seteuid(0), 0);
        EXPECT_EQ(::setegid(0), 0);
    }
};

std::ptrdiff_t numOpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace

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

TEST(OutputFileTest, NoOutputLeavesADescriptorOpen) {
    const TestFolder folder;
    const std::vector<std::uint8_t> bytes(100000);
    const std::ptrdiff_t before = numOpenDescriptors();
    writeFile(folder.path("whole"), false, bytes);
    writeFile("/dev/null", true, bytes);
    { OutputFile(folder.path("abandoned"), false).write(bytes); }
    { OutputFile("/dev/null", true).write(bytes); }
    EXPECT_THROW(writeFile("/dev/full", true, bytes), CommandError);
    EXPECT_THROW(writeFile(folder.path("whole"), false, bytes), CommandError);
    EXPECT_EQ(numOpenDescriptors(), before);
}

TEST(OutputFileTest, AnOverwrittenFileKeepsItsPermissions) {
    const TestFolder folder;
    for (const mode_t mode : {0600, 0640, 0755, 0444}) {
        writeTestFile(folder.path("a"), "old");
        ASSERT_EQ(::chmod(folder.path("a").c_str(), mode), 0);
        writeFile(folder.path("a"), true, bytesOf("new"));
        EXPECT_EQ(readTestFile(folder.path("a")), "new");
        EXPECT_EQ(statusOf(folder.path("a")).st_mode & 07777, mode);
        std::filesystem::remove(folder.path("a"));
    }
}

TEST(OutputFileTest, AnOverwrittenFileRunsAsNobodyElse) {
    const TestFolder folder;
    writeTestFile(folder.path("a"), "old");
    ASSERT_EQ(::chmod(folder.path("a").c_str(), 04755), 0);
    writeFile(folder.path("a"), true, bytesOf("new"));
    EXPECT_EQ(statusOf(folder.path("a")).st_mode & 07777, 0755u);
}

TEST(OutputFileTest, AnOverwrittenFileKeepsItsOwner) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only the administrator can give a file away";
    const TestFolder folder;
    writeTestFile(folder.path("a"), "old");
    ASSERT_EQ(::chown(folder.path("a").c_str(), 1234, 5678), 0);
    ASSERT_EQ(::chmod(folder.path("a").c_str(), 0640), 0);
    writeFile(folder.path("a"), true, bytesOf("new"));
    EXPECT_EQ(readTestFile(folder.path("a")), "new");
    EXPECT_EQ(statusOf(folder.path("a")).st_uid, 1234u);
    EXPECT_EQ(statusOf(folder.path("a")).st_gid, 5678u);
    EXPECT_EQ(statusOf(folder.path("a")).st_mode & 07777, 0640u);
}

TEST(OutputFileTest, AFileWhoseOwnerCannotBeKeptIsWrittenInPlace) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only the administrator can become another user";
    const TestFolder folder;
    writeTestFile(folder.path("open"), "an old and longer text");
    writeTestFile(folder.path("closed"), "old");
    for (const char* name : {"open", "closed"})
        ASSERT_EQ(::chown(folder.path(name).c_str(), 1234, 5678), 0);
    ASSERT_EQ(::chmod(folder.path("open").c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder.path(".").c_str(), 0777), 0);
    const std::uint64_t before = statusOf(folder.path("open")).st_ino;
    {
        const OtherUser other;
        writeFile(folder.path("open"), true, bytesOf("new"));
        EXPECT_THROW(writeFile(folder.path("closed"), true, bytesOf("new")), CommandError);
    }
    EXPECT_EQ(readTestFile(folder.path("open")), "new");
    EXPECT_EQ(readTestFile(folder.path("closed")), "old");
    EXPECT_EQ(statusOf(folder.path("open")).st_uid, 1234u);
    EXPECT_EQ(statusOf(folder.path("open")).st_ino, before);
    EXPECT_THAT(folder.files(), ElementsAre("closed", "open"));
}

TEST(OutputFileTest, ALinkOfAnotherUserInAFolderOfAllIsNotFollowed) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only the administrator can give a link away";
    const TestFolder folder;
    writeTestFile(folder.path("file"), "old");
    std::filesystem::create_symlink(folder.path("file"), folder.path("link"));
    ASSERT_EQ(::lchown(folder.path("link").c_str(), 1234, 5678), 0);
    ASSERT_EQ(::chmod(folder.path(".").c_str(), 01777), 0);
    try {
        writeFile(folder.path("link"), true, bytesOf("new"));
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_THAT(error.what(), HasSubstr("a symbolic link of another user"));
    }
    EXPECT_EQ(readTestFile(folder.path("file")), "old");
    ASSERT_EQ(::chmod(folder.path(".").c_str(), 0777), 0);
    writeFile(folder.path("link"), true, bytesOf("new"));
    EXPECT_EQ(readTestFile(folder.path("file")), "new");
}

TEST(OutputFileTest, LinksAreFollowedToTheirEnd) {
    const TestFolder folder;
    std::filesystem::create_directory(folder.path("sub"));
    writeTestFile(folder.path("sub/file"), "old");
    std::filesystem::create_symlink("sub/second", folder.path("first"));
    std::filesystem::create_symlink("file", folder.path("sub/second"));
    writeFile(folder.path("first"), true, bytesOf("new"));
    EXPECT_EQ(readTestFile(folder.path("sub/file")), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("sub/second")));
    EXPECT_THROW(OutputFile(folder.path("first"), false), CommandError);
    std::filesystem::create_symlink("circle", folder.path("circle"));
    EXPECT_THROW(OutputFile(folder.path("circle"), true), CommandError);
}

TEST(OutputFileTest, NamesAndPathsMayBeAsLongAsTheFileSystemAllows) {
    const TestFolder folder;
    const std::string longest(255, 'a');
    writeFile(folder.path(longest), false, bytesOf("x"));
    writeFile(folder.path(longest), true, bytesOf("new"));
    EXPECT_EQ(readTestFile(folder.path(longest)), "new");
    EXPECT_THROW(OutputFile(folder.path(longest + "a"), false), CommandError);

    constexpr std::size_t kLongestPath = PATH_MAX - 1;
    std::string path = folder.path("b");
    while (path.size() + 240 < kLongestPath)
        path += "/" + std::string(200, 'b');
    path += "/" + std::string(kLongestPath - path.size() - 3, 'b');
    std::filesystem::create_directories(path);
    path += "/c";
    ASSERT_EQ(path.size(), kLongestPath);
    writeFile(path, false, bytesOf("x"));
    EXPECT_EQ(readTestFile(path), "x");
}
