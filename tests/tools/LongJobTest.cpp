// Jobs over many frames: bad files, holes, killed processes, standard input with several frames, and reports for
// programs.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "CommandError.h"
#include "OrderedPipeline.h"
#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// Grey frames s.0001.rvl to s.0006.rvl, of which frame n has the level 20 * n; 3 is missing and 5 is cut off in its
// header.
class LongJobTest : public testing::Test {
protected:
    LongJobTest() {
        std::string clip = "YUV4MPEG2 W16 H16 Cmono\n";
        for (int number = 0; number <= 6; ++number)
            clip += "FRAME\n" + std::string(256, static_cast<char>(20 * number));
        EXPECT_EQ(runRavelo({"encode", "-", "-o", path("s.%04d.rvl"), "-q"}, clip).exitCode, 0);
        std::filesystem::remove(path("s.0000.rvl"));
        std::filesystem::remove(path("s.0003.rvl"));
        for (int number : {1, 2, 4, 6})
            std::filesystem::copy_file(frame(number), path(fmt::format("good.{}.rvl", number)));
        writeTestFile(frame(5), readTestFile(frame(5)).substr(0, 20));
    }

    std::string path(std::string const& name) const { return folder.path(name); }
    std::string frame(int number) const { return path(fmt::format("s.{:04}.rvl", number)); }
    std::string good(int number) const { return path(fmt::format("good.{}.rvl", number)); }

    // The hash of a decode of one file.
    std::string hashOf(std::string const& file) const {
        return runRavelo({"decode", file, "-F", "xxh3"}).output.substr(0, 16);
    }

    TestFolder folder;
    std::string pattern = folder.path("s.####.rvl");
};

std::size_t numLines(std::string const& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A task that waits for a flag, and one that fails and sets it.
class FlagTask : public OrderedTask {
public:
    FlagTask(int number, int failing, std::atomic<bool>& hasFailed, std::vector<int>& delivered)
        : m_number(number), m_failing(failing), m_hasFailed(hasFailed), m_delivered(delivered) {}

    void work() override {
        if (m_number == m_failing) {
            m_hasFailed = true;
            throw failure("task {}", m_number);
        }
        // On a single thread nothing fails meanwhile.
        for (int i = 0; i < 100 && m_number == 0 && !m_hasFailed; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    void deliver() override { m_delivered.push_back(m_number); }

private:
    int m_number;
    int m_failing;
    std::atomic<bool>& m_hasFailed;
    std::vector<int>& m_delivered;
};

} // namespace

TEST(OrderedPipelineTest, TasksBeforeTheOneThatFailsAreDelivered) {
    std::atomic<bool> hasFailed = false;
    std::vector<int> delivered;
    int next = 0;
    EXPECT_THROW(runInOrder(8, [&] { return std::make_unique<FlagTask>(next++, 2, hasFailed, delivered); }),
                 CommandError);
    EXPECT_THAT(delivered, ElementsAre(0, 1));
}

TEST(OrderedPipelineTest, TasksBeforeOneThatCannotBeMadeAreDelivered) {
    std::atomic<bool> hasFailed = true;
    std::vector<int> delivered;
    int next = 0;
    const auto make = [&]() -> std::unique_ptr<OrderedTask> {
        if (next == 3)
            throw failure("no more");
        return std::make_unique<FlagTask>(next++, -1, hasFailed, delivered);
    };
    EXPECT_THROW(runInOrder(8, make), CommandError);
    EXPECT_THAT(delivered, ElementsAre(0, 1, 2));
}

TEST_F(LongJobTest, AHeldFrameDoesNotDependOnTheRange) {
    const std::string wanted = hashOf(good(2));
    for (const char* range : {"3", "3-4", "1-4", "4,3", "1-3x2"}) {
        const CommandResult result =
            runRavelo({"decode", pattern, "--frames", range, "--missing", "hold", "-F", "xxh3"});
        EXPECT_EQ(result.exitCode, 0) << range << result.error;
        EXPECT_THAT(result.output, HasSubstr(wanted + "  " + frame(3) + "\n")) << range;
    }
}

TEST_F(LongJobTest, HolesAreListedAtTheEndAndInJson) {
    for (const auto& [treatment, text] :
         {std::pair("hold", frame(2) + " instead"), {"skip", "left out"}, {"black", "black instead"}}) {
        const std::vector<std::string> call = {"decode",    pattern,   "--frames", "1-4",
                                               "--missing", treatment, "-F",       "null"};
        EXPECT_EQ(runRavelo(call).error, fmt::format("ravelo: warning: {} does not exist; {}\n", frame(3), text));
        std::vector<std::string> asJson = call;
        asJson.emplace_back("--json");
        const std::string json = runRavelo(asJson).output;
        EXPECT_EQ(jsonAt(json, "/holes/0/file"), "\"" + frame(3) + "\"");
        EXPECT_EQ(jsonAt(json, "/holes/0/treatment"), fmt::format("\"{}\"", treatment));
        EXPECT_EQ(jsonSizeAt(json, "/holes"), 1u);
    }
    const CommandResult verified = runRavelo({"verify", pattern, "--frames", "1-4", "--missing", "skip", "--json"});
    EXPECT_EQ(verified.error, fmt::format("ravelo: warning: {} does not exist; left out\n", frame(3)));
    EXPECT_EQ(jsonAt(verified.output, "/holes/0/file"), "\"" + frame(3) + "\"");
}

TEST_F(LongJobTest, ABadFileEndsTheJobAfterTheFramesBeforeIt) {
    const CommandResult result =
        runRavelo({"decode", pattern, "--missing", "skip", "-F", "xxh3", "-q", "--in-flight", "16"});
    EXPECT_EQ(result.exitCode, 1);
    expectOneLine(result.error);
    EXPECT_THAT(result.output, AllOf(HasSubstr("s.0001"), HasSubstr("s.0002"), HasSubstr("s.0004")));
    EXPECT_EQ(numLines(result.output), 3u);
}

TEST_F(LongJobTest, ABadFileCostsItsOwnFrameOnRequest) {
    const CommandResult result = runRavelo({"decode", pattern, "--keep-going", "-o", path("p.%d.ppm"), "-q"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.error, AllOf(HasSubstr("s.0003.rvl does not exist"), HasSubstr("s.0005.rvl: cut off at byte 20"),
                                    EndsWith(fmt::format("2 of 6 failed: {}, {}\n", frame(3), frame(5)))));
    for (int number = 1; number <= 6; ++number)
        EXPECT_EQ(std::filesystem::exists(path(fmt::format("p.{}.ppm", number))), number != 3 && number != 5);
    const CommandResult stream = runRavelo({"decode", pattern, "-k", "-o", path("a.y4m"), "-q"});
    EXPECT_EQ(stream.exitCode, 3);
    const CommandResult whole = runRavelo({"decode", good(1), good(2), good(4), good(6), "-o", path("b.y4m"), "-q"});
    EXPECT_EQ(whole.exitCode, 0);
    EXPECT_EQ(readTestFile(path("a.y4m")), readTestFile(path("b.y4m")));
}

TEST_F(LongJobTest, AJobOfWhichNothingComesOutFails) {
    const CommandResult result = runRavelo({"decode", pattern, "--frames", "3,5", "-k", "-o", path("a.y4m"), "--json"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(path("a.y4m")));
    EXPECT_EQ(jsonSizeAt(result.output, "/failures"), 2u);
    EXPECT_EQ(jsonSizeAt(result.output, "/frames"), 0u);
}

TEST_F(LongJobTest, AFrameThatDoesNotFitItsStreamIsABadFile) {
    encodeSmooth(folder, "large.rvl", 32, 32);
    const CommandResult result = runRavelo({"decode", good(1), path("large.rvl"), good(2), "-k", "-o", path("a.y4m")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.error, HasSubstr("1 of 3 failed: " + path("large.rvl")));
}

TEST_F(LongJobTest, ExistingOutputsAreLeftAndTheOthersMade) {
    writeTestFile(path("p.2.ppm"), "mine");
    writeTestFile(path("p.4.ppm"), "");
    const std::vector<std::string> call = {"decode", pattern, "--frames",       "1-4",   "--missing",
                                           "hold",   "-o",    path("p.%d.ppm"), "--json"};
    EXPECT_EQ(runRavelo(call).exitCode, 1);
    std::vector<std::string> resumed = call;
    resumed.emplace_back("--skip-existing");
    const CommandResult result = runRavelo(resumed);
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(jsonSizeAt(result.output, "/frames"), 3u);
    EXPECT_EQ(jsonAt(result.output, "/existing/0/output"), "\"" + path("p.2.ppm") + "\"");
    EXPECT_EQ(readTestFile(path("p.2.ppm")), "mine");
    EXPECT_THAT(readTestFile(path("p.4.ppm")), StartsWith("P6"));
    EXPECT_EQ(jsonSizeAt(runRavelo(resumed).output, "/existing"), 4u);
    resumed.emplace_back("-f");
    EXPECT_EQ(runRavelo(resumed).exitCode, 2);
}

TEST_F(LongJobTest, AJobThatIsKilledAgainAndAgainLosesAndRepeatsNothing) {
    for (int number = 0; number < 6; ++number)
        writeTestFile(path(fmt::format("in.{}.ppm", number)), smoothPpm(640, 480));
    const std::string job =
        fmt::format("$RAVELO encode '{}' -q --q 1 --threads 1 --skip-existing -o ", path("in.#.ppm"));
    ASSERT_EQ(runShell(job + "'" + path("whole.#.rvl") + "'").exitCode, 0);
    const std::string wanted = readTestFile(path("whole.0.rvl"));
    int kills = 0;
    int exitCode = -1;
    // Milliseconds; growing steps, since an emulated job takes seconds.
    for (int delay = 2; exitCode != 0; delay += 10 + delay / 8) {
        const std::string limit = fmt::format("{}.{:03}", delay / 1000, delay % 1000);
        exitCode = runShell(fmt::format("timeout -s KILL {} {}'{}'", limit, job, path("out.#.rvl"))).exitCode;
        kills += exitCode == 0 ? 0 : 1;
        for (int number = 0; number < 6; ++number) {
            const std::string output = path(fmt::format("out.{}.rvl", number));
            if (std::filesystem::exists(output))
                EXPECT_TRUE(readTestFile(output) == wanted) << output;
            else
                EXPECT_NE(exitCode, 0);
        }
        ASSERT_LT(delay, 30000);
    }
    EXPECT_GE(kills, 1);
}

TEST_F(LongJobTest, EncodeKeepsGoingAndFillsHoles) {
    for (int number : {1, 2, 5})
        writeTestFile(path(fmt::format("in.{}.ppm", number)), smoothPpm(16, 16));
    writeTestFile(path("in.2.ppm"), smoothPpm(32, 16));
    writeTestFile(path("in.4.ppm"), "P6\n16 16\n255\nshort");
    const CommandResult result = runRavelo(
        {"encode", path("in.#.ppm"), "--missing", "hold", "-k", "--in-flight", "2", "-o", path("e.$F2.rvl"), "--json"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(jsonAt(result.output, "/holes/0/stand_in"), "\"" + path("in.2.ppm") + "\"");
    EXPECT_EQ(jsonAt(result.output, "/failures/0/file"), "\"" + path("in.4.ppm") + "\"");
    EXPECT_EQ(readTestFile(path("e.03.rvl")), readTestFile(path("e.02.rvl")));
    EXPECT_FALSE(std::filesystem::exists(path("e.04.rvl")));
    EXPECT_TRUE(std::filesystem::exists(path("e.05.rvl")));

    EXPECT_EQ(
        runRavelo({"encode", path("in.#.ppm"), "--frames", "3", "--missing", "black", "-q", "-o", path("black.#.rvl")})
            .exitCode,
        0);
    EXPECT_EQ(runRavelo({"decode", path("black.3.rvl"), "-o", path("black.ppm")}).exitCode, 0);
    EXPECT_EQ(readTestFile(path("black.ppm")), "P6\n32 16\n255\n" + std::string(32 * 16 * 3, '\0'));
    EXPECT_EQ(runRavelo({"encode", path("in.#.ppm"), "-o", path("f.#.rvl")}).exitCode, 1);
}

TEST_F(LongJobTest, SequencesAreComparedPairByPair) {
    const auto compare = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"compare", pattern});
        return runRavelo(arguments);
    };
    const CommandResult same = compare({pattern, "--frames", "1-2", "--equal"});
    EXPECT_EQ(same.exitCode, 0) << same.error;
    EXPECT_EQ(numLines(same.output), 3u);
    const CommandResult other = compare({path("good.1,2,4#.rvl"), "--frames", "1-2"});
    EXPECT_EQ(other.exitCode, 1) << other.output;
    const CommandResult shifted =
        runRavelo({"compare", path("s.1-2####.rvl"), path("s.2-4x2####.rvl"), "--json", "--equal"});
    EXPECT_EQ(shifted.exitCode, 5);
    EXPECT_EQ(jsonSizeAt(shifted.output, "/pairs"), 2u);
    EXPECT_EQ(jsonAt(shifted.output, "/worst"), "\"" + frame(2) + "\"");
    EXPECT_EQ(compare({pattern}).exitCode, 1);
    EXPECT_EQ(compare({pattern, "-k"}).exitCode, 3);
    EXPECT_EQ(compare({pattern, "--missing", "skip", "--frames", "1-4"}).exitCode, 0);
    EXPECT_EQ(compare({good(1)}).exitCode, 2);
}

TEST_F(LongJobTest, FramesOnStandardInputFollowOneAnother) {
    encodeSmooth(folder, "large.rvl", 200, 100);
    const std::string input = readTestFile(good(1)) + readTestFile(path("large.rvl")) + readTestFile(good(2));
    const CommandResult hashes = runRavelo({"decode", "-", "-F", "xxh3"}, input);
    EXPECT_EQ(hashes.exitCode, 0) << hashes.error;
    EXPECT_EQ(hashes.output,
              fmt::format("{}  standard input\n{}  standard input, frame 2\n{}  standard input, frame 3\n",
                          hashOf(good(1)), hashOf(path("large.rvl")), hashOf(good(2))));
    EXPECT_EQ(hashes.error, "");
    EXPECT_EQ(runRavelo({"decode", "-", good(4), "-q", "-o", path("p.%d.ppm")}, input).exitCode, 0);
    EXPECT_THAT(readTestFile(path("p.1.ppm")), StartsWith("P6\n200 100\n"));
    EXPECT_TRUE(std::filesystem::exists(path("p.3.ppm")));
    EXPECT_EQ(numLines(runRavelo({"info", "-", "--brief"}, input).output), 3u);
    EXPECT_EQ(numLines(runRavelo({"verify", "-", "--brief"}, input).output), 3u);
    EXPECT_EQ(runRavelo({"inspect", "-", "-q", "--picture", path("i.%d.png")}, input).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(path("i.2.png")));
}

TEST_F(LongJobTest, SeveralFramesOnStandardInputDoNotFitIntoOneFile) {
    const std::string input = readTestFile(good(1)) + readTestFile(good(2));
    for (std::vector<std::string> const& call : {std::vector<std::string>{"decode", "-", "-o", path("a.png")},
                                                 {"decode", "-", "-o", folder.path("")},
                                                 {"inspect", "-", "--picture", path("a.png")}}) {
        const CommandResult result = runRavelo(call, input);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.error, HasSubstr("standard input contains more than one frame"));
    }
    EXPECT_FALSE(std::filesystem::exists(path("a.png")));
}

TEST_F(LongJobTest, BytesAfterAFrameAreReportedByEveryCommand) {
    const std::string input = readTestFile(good(1)) + readTestFile(good(2)) + "rest";
    for (const char* command : {"info", "verify", "inspect", "decode", "bench"}) {
        std::vector<std::string> call = {command, "-"};
        if (call[0] == "decode")
            call.insert(call.end(), {"-F", "null"});
        if (call[0] == "bench")
            call.insert(call.end(), {"--iterations", "1"});
        const CommandResult result = runRavelo(call, input);
        EXPECT_THAT(result.output + result.error, HasSubstr("followed by ")) << command;
    }
    EXPECT_THAT(runRavelo({"compare", "-", good(1)}, input).error,
                HasSubstr("standard input, frame 2: followed by 4 bytes"));
    const CommandResult cut = runRavelo({"verify", "-"}, input.substr(0, input.size() - 10));
    EXPECT_EQ(cut.exitCode, 3);
    EXPECT_THAT(cut.output, HasSubstr("standard input, frame 2: damaged"));
}

TEST_F(LongJobTest, AFrameHasOneLineOnRequest) {
    writeTestFile(path("a,\"b\n.rvl"), readTestFile(good(1)));
    const std::string odd = path("a,\"b\n.rvl");
    const CommandResult brief = runRavelo({"verify", odd, frame(5), "--brief"});
    EXPECT_EQ(brief.exitCode, 1);
    EXPECT_EQ(brief.output, fmt::format("{}: ok, 16 x 16, 0 of 1 slice failed, xxh3:{}\n{}: failed, cut off at byte 20 "
                                        "of 28\n",
                                        path("a,\"b\\x0a.rvl"), hashOf(good(1)), frame(5)));
    const CommandResult csv = runRavelo({"verify", odd, frame(5), "--csv"});
    EXPECT_EQ(csv.output,
              fmt::format("file,status,width,height,slices,failed_slices,hash,note\n\"{}\",ok,16,16,1,0,xxh3:"
                          "{},\n{},failed,,,,,,cut off at byte 20 of 28\n",
                          path("a,\"\"b\\x0a.rvl"), hashOf(good(1)), frame(5)));
    EXPECT_EQ(numLines(runRavelo({"info", odd, good(2), "--csv"}).output), 3u);
    EXPECT_THAT(runRavelo({"info", good(2), "--brief"}).output,
                StartsWith(good(2) + ": 16 x 16, 4:2:2, progressive, no alpha, "));
    EXPECT_EQ(runRavelo({"info", good(2), "--csv", "--brief"}).exitCode, 2);
    EXPECT_EQ(runRavelo({"info", good(2), "--csv", "--json"}).exitCode, 2);
}

TEST_F(LongJobTest, ProgressIsAJsonLineForEachFrameOnRequest) {
    const CommandResult result = runRavelo({"decode", pattern, "-k", "-F", "null", "-q", "--progress", "json"});
    EXPECT_EQ(result.exitCode, 3);
    std::vector<std::string> states;
    std::istringstream lines(result.error);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with('{'))
            states.push_back(jsonAt(line, "/done") + jsonAt(line, "/total") + jsonAt(line, "/status"));
    EXPECT_THAT(states,
                ElementsAre("16\"done\"", "26\"done\"", "36\"failed\"", "46\"done\"", "56\"failed\"", "66\"done\""));
    EXPECT_THAT(runRavelo({"verify", good(1), "--progress", "json"}).error, HasSubstr("\"status\":\"ok\""));
    EXPECT_THAT(
        runRavelo({"compare", path("good.#.rvl"), path("good.#.rvl"), "--missing", "skip", "--progress", "json"}).error,
        HasSubstr("\"action\":\"compared\""));
}

TEST(SequencesDocumentTest, ItsCommandsRun) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W16 H16 Cmono\n";
    for (int number = 0; number <= 50; ++number)
        clip += "FRAME\n" + std::string(256, static_cast<char>(50 + number));
    ASSERT_EQ(runRavelo({"encode", "-", "-o", folder.path("shot.%04d.rvl"), "-q"}, clip).exitCode, 0);
    std::istringstream lines(readTestFile(std::string(RAVELO_TEST_DATA_DIR) + "/../../docs/sequences.md"));
    int numCommands = 0;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("    ravelo "))
            continue;
        ++numCommands;
        const CommandResult result =
            runShell(fmt::format("cd '{}' && \"$RAVELO\" {}", folder.path(""), line.substr(11)));
        EXPECT_EQ(result.exitCode, 0) << line << result.error;
    }
    EXPECT_GE(numCommands, 6);
}
