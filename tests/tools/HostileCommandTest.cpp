// What files and names from strangers can make the command do: take memory and time, and write to the terminal.

#include <algorithm>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::HasSubstr;

namespace {

constexpr std::uint64_t kMebibyte = 1 << 20;

const std::string kFrame = vectorPath("valid422-1.rvl");

// A name that would clear the screen and forge a line.
const std::string kEvilName = "a\x1b[2J\n0123456789abcdef  \xc2\x9b\\b.rvl";
const std::string kPrintedName = R"(a\x1b[2J\x0a0123456789abcdef  \xc2\x9b\\b.rvl)";

// Lines are what the command prints itself.
void expectNoControlCharacters(std::string const& text) {
    for (const char byte : text)
        EXPECT_TRUE(byte == '\n' || static_cast<unsigned char>(byte) >= 0x20) << text;
    EXPECT_EQ(text.find("\xc2\x9b"), std::string::npos) << text;
}

// A frame of 100 bytes that declares as many pixels as are accepted, in slices of 1 or 8 macroblocks.
std::string emptyFrame(std::uint8_t log2_slice_size_in_mb) {
    constexpr std::size_t kHeaderBytes = 20;
    constexpr std::size_t kPicture = 8 + kHeaderBytes;
    std::string frame(100, '\0');
    frame[9] = kHeaderBytes;
    frame[16] = '\x40'; // horizontal_size, 16384
    frame[18] = '\x40'; // vertical_size, 16384
    frame[20] = '\x80'; // chroma_format 2
    frame[kPicture] = 8 << 3;
    frame[kPicture + 7] = static_cast<char>(log2_slice_size_in_mb << 4);
    return frame;
}

} // namespace

TEST(HostileCommandTest, AFileWithoutEndThatIsNotAFrameIsRefusedAtOnce) {
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", "/dev/zero"},
                                                      {"decode", "/dev/zero", "-F", "null"},
                                                      {"verify", "/dev/zero"},
                                                      {"inspect", "/dev/zero"},
                                                      {"bench", "/dev/zero"},
                                                      {"compare", "/dev/zero", kFrame},
                                                      {"compare", kFrame, "/dev/zero"},
                                                      {"encode", "/dev/zero", "-o", "-"},
                                                      {"verify", kFrame, "--list", "/dev/zero"}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments[0];
        expectOneLine(result.error);
        expectMemoryBelow(40 * kMebibyte, result);
    }
}

TEST(HostileCommandTest, WhatFollowsAFrameWithoutEndIsNotRead) {
    for (const char* call :
         {"info -", "decode - -F null", "verify -", "inspect -", "bench --iterations 1 -", "compare - \"$FRAME\""}) {
        const CommandResult result =
            runShell(fmt::format("FRAME='{}'; cat \"$FRAME\" /dev/zero | $RAVELO {}", kFrame, call));
        EXPECT_EQ(result.exitCode, 0) << call << ": " << result.error;
        expectMemoryBelow(40 * kMebibyte, result);
    }
}

TEST(HostileCommandTest, APictureTakesTheMemoryOfItsDataAndNotOfItsSize) {
    const TestFolder folder;
    const std::string png = plainPng(16384, 16384, 16, 6, "");
    writeTestFile(folder.path("a.png"), png.substr(0, 74));
    writeTestFile(folder.path("b.png"), png);
    // The last byte but the checksum of the first chunk says whether the rows are interlaced.
    std::string interlacedHeader = png.substr(16, 13);
    interlacedHeader.back() = 1;
    writeTestFile(folder.path("c.png"), png.substr(0, 8) + pngChunk("IHDR", interlacedHeader) + png.substr(33));
    writeTestFile(folder.path("d.ppm"), "P6\n16384 16384\n65535\nabc");
    writeTestFile(folder.path("e.pam"), "P7\nWIDTH 16384\nHEIGHT 16384\nDEPTH 4\nMAXVAL 65535\nENDHDR\nabc");
    writeTestFile(folder.path("f.y4m"), "YUV4MPEG2 W16384 H16384 C444p16\nFRAME\nabc");
    for (const char* name : {"a.png", "b.png", "c.png", "d.ppm", "e.pam", "f.y4m"})
        for (std::vector<std::string> const& arguments :
             {std::vector<std::string>{"encode", folder.path(name), "-o", folder.path("out.rvl")},
              {"compare", folder.path(name), kFrame}}) {
            const CommandResult result = runRavelo(arguments);
            EXPECT_EQ(result.exitCode, 1) << arguments[0] << " " << name;
            expectOneLine(result.error);
            expectMemoryBelow(40 * kMebibyte, result);
        }
}

TEST(HostileCommandTest, TextsInAPictureTakeNoMemory) {
    const TestFolder folder;
    std::string png = plainPng(1, 1, 8, 0, "a");
    const std::string text = pngChunk("tEXt", std::string("Comment\0", 8) + std::string(2 * kMebibyte, 'a'));
    for (int i = 0; i < 30; ++i)
        png.insert(33, text);
    writeTestFile(folder.path("a.png"), png);
    const CommandResult result =
        runShell(fmt::format("$RAVELO encode '{}' -o '{}'", folder.path("a.png"), folder.path("a.rvl")));
    EXPECT_EQ(result.exitCode, 0) << result.error;
    expectMemoryBelow(40 * kMebibyte, result);
}

TEST(HostileCommandTest, PicturesHaveTheLimitOfFrames) {
    const TestFolder folder;
    writeTestFile(folder.path("small.png"), plainPng(2, 3, 8, 0, "abcdef"));
    writeTestFile(folder.path("small.ppm"), smoothPpm(2, 3));
    writeTestFile(folder.path("small.y4m"), "YUV4MPEG2 W2 H3 Cmono\nFRAME\nabcdef");
    writeTestFile(folder.path("large.ppm"), "P6\n16385 16384\n255\n");
    for (const char* name : {"small.png", "small.ppm", "small.y4m"}) {
        for (const char* limit : {"5", "6", "0"}) {
            const int expected = limit[0] == '5' ? 4 : 0;
            EXPECT_EQ(
                runRavelo({"encode", folder.path(name), "--max-pixels", limit, "-fo", folder.path("a.rvl")}).exitCode,
                expected);
            EXPECT_EQ(runRavelo({"compare", folder.path(name), folder.path(name), "--max-pixels", limit}).exitCode,
                      expected);
        }
    }
    for (const char* command : {"encode", "compare"}) {
        const std::string second = command[0] == 'e' ? "-o/dev/null" : kFrame;
        EXPECT_EQ(runRavelo({command, folder.path("large.ppm"), second}).exitCode, 4);
        EXPECT_EQ(runRavelo({command, folder.path("large.ppm"), second, "--max-pixels", "0"}).exitCode, 1);
    }
}

TEST(HostileCommandTest, NamesOfFilesReachNoReportUnescaped) {
    const TestFolder folder;
    const std::string frame = folder.path(kEvilName);
    writeTestFile(frame, readTestFile(kFrame));
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", frame},
                                                      {"verify", "-v", frame},
                                                      {"inspect", frame},
                                                      {"compare", frame, frame},
                                                      {"decode", frame, "-F", "xxh3", "-o", "-"},
                                                      {"decode", frame, "-F", "md5", "-o", "-"}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 0) << arguments[0];
        EXPECT_THAT(result.output, HasSubstr(kPrintedName)) << arguments[0];
        expectNoControlCharacters(result.output);
    }
}

TEST(HostileCommandTest, NamesOfFilesReachNoMessageUnescaped) {
    const TestFolder folder;
    const std::string missing = folder.path(kEvilName);
    const std::string damaged = folder.path("damaged" + kEvilName);
    writeTestFile(damaged, readTestFile(kFrame));
    damageSlices(damaged, {0});
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", missing},
                                                      {"verify", missing},
                                                      {"compare", missing, kFrame},
                                                      {"encode", missing, "-o", "-"},
                                                      {"decode", kFrame, "-F", "png", "-o", missing + "/a"},
                                                      {"decode", "-v", damaged, "-F", "null"},
                                                      {"info", kFrame, "--" + kEvilName},
                                                      {kEvilName}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_NE(result.exitCode, 0) << arguments[0];
        EXPECT_THAT(result.error, HasSubstr(kPrintedName)) << arguments[0];
        expectNoControlCharacters(result.error);
        EXPECT_EQ(result.output, "");
    }
}

TEST(HostileCommandTest, AnErrorIsOneLineWhateverItsText) {
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", "no\nfile"},
                                                      {"info", kFrame, "--no\noption"},
                                                      {"no\nsubcommand"},
                                                      {"decode", kFrame, "-F", "no\nform", "-o", "-"},
                                                      {"decode", kFrame, "--fps", "no\nrate", "-o", "-"}}) {
        const CommandResult result = runRavelo(arguments);
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("no\\x0a"));
    }
}

TEST(HostileCommandTest, TextsInFilesReachNoMessageUnescaped) {
    const CommandResult y4m = runRavelo({"encode", "-", "-o", "-"}, "YUV4MPEG2 W2 H2 C\x1b[2J\n");
    EXPECT_THAT(y4m.error, HasSubstr(R"(\x1b[2J)"));
    expectNoControlCharacters(y4m.error);
    const CommandResult list =
        runRavelo({"verify", kFrame, "--list", "-"}, "0123456789abcdef  \x1b[2J\n0123456789abcdee  \x1b[2J\n");
    EXPECT_THAT(list.error, HasSubstr(R"(\x1b[2J)"));
    expectNoControlCharacters(list.error);
}

TEST(HostileCommandTest, AListOfHashesKnowsNamesThatAreEscapedInIt) {
    const TestFolder folder;
    const std::string frame = folder.path(kEvilName);
    writeTestFile(frame, readTestFile(kFrame));
    const std::string list = runRavelo({"decode", frame, "-F", "xxh3", "-o", "-"}).output;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 1);
    EXPECT_EQ(runRavelo({"verify", frame, "--list", "-"}, list).exitCode, 0);
    const std::string hash = list.substr(0, list.find(' '));
    writeTestFile(folder.path("back\\slash.rvl"), readTestFile(kFrame));
    EXPECT_EQ(
        runRavelo({"verify", folder.path("back\\slash.rvl"), "--list", "-"}, hash + "  back\\slash.rvl\n").exitCode, 0);
}

TEST(HostileCommandTest, JsonHasNamesAsTheyAre) {
    const TestFolder folder;
    const std::string frame = folder.path("a\n\x1b.rvl");
    writeTestFile(frame, readTestFile(kFrame));
    EXPECT_EQ(jsonAt(runRavelo({"info", "--json", frame}).output, "/frames/0/file"),
              "\"" + folder.path("a") + R"(\n\u001b.rvl")");
}

TEST(HostileCommandTest, AFrameWithoutDataThatNobodyLooksAtTakesLittleTimeAndMemory) {
    const TestFolder folder;
    for (const std::uint8_t log2_slice_size_in_mb : {std::uint8_t{0}, std::uint8_t{3}}) {
        writeTestFile(folder.path("a.rvl"), emptyFrame(log2_slice_size_in_mb));
        const std::string slices = log2_slice_size_in_mb == 0 ? "1048576" : "131072";
        // The least of several runs, since what else the machine does counts as time of the process, too.
        double seconds = 1;
        for (int i = 0; i < 5; ++i) {
            const CommandResult result = runRavelo({"decode", folder.path("a.rvl"), "-F", "null"});
            EXPECT_EQ(result.exitCode, 3);
            EXPECT_THAT(result.error, HasSubstr(slices + " of " + slices + " slices failed"));
            expectMemoryBelow(50 * kMebibyte, result);
            seconds = std::min(seconds, result.cpuSeconds);
        }
        if (!kHasSanitizer) {
            EXPECT_LT(seconds, 0.05);
        }
    }
}
