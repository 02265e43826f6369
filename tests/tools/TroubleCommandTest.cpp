// What the command does when the world around it fails: full disks, closed pipes, folders where nothing can be written,
// signals.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string kFrame = vectorPath("valid422-1.rvl"); // 78,336 bytes of pixels, more than a pipe holds
const std::string kOther = vectorPath("valid444-1.rvl");

// Every call of the command that reports something, without what takes the report.
std::vector<std::string> const& reports() {
    static const std::vector<std::string> s_reports = {
        fmt::format("info '{}'", kFrame),
        fmt::format("info --json '{}'", kFrame),
        fmt::format("decode -F null --json '{}'", kFrame),
        fmt::format("verify '{}'", kFrame),
        fmt::format("verify --json '{}'", kFrame),
        fmt::format("inspect '{}'", kFrame),
        fmt::format("inspect --json '{}'", kFrame),
        fmt::format("inspect -q --picture - '{}'", kFrame),
        fmt::format("compare '{0}' '{0}'", kFrame),
        fmt::format("compare --json '{0}' '{0}'", kFrame),
        fmt::format("bench --iterations 1 '{}'", kFrame),
        fmt::format("bench --iterations 1 --json '{}'", kFrame),
        "man",
        "man verify",
        "completion bash",
    };
    return s_reports;
}

// The files of a folder after a call was interrupted while it waited for a pipe.
std::vector<std::string> filesAfterInterrupting(TestFolder const& folder, std::vector<std::string> const& arguments,
                                                std::string const& input = "", int signal = SIGINT) {
    RunningRavelo command(arguments);
    command.write(input);
    EXPECT_TRUE(command.waits()) << testing::PrintToString(arguments);
    command.send(signal);
    EXPECT_EQ(command.finish(), 128 + signal) << testing::PrintToString(arguments);
    return folder.files();
}

} // namespace

TEST(TroubleCommandTest, AFullDiskIsAFailureOfEveryReport) {
    for (std::string const& report : reports()) {
        const CommandResult result = runShell("$RAVELO " + report + " >/dev/full");
        EXPECT_EQ(result.exitCode, 1) << report;
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("No space left")) << report;
    }
}

TEST(TroubleCommandTest, AFullDiskIsAFailureOfEveryFormOfPicture) {
    for (const char* form : {"png", "ppm", "pam", "y4m", "raw", "npy", "exr", "xxh3", "md5"}) {
        const CommandResult result = runRavelo({"decode", kFrame, "-F", form, "-o", "/dev/full"});
        EXPECT_EQ(result.exitCode, 1) << form;
        EXPECT_THAT(result.error, HasSubstr("cannot write /dev/full: No space left")) << form;
    }
}

TEST(TroubleCommandTest, AFullDiskIsAFailureOfAFrame) {
    const CommandResult result = runRavelo({"encode", "-", "-o", "/dev/full"}, smoothPpm(64, 64));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.error, HasSubstr("No space left"));
}

TEST(TroubleCommandTest, ADiskThatFillsUpLeavesNoHalfFile) {
    const TestFolder folder;
    writeTestFile(folder.path("old.raw"), "precious");
    for (const char* name : {"new.raw", "old.raw"}) {
        // No file may grow beyond 8 KiB.
        const CommandResult result =
            runShell(fmt::format("ulimit -f 8; $RAVELO decode '{}' -f -o '{}'", kFrame, folder.path(name)));
        EXPECT_EQ(result.exitCode, 1);
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("File too large"));
    }
    EXPECT_THAT(folder.files(), ElementsAre("old.raw"));
    EXPECT_EQ(readTestFile(folder.path("old.raw")), "precious");
}

TEST(TroubleCommandTest, ASequenceThatFillsTheDiskKeepsItsWholeFilesOnly) {
    const TestFolder folder;
    std::filesystem::copy_file(vectorPath("tiny-1.rvl"), folder.path("s.1.rvl"));
    std::filesystem::copy_file(kFrame, folder.path("s.2.rvl"));
    std::filesystem::create_directory(folder.path("out"));
    const CommandResult result = runShell(fmt::format("ulimit -f 8; $RAVELO decode '{}' --in-flight 1 -F raw -o '{}'",
                                                      folder.path("s.#.rvl"), folder.path("out/p.#.raw")));
    EXPECT_EQ(result.exitCode, 1);
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(folder.path("out")))
        files.push_back(entry.path().filename().string());
    EXPECT_THAT(files, ElementsAre("p.1.raw"));
}

TEST(TroubleCommandTest, AClosedPipeEndsEveryReportQuietly) {
    for (std::string const& report : reports()) {
        // The reader has gone before anything is written.
        const CommandResult result = runShell("{ sleep 0.1; $RAVELO " + report + "; echo $? >&2; } | true");
        EXPECT_EQ(result.error, "141\n") << report;
    }
}

TEST(TroubleCommandTest, AClosedPipeEndsPicturesAndFramesQuietly) {
    const TestFolder folder;
    writeTestFile(folder.path("p.ppm"), smoothPpm(512, 512));
    for (std::string const& call :
         {fmt::format("decode '{}' -o -", kFrame), fmt::format("decode '{}' -F y4m -o -", kFrame),
          fmt::format("encode '{}' --q 1 -o -", folder.path("p.ppm"))}) {
        const CommandResult result = runShell("$RAVELO " + call + " | head -c 1 >/dev/null; echo ${PIPESTATUS[0]}");
        EXPECT_EQ(result.output, "141\n") << call;
        EXPECT_EQ(result.error, "") << call;
    }
}

TEST(TroubleCommandTest, AClosedPipeDoesNotKeepFilesFromBeingWritten) {
    const TestFolder folder;
    writeTestFile(folder.path("p.ppm"), smoothPpm(64, 64));
    std::filesystem::create_directory(folder.path("out"));
    const std::string out = folder.path("out");
    for (std::string const& call : {fmt::format("inspect '{}' '{}' --picture '{}'", kFrame, kOther, out),
                                    fmt::format("inspect --json '{}' --picture '{}/json.png'", kFrame, out),
                                    fmt::format("decode --json '{}' -o '{}/decoded.png'", kFrame, out),
                                    fmt::format("encode --json '{}' -o '{}/frame.rvl'", folder.path("p.ppm"), out)}) {
        const CommandResult result = runShell("{ sleep 0.1; $RAVELO " + call + "; echo $? >&2; } | true");
        EXPECT_THAT(result.error, AllOf(EndsWith("141\n"), Not(HasSubstr("cannot")))) << call;
    }
    for (const char* name : {"valid422-1.png", "valid444-1.png", "json.png", "decoded.png", "frame.rvl"})
        EXPECT_TRUE(std::filesystem::exists(out + "/" + name)) << name;
}

TEST(TroubleCommandTest, AClosedPipeOnStandardErrorLosesTheMessagesOnly) {
    const TestFolder folder;
    const CommandResult result = runShell(
        fmt::format("{{ sleep 0.1; $RAVELO decode -v '{}' '{}' -o '{}'; echo $? >'{}'; }} 2>&1 >/dev/null | true",
                    kFrame, kOther, folder.path("a.%d.png"), folder.path("code")));
    EXPECT_EQ(readTestFile(folder.path("code")), "0\n");
    EXPECT_THAT(folder.files(), ElementsAre("a.0.png", "a.1.png", "code"));
}

TEST(TroubleCommandTest, AMissingStandardOutputIsAFailure) {
    for (std::string const& report : reports()) {
        const CommandResult result = runShell("$RAVELO " + report + " >&-");
        EXPECT_EQ(result.exitCode, 1) << report;
        expectOneLine(result.error);
    }
}

TEST(TroubleCommandTest, TheReportDoesNotGetIntoAPictureWhereStandardOutputIsMissing) {
    const TestFolder folder;
    const CommandResult result =
        runShell(fmt::format("$RAVELO decode '{}' -F raw -o '{}' --json >&-", kFrame, folder.path("a.raw")));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(readTestFile(folder.path("a.raw")) == runRavelo({"decode", kFrame, "-o", "-"}).output);
}

TEST(TroubleCommandTest, AMissingStandardInputIsAFailure) {
    for (const char* call :
         {"info -", "decode - -F null", "verify -", "inspect -", "bench -", "encode - -o /dev/null"}) {
        const CommandResult result = runShell(std::string("$RAVELO ") + call + " <&-");
        EXPECT_EQ(result.exitCode, 1) << call;
        expectOneLine(result.error);
    }
}

TEST(TroubleCommandTest, AFolderWhereNothingCanBeMadeIsAFailure) {
    // Not even the administrator can make files here.
    for (std::string const& folder : std::vector<std::string>{"/proc", "/sys", "/nowhere/at/all", kFrame}) {
        for (std::vector<std::string> const& arguments :
             {std::vector<std::string>{"decode", kFrame, "-o", folder + "/a.png"},
              {"decode", kFrame, kOther, "-o", folder + "/a.%d.png"},
              {"decode", kFrame, kOther, "-F", "raw", "-o", folder + "/a.raw"},
              {"encode", "-", "-o", folder + "/a.rvl"},
              {"inspect", "-q", kFrame, "--picture", folder + "/a.png"}}) {
            const CommandResult result = runRavelo(arguments, smoothPpm(16, 16));
            EXPECT_EQ(result.exitCode, 1) << testing::PrintToString(arguments);
            expectOneLine(result.error);
            EXPECT_THAT(result.error, HasSubstr("cannot write " + folder + "/a."));
        }
    }
}

TEST(TroubleCommandTest, AFolderInPlaceOfAFileIsAFailure) {
    const TestFolder folder;
    for (const char* command : {"info", "verify", "inspect", "bench"}) {
        const CommandResult result = runRavelo({command, folder.path("")});
        EXPECT_EQ(result.exitCode, 1) << command;
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("it is a folder")) << command;
    }
    EXPECT_EQ(runRavelo({"compare", folder.path(""), kFrame}).exitCode, 1);
    EXPECT_EQ(runRavelo({"encode", folder.path(""), "-o", "-"}).exitCode, 1);
    std::filesystem::create_directory(folder.path("a.png"));
    std::filesystem::create_directory(folder.path("a.png/valid422-1.png"));
    EXPECT_EQ(runRavelo({"decode", kFrame, "-o", folder.path("a.png")}).exitCode, 1);
}

TEST(TroubleCommandTest, HolesInSequencesAreFailuresOfEveryCommand) {
    const TestFolder folder;
    for (const char* name : {"s.1.rvl", "s.3.rvl"})
        std::filesystem::copy_file(kFrame, folder.path(name));
    const std::string shot = folder.path("s.#.rvl");
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", shot},
                                                      {"decode", shot, "-F", "null"},
                                                      {"verify", shot},
                                                      {"inspect", shot},
                                                      {"bench", shot},
                                                      {"encode", shot, "-o", folder.path("out.#.rvl")}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments[0];
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("s.2.rvl")) << arguments[0];
    }
    EXPECT_THAT(folder.files(), ElementsAre("s.1.rvl", "s.3.rvl"));
}

TEST(TroubleCommandTest, EmptySequencesAreFailuresOfEveryCommand) {
    const TestFolder folder;
    const std::string shot = folder.path("s.#.rvl");
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", shot},
                                                      {"decode", shot, "-F", "null"},
                                                      {"verify", shot},
                                                      {"inspect", shot},
                                                      {"bench", shot},
                                                      {"encode", shot, "-o", folder.path("out.#.rvl")}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments[0];
        expectOneLine(result.error);
    }
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(TroubleCommandTest, ASignalEndsTheWaitForStandardInput) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const TestFolder folder;
        EXPECT_THAT(filesAfterInterrupting(folder, {"decode", kOther, "-", "-o", folder.path("a.raw")},
                                           readTestFile(kFrame).substr(0, 5000), signal),
                    IsEmpty());
    }
}

TEST(TroubleCommandTest, ASignalEndsTheWaitOfEveryCommand) {
    const TestFolder folder;
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", "-"},
                                                      {"verify", "-"},
                                                      {"inspect", "-"},
                                                      {"bench", "-"},
                                                      {"compare", kFrame, "-"},
                                                      {"encode", "-", "-o", folder.path("a.rvl")},
                                                      {"verify", kFrame, "--list", "-"}})
        EXPECT_THAT(filesAfterInterrupting(folder, arguments, "P6\n16 16\n"), IsEmpty());
}

TEST(TroubleCommandTest, ASignalEndsTheWaitForANamedPipeWithoutWriter) {
    const TestFolder folder;
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const char* threads : {"1", "4"})
        EXPECT_THAT(filesAfterInterrupting(folder, {"decode", kOther, folder.path("pipe"), "-o", folder.path("a.raw"),
                                                    "--threads", threads}),
                    ElementsAre("pipe"));
}

TEST(TroubleCommandTest, ASignalEndsTheWaitForANamedPipeWithoutReader) {
    const TestFolder folder;
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_THAT(filesAfterInterrupting(folder, {"decode", kFrame, "-F", "raw", "-o", folder.path("pipe")}),
                ElementsAre("pipe"));
}

TEST(TroubleCommandTest, ASignalEndsTheWaitForAFullPipe) {
    const TestFolder folder;
    // Nobody reads the pictures, which are more than a pipe holds.
    for (const char* threads : {"1", "2", "4"})
        EXPECT_THAT(filesAfterInterrupting(folder, {"decode", kFrame, kFrame, kFrame, kFrame, "-o", "-", "--threads",
                                                    threads, "--in-flight", "4"}),
                    IsEmpty());
}

TEST(TroubleCommandTest, ANamedPipeServesAsInputAndOutput) {
    const TestFolder folder;
    ASSERT_EQ(::mkfifo(folder.path("in").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo(folder.path("out").c_str(), 0600), 0);
    const CommandResult result =
        runShell(fmt::format("cat '{0}' >'{1}/in' & cat '{1}/out' >'{1}/a.raw' & $RAVELO decode '{1}/in' -F raw -o "
                             "'{1}/out'; code=$?; wait; exit $code",
                             kFrame, folder.path(".")));
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_TRUE(readTestFile(folder.path("a.raw")) == runRavelo({"decode", kFrame, "-o", "-"}).output);
}

TEST(TroubleCommandTest, APipeTakesWhatAFileTakes) {
    const std::string shell = fmt::format("$RAVELO decode '{0}' '{0}' '{0}' -o - | cat | md5sum", kFrame);
    const TestFolder folder;
    const std::string file =
        fmt::format("$RAVELO decode '{0}' '{0}' '{0}' -o '{1}' && md5sum <'{1}'", kFrame, folder.path("a.raw"));
    EXPECT_EQ(runShell(shell).output, runShell(file).output);
    EXPECT_EQ(std::filesystem::file_size(folder.path("a.raw")), 3u * 78336);
}

TEST(TroubleCommandTest, StandardOutputKeepsItsMode) {
    // A pipe that the command leaves in the mode without waiting would fail the next writer.
    const CommandResult result = runShell(fmt::format("{{ $RAVELO info '{}' >/dev/null; $RAVELO decode '{}' -F xxh3 -o "
                                                      "-; head -c 300000 /dev/zero; echo $? >&2; }} | "
                                                      "{{ sleep 0.5; cat >/dev/null; }}",
                                                      kFrame, kFrame));
    EXPECT_EQ(result.error, "0\n");
}

TEST(TroubleCommandTest, NoCommandWritesOverItsOwnInput) {
    const TestFolder folder;
    const std::string frame = folder.path("a.rvl");
    const std::string picture = folder.path("a.ppm");
    for (std::string const& call : std::vector<std::string>{
             "decode '{0}/a.rvl' -f -F raw -o '{0}/a.rvl'", "decode '{0}/a.rvl' -f -F raw -o '{0}/./hard.rvl'",
             "decode '{0}/a.rvl' -f -F raw -o '{0}/soft.rvl'", "decode '{0}/soft.rvl' -f -F raw -o '{0}/hard.rvl'",
             "decode - -f -F raw -o '{0}/a.rvl' <'{0}/a.rvl'", "decode '{0}/a.rvl' -F raw -o - >>'{0}/a.rvl'",
             "decode '{0}/b.1.rvl' '{0}/a.rvl' -f -F png -o '{0}/b.%d.rvl'",
             "inspect '{0}/a.rvl' -f --picture '{0}/hard.rvl'", "encode '{0}/a.ppm' -f -o '{0}/a.ppm'",
             "encode - -f -o '{0}/a.ppm' <'{0}/a.ppm'", "encode '{0}/a.ppm' -f -o '{0}/c.0.ppm'"}) {
        std::filesystem::copy_file(kFrame, frame);
        writeTestFile(picture, smoothPpm(16, 16));
        std::filesystem::create_hard_link(frame, folder.path("hard.rvl"));
        std::filesystem::create_symlink("a.rvl", folder.path("soft.rvl"));
        std::filesystem::create_symlink("a.rvl", folder.path("b.1.rvl"));
        std::filesystem::create_symlink("a.ppm", folder.path("c.0.ppm"));
        const CommandResult result = runShell("$RAVELO " + fmt::format(fmt::runtime(call), folder.path(".")));
        EXPECT_EQ(result.exitCode, 2) << call;
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr("never overwritten"));
        EXPECT_TRUE(readTestFile(frame) == readTestFile(kFrame)) << call;
        EXPECT_TRUE(readTestFile(picture) == smoothPpm(16, 16)) << call;
        for (std::string const& name : folder.files())
            std::filesystem::remove(folder.path(name));
    }
}

TEST(TroubleCommandTest, ASignalEndsTheExpansionOfASequenceWithinASecond) {
    const TestFolder folder;
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"info", folder.path("s.1-10000000#.rvl")},
          {"decode", folder.path("s.####.rvl"), "--frames", "1-10000000", "-F", "null", "--missing", "skip"},
          {"encode", folder.path("s.1-10000000@.ppm"), "-o", folder.path("t.%d.rvl")}})
        for (const int signal : {SIGINT, SIGTERM}) {
            RunningRavelo command(arguments);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            command.send(signal);
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(command.finish(), 128 + signal) << arguments[0];
            const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
            EXPECT_LT(seconds.count(), kHasSanitizer ? 3 : 1) << arguments[0];
        }
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(TroubleCommandTest, ASignalEndsALongComputationWithinASecondAndLongBeforeItsEnd) {
    const TestFolder folder;
    std::string noise(3072 * 3072, '\0');
    std::uint32_t state = 1;
    for (char& sample : noise) {
        state = state * 1664525 + 1013904223;
        sample = static_cast<char>(state >> 24);
    }
    writeTestFile(folder.path("a.pgm"), "P5 3072 3072 255\n" + noise);
    const std::vector<std::string> arguments = {"encode", folder.path("a.pgm"), "--bpp", "3", "--threads", "1",
                                                "-o",     folder.path("a.rvl")};
    const auto now = [] { return std::chrono::steady_clock::now(); };
    auto start = now();
    ASSERT_EQ(runRavelo(arguments).exitCode, 0);
    const auto whole = now() - start;
    std::filesystem::remove(folder.path("a.rvl"));

    // Processors differ, so a share of the whole time is a limit besides; one attempt of five is not held up by others.
    const auto limit = std::min<std::chrono::nanoseconds>(whole / 4, std::chrono::seconds(kHasSanitizer ? 3 : 1));
    bool isSoon = false;
    for (int attempt = 0; attempt < 5 && !isSoon; ++attempt) {
        RunningRavelo command(arguments);
        std::this_thread::sleep_for(whole / 2);
        command.send(SIGTERM);
        start = now();
        const int exitCode = command.finish();
        isSoon = exitCode == 143 && now() - start < limit;
        if (exitCode == 143)
            EXPECT_THAT(folder.files(), ElementsAre("a.pgm"));
        else
            std::filesystem::remove(folder.path("a.rvl"));
    }
    EXPECT_TRUE(isSoon);
}

TEST(TroubleCommandTest, ASecondSignalEndsTheCommandAtOnceAndLeavesNoFile) {
    const TestFolder folder;
    RunningRavelo command({"decode", "-", "-F", "raw", "-o", folder.path("a.raw")});
    EXPECT_TRUE(command.waits());
    EXPECT_EQ(folder.files().size(), 1u);
    command.send(SIGTERM);
    command.send(SIGINT);
    const int exitCode = command.finish();
    EXPECT_TRUE(exitCode == 143 || exitCode == 130) << exitCode;
    EXPECT_THAT(folder.files(), IsEmpty());
}
