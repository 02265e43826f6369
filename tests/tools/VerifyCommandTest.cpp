#include <filesystem>

#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// Three undamaged frames of a sequence, one that is damaged, and one file that is not a frame.
class VerifyCommandTest : public testing::Test {
protected:
    VerifyCommandTest() {
        for (const std::string number : {"1", "2", "3"})
            encodeSmooth(folder, "s." + number + ".rvl", 48, 32, {"--slice", "1", "--q", number});
        std::filesystem::copy_file(frame("1"), folder.path("bad.rvl"));
        damageSlices(bad(), {4});
        writeTestFile(folder.path("none.rvl"), "no frame");
    }

    std::string frame(std::string const& number) const { return folder.path("s." + number + ".rvl"); }
    std::string bad() const { return folder.path("bad.rvl"); }

    // The hash as decode prints it.
    std::string hashOf(std::string const& path, std::string const& algorithm,
                       std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {"decode", path, "-q", "-o", "-", "-F", algorithm});
        const std::string line = runRavelo(arguments).output;
        return line.substr(0, line.find(' '));
    }

    CommandResult verify(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "verify");
        return runRavelo(arguments);
    }

    TestFolder folder;
};

} // namespace

TEST_F(VerifyCommandTest, AnUndamagedFrameIsOk) {
    const CommandResult result = verify({frame("1")});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.output, frame("1") + ": ok\n");
}

TEST_F(VerifyCommandTest, ADamagedFrameIsReportedAndHasItsExitCode) {
    const CommandResult result = verify({bad()});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, bad() + ": damaged, 1 of 6 slices failed\n");
    EXPECT_EQ(result.error, "");
}

TEST_F(VerifyCommandTest, VerboseListsEachSliceAndTheHash) {
    const CommandResult result = verify({bad(), "-v"});
    EXPECT_THAT(result.output, AllOf(HasSubstr("picture 1, row 1, slice 1, from byte "), HasSubstr("y failed"),
                                     HasSubstr("xxh3:" + hashOf(bad(), "xxh3"))));
}

TEST_F(VerifyCommandTest, QuietReportsByTheExitCodeAlone) {
    for (std::string const& path : {frame("1"), bad()})
        EXPECT_EQ(verify({path, "-q"}).output, "");
    EXPECT_EQ(verify({bad(), "-q"}).exitCode, 3);
}

TEST_F(VerifyCommandTest, TheRightHashIsOk) {
    for (const char* algorithm : {"xxh3", "md5"}) {
        const std::string digits = hashOf(frame("1"), algorithm);
        EXPECT_EQ(verify({frame("1"), "--hash", std::string(algorithm) + ":" + digits}).exitCode, 0);
        EXPECT_EQ(verify({frame("1"), "--hash", digits}).exitCode, 0) << "the number of digits selects the algorithm";
    }
}

TEST_F(VerifyCommandTest, SmallAndCapitalDigitsAreAlike) {
    std::string digits = hashOf(frame("1"), "md5");
    for (char& digit : digits)
        digit = static_cast<char>(std::toupper(digit));
    EXPECT_EQ(verify({frame("1"), "--hash", "md5:" + digits}).exitCode, 0);
}

TEST_F(VerifyCommandTest, AnotherHashHasItsExitCode) {
    for (const char* algorithm : {"xxh3", "md5"}) {
        const std::string other = std::string(algorithm) + ":" + hashOf(frame("2"), algorithm);
        const CommandResult result = verify({frame("1"), "--hash", other});
        EXPECT_EQ(result.exitCode, 5);
        EXPECT_THAT(result.output, AllOf(HasSubstr(": not equal, "), HasSubstr("instead of " + other)));
    }
}

TEST_F(VerifyCommandTest, DamageOutranksTheHash) {
    EXPECT_EQ(verify({bad(), "--hash", hashOf(frame("1"), "xxh3")}).exitCode, 3);
    EXPECT_EQ(verify({bad(), "--hash", hashOf(bad(), "xxh3")}).exitCode, 3);
}

TEST_F(VerifyCommandTest, TheHashIsThatOfTheFormAskedFor) {
    for (std::vector<std::string> const& form : {std::vector<std::string>{"--depth", "16"},
                                                 {"--size", "half"},
                                                 {"--failed", "left"},
                                                 {"--failed", "marked"}}) {
        const std::string digits = hashOf(bad(), "xxh3", form);
        std::vector<std::string> arguments = {bad(), "--json", "--hash", digits};
        EXPECT_EQ(jsonAt(verify(arguments).output, "/frames/0/hash/equal"), "false") << form[1];
        arguments.insert(arguments.end(), form.begin(), form.end());
        EXPECT_EQ(jsonAt(verify(arguments).output, "/frames/0/hash/equal"), "true") << form[1];
    }
}

TEST_F(VerifyCommandTest, TextsThatAreNoHashesAreUsageErrors) {
    for (const char* hash : {"", "xxh3:", "xxh3:123", "crc:0123456789abcdef", "md5:0123456789abcdef",
                             "xxh3:0123456789abcdeg", "0123456789abcde"}) {
        const CommandResult result = verify({frame("1"), std::string("--hash=") + hash});
        EXPECT_EQ(result.exitCode, 2) << hash;
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(VerifyCommandTest, OneHashIsForOneFrame) {
    const CommandResult result = verify({frame("1"), frame("2"), "--hash", hashOf(frame("1"), "xxh3")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.error, HasSubstr("--list"));
}

TEST_F(VerifyCommandTest, AListOfHashesIsWhatDecodePrints) {
    const std::string list = folder.path("list");
    for (const char* algorithm : {"xxh3", "md5"}) {
        ASSERT_EQ(runRavelo({"decode", folder.path("s.#.rvl"), "-f", "-F", algorithm, "-o", list}).exitCode, 0);
        const CommandResult result = verify({folder.path("s.#.rvl"), "--list", list});
        EXPECT_EQ(result.exitCode, 0) << result.error;
        EXPECT_THAT(result.output, HasSubstr("3 frames: 3 ok, 0 damaged"));
    }
}

TEST_F(VerifyCommandTest, AListMadeInAnotherFolderServes) {
    const std::string list = folder.path("list");
    writeTestFile(list, "# made elsewhere\n\n" + hashOf(frame("1"), "xxh3") + "  /elsewhere/s.1.rvl\n" +
                            hashOf(frame("2"), "md5") + " *s.2.rvl\n");
    EXPECT_EQ(verify({frame("1"), frame("2"), "--list", list}).exitCode, 0);
}

TEST_F(VerifyCommandTest, AFrameThatTheListContradictsIsNotEqual) {
    const std::string list = folder.path("list");
    writeTestFile(list, hashOf(frame("1"), "xxh3") + "  " + frame("1") + "\n" + hashOf(frame("1"), "xxh3") + "  " +
                            frame("2") + "\n");
    const CommandResult result = verify({frame("1"), frame("2"), "--list", list});
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.output, HasSubstr(frame("1") + ": ok\n" + frame("2") + ": not equal"));
}

TEST_F(VerifyCommandTest, AFrameThatTheListLacksIsAFailure) {
    const std::string list = folder.path("list");
    writeTestFile(list, hashOf(frame("1"), "xxh3") + "  " + frame("1") + "\n");
    const CommandResult result = verify({frame("1"), frame("2"), "--list", list});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("does not contain a hash for " + frame("2")));
    EXPECT_THAT(result.output, HasSubstr(frame("1") + ": ok\n")) << "the others are verified all the same";
}

TEST_F(VerifyCommandTest, NamesThatTheListCannotTellApartAreAFailure) {
    const std::string list = folder.path("list");
    writeTestFile(list, hashOf(frame("1"), "xxh3") + "  /a/s.1.rvl\n" + hashOf(frame("2"), "xxh3") + "  /b/s.1.rvl\n");
    EXPECT_THAT(verify({frame("1"), "--list", list}).error, HasSubstr("several hashes"));
}

TEST_F(VerifyCommandTest, ListsWithOtherLinesAreFailures) {
    const std::string digits = hashOf(frame("1"), "xxh3");
    for (std::string const& line :
         {std::string("nonsense"), digits, digits + " name", digits + "  ", digits.substr(1) + "  name",
          digits + "  a\n" + hashOf(frame("2"), "xxh3") + "  a"}) {
        writeTestFile(folder.path("list"), "# a list\n" + line + "\n");
        const CommandResult result = verify({frame("1"), "--list", folder.path("list")});
        EXPECT_EQ(result.exitCode, 1) << line;
        EXPECT_THAT(result.error, HasSubstr("list, line ")) << line;
    }
}

TEST_F(VerifyCommandTest, HashAndListExcludeEachOther) {
    EXPECT_EQ(verify({frame("1"), "--list", "x", "--hash", "0123456789abcdef"}).exitCode, 2);
}

TEST_F(VerifyCommandTest, StandardInputIsAFrame) {
    const CommandResult result = runRavelo({"verify", "-"}, readTestFile(bad()));
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "standard input: damaged, 1 of 6 slices failed\n");
}

TEST_F(VerifyCommandTest, StandardInputIsAListOrAFrameButNotBoth) {
    const std::string list = hashOf(frame("1"), "xxh3") + "  " + frame("1") + "\n";
    EXPECT_EQ(runRavelo({"verify", frame("1"), "--list", "-"}, list).exitCode, 0);
    EXPECT_EQ(runRavelo({"verify", "-", "--list", "-"}, list).exitCode, 2);
}

TEST_F(VerifyCommandTest, WhatIsNoFrameIsAFailureThatEndsNothing) {
    const CommandResult result = verify({folder.path("none.rvl"), folder.path("missing.rvl"), frame("1")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, AllOf(HasSubstr("none.rvl: cut off at byte 8 of 28"), HasSubstr("cannot open")));
    EXPECT_THAT(result.output, HasSubstr(frame("1") + ": ok\n"));
    EXPECT_THAT(result.output, HasSubstr("3 frames: 1 ok, 0 damaged, 0 not equal, 0 refused, 2 failed\n"));
}

TEST_F(VerifyCommandTest, FramesBeyondTheLimitAreRefused) {
    const CommandResult result = verify({frame("1"), bad(), "--max-pixels", "1535"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.error, HasSubstr("the limit is 1535 pixels"));
    EXPECT_EQ(verify({frame("1"), "--max-pixels", "1536"}).exitCode, 0);
}

TEST_F(VerifyCommandTest, TheGravestFaultDecidesTheExitCode) {
    const std::string list = folder.path("list");
    writeTestFile(list, hashOf(frame("2"), "xxh3") + "  s.1.rvl\n" + hashOf(frame("2"), "xxh3") + "  bad.rvl\n" +
                            hashOf(frame("2"), "xxh3") + "  none.rvl\n");
    EXPECT_EQ(verify({frame("1"), "--list", list}).exitCode, 5);
    EXPECT_EQ(verify({frame("1"), bad(), "--list", list}).exitCode, 3);
    EXPECT_EQ(verify({bad(), frame("1"), folder.path("none.rvl"), "--list", list}).exitCode, 1);
}

TEST_F(VerifyCommandTest, HolesAreFailuresUnlessSkipped) {
    std::filesystem::remove(frame("2"));
    const CommandResult result = verify({folder.path("s.#.rvl")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("s.2.rvl does not exist"));
    EXPECT_THAT(result.output, HasSubstr("3 frames: 2 ok, 0 damaged, 0 not equal, 0 refused, 1 failed"));
    EXPECT_EQ(verify({folder.path("s.#.rvl"), "--missing", "skip"}).exitCode, 0);
}

TEST_F(VerifyCommandTest, OrderIsKeptWithManyFramesInFlight) {
    const CommandResult result = verify({folder.path("s.#.rvl"), "--in-flight", "3", "--threads", "4"});
    EXPECT_THAT(result.output, testing::StartsWith(frame("1") + ": ok\n" + frame("2") + ": ok\n" + frame("3")));
}

TEST_F(VerifyCommandTest, JsonHasWhatTheTextHas) {
    const CommandResult result =
        verify({frame("1"), bad(), folder.path("none.rvl"), "--json", "--target", "baseline", "--threads", "1"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(jsonAt(result.output, "/exit_code"), "1");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/status"), "\"ok\"");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/width"), "48");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/hash/value"), '"' + hashOf(frame("1"), "xxh3") + '"');
    EXPECT_EQ(jsonAt(result.output, "/frames/0/hash/expected"), "nothing");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/status"), "\"damaged\"");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/0/row"), "1");
    EXPECT_EQ(jsonAt(result.output, "/frames/2/status"), "\"failed\"");
    EXPECT_THAT(jsonAt(result.output, "/frames/2/error"), HasSubstr("cut off at byte 8 of 28"));
    EXPECT_EQ(jsonAt(result.output, "/totals/ok"), "1");
    EXPECT_EQ(jsonAt(result.output, "/totals/failed"), "1");
}

TEST_F(VerifyCommandTest, TheVectorsAreUndamagedButForThoseThatFail) {
    std::vector<std::string> arguments = {"verify", "-q"};
    for (const char* kind : {"valid422", "valid444", "valid4444_8", "valid4444_16", "interlaced", "tiny", "odd",
                             "undefined_alpha", "oddheaders", "extremes"})
        for (int i = 1; i <= 16; ++i)
            arguments.push_back(vectorPath(std::string(kind) + "-" + std::to_string(i) + ".rvl"));
    EXPECT_EQ(runRavelo(arguments).exitCode, 0);
}
