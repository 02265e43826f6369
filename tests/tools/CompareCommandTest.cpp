#include <filesystem>

#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::HasSubstr;

namespace {

ReportValue compared(std::string const& first, std::string const& second) {
    const CommandResult result = runRavelo({"compare", "--json", first, second});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    return ReportValue(result.output);
}

} // namespace

TEST(CompareCommandTest, AFrameEqualsItself) {
    for (const char* name : {"valid422-1.rvl", "valid444-1.rvl", "valid4444_16-1.rvl", "odd-1.rvl", "tiny-1.rvl"}) {
        const std::string frame = vectorPath(name);
        const ReportValue report = compared(frame, frame);
        EXPECT_EQ(report.at("all").at("equal"), true) << name;
        EXPECT_TRUE(report.at("all").at("psnr").isNull());
        EXPECT_EQ(runRavelo({"compare", "--equal", frame, frame}).exitCode, 0);
    }
}

TEST(CompareCommandTest, AlphaIsComparedWhereBothHaveIt) {
    const std::string frame = vectorPath("valid4444_8-1.rvl");
    EXPECT_TRUE(compared(frame, frame).at("planes").contains("alpha"));
    EXPECT_FALSE(compared(vectorPath("valid444-1.rvl"), vectorPath("valid444-1.rvl")).at("planes").contains("alpha"));
}

TEST(CompareCommandTest, APlaneThatIsOneCodeOffHasThePsnrOfOneCode) {
    const TestFolder folder;
    const std::string header = "YUV4MPEG2 W16 H16 C422\nFRAME\n";
    writeTestFile(folder.path("a.y4m"), header + std::string(256, 100) + std::string(256, 90));
    writeTestFile(folder.path("b.y4m"), header + std::string(256, 101) + std::string(256, 90));
    const ReportValue report = compared(folder.path("a.y4m"), folder.path("b.y4m"));
    // 20 * log10(65535 / 256), with the codes scaled to 16 bits.
    EXPECT_NEAR(report.at("planes").at("y").at("psnr").number(), 48.1647, 0.0001);
    EXPECT_EQ(report.at("planes").at("y").at("largest_difference"), 1.0);
    EXPECT_EQ(report.at("planes").at("cb").at("equal"), true);
    // Half of all samples differ, which is 3 dB better.
    EXPECT_NEAR(report.at("all").at("psnr").number(), 48.1647 + 3.0103, 0.0001);
}

TEST(CompareCommandTest, LimitsDecideTheExitCode) {
    const TestFolder folder;
    writeTestFile(folder.path("p.ppm"), smoothPpm(64, 64));
    encodeSmooth(folder, "p.rvl", 64, 64);
    const auto exitCodeWith = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"compare", folder.path("p.ppm"), folder.path("p.rvl")});
        return runRavelo(arguments).exitCode;
    };
    EXPECT_EQ(exitCodeWith({}), 0);
    EXPECT_EQ(exitCodeWith({"--equal"}), 5);
    EXPECT_EQ(exitCodeWith({"--min-psnr", "20"}), 0);
    EXPECT_EQ(exitCodeWith({"--min-psnr", "200"}), 5);
    EXPECT_EQ(exitCodeWith({"--max-difference", "255"}), 0);
    EXPECT_EQ(exitCodeWith({"--max-difference", "0"}), 5);
}

TEST(CompareCommandTest, TextReportsGeometryRateAndPsnr) {
    const TestFolder folder;
    writeTestFile(folder.path("p.ppm"), smoothPpm(64, 48));
    encodeSmooth(folder, "p.rvl", 64, 48);
    const CommandResult result = runRavelo({"compare", folder.path("p.ppm"), folder.path("p.rvl")});
    EXPECT_THAT(result.output, HasSubstr("picture, 64 x 48"));
    EXPECT_THAT(result.output, HasSubstr("frame, 64 x 48, 4:2:2"));
    EXPECT_THAT(result.output, HasSubstr("bits per pixel"));
    EXPECT_THAT(result.output, HasSubstr("dB"));
}

TEST(CompareCommandTest, EveryPlaneOfAFrameIsCompared) {
    const TestFolder folder;
    // Each plane has its own level, so planes that change places or stay empty show.
    const std::string levels = std::string(256, 60) + std::string(128, 90) + std::string(128, '\xA0');
    writeTestFile(folder.path("p.y4m"), "YUV4MPEG2 W16 H16 C422\nFRAME\n" + levels);
    ASSERT_EQ(runRavelo({"encode", folder.path("p.y4m"), "-o", folder.path("p.rvl"), "--q", "1"}).exitCode, 0);
    for (const bool frameFirst : {true, false}) {
        const std::string frame = folder.path("p.rvl");
        const std::string picture = folder.path("p.y4m");
        const ReportValue report = frameFirst ? compared(frame, picture) : compared(picture, frame);
        for (const char* plane : {"y", "cb", "cr"})
            EXPECT_LT(report.at("planes").at(plane).at("largest_difference").number(), 1.0) << plane;
    }
}

// A picture of a frame holds what the library shows of it, whatever the chroma of 4:2:2 is between its samples.
TEST(CompareCommandTest, AsRgbAPictureOfAFrameEqualsIt) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W33 H4 F25:1 Ip C422\nFRAME\n" + std::string(33 * 4, 'x');
    for (int i = 0; i < 2 * 17 * 4; ++i)
        clip += i % 2 == 0 ? '\x60' : '\xA0';
    writeTestFile(folder.path("a.y4m"), clip);
    const std::string frame = folder.path("a.rvl");
    ASSERT_EQ(runRavelo({"encode", folder.path("a.y4m"), "-o", frame, "--q", "1"}).exitCode, 0);
    for (std::string const& of : {frame, vectorPath("valid444-1.rvl")}) {
        const std::string deep = folder.path("deep.png"), shallow = folder.path("shallow.png");
        ASSERT_EQ(runRavelo({"decode", of, "-o", deep, "--depth", "16", "-f"}).exitCode, 0);
        ASSERT_EQ(runRavelo({"decode", of, "-o", shallow, "-f"}).exitCode, 0);
        const CommandResult result = runRavelo({"compare", deep, of, "--rgb", "--max-difference", "0.004"});
        EXPECT_EQ(result.exitCode, 0) << of << result.output;
        EXPECT_THAT(result.output, AllOf(HasSubstr("\nr "), HasSubstr("\ng "), HasSubstr("\nb ")));
        const CommandResult rounded = runRavelo({"compare", of, shallow, "--rgb", "--max-difference", "0.51"});
        EXPECT_EQ(rounded.exitCode, 0) << of << rounded.output;
    }
    EXPECT_EQ(runRavelo({"compare", frame, folder.path("deep.png"), "--rgb"}).exitCode, 1) << "other sizes";
    EXPECT_THAT(runRavelo({"compare", frame, folder.path("a.y4m"), "--rgb"}).error, HasSubstr("picture of Y'CbCr"));
}

TEST(CompareCommandTest, OtherSizesAndFormsAreRefused) {
    for (const char* other : {"valid422-2.rvl", "valid444-1.rvl"}) {
        const CommandResult result = runRavelo({"compare", vectorPath("valid422-1.rvl"), vectorPath(other)});
        EXPECT_EQ(result.exitCode, 1);
        expectOneLine(result.error);
    }
    const TestFolder folder;
    encodeSmooth(folder, "a.rvl", 32, 32, {"--chroma", "422"});
    encodeSmooth(folder, "b.rvl", 32, 32, {"--chroma", "444"});
    EXPECT_THAT(runRavelo({"compare", folder.path("a.rvl"), folder.path("b.rvl")}).error, HasSubstr("chroma"));
}

TEST(CompareCommandTest, DamageIsReportedAndHasItsExitCode) {
    const TestFolder folder;
    encodeSmooth(folder, "a.rvl", 64, 48, {"--slice", "1"});
    std::filesystem::copy_file(folder.path("a.rvl"), folder.path("bad.rvl"));
    damageSlices(folder.path("bad.rvl"), {1, 2});
    const CommandResult result = runRavelo({"compare", "--json", folder.path("bad.rvl"), folder.path("bad.rvl")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.error, HasSubstr("2 of 12 slices failed"));
    EXPECT_EQ(jsonAt(result.output, "/first/failed_slices"), "2");
    EXPECT_EQ(runRavelo({"compare", "--equal", folder.path("a.rvl"), folder.path("bad.rvl")}).exitCode, 5)
        << "what was asked for outranks the damage";
}

TEST(CompareCommandTest, StandardInputIsOneSideOnly) {
    EXPECT_EQ(runRavelo({"compare", "-", "-"}).exitCode, 2);
    const std::string frame = vectorPath("valid422-1.rvl");
    EXPECT_EQ(runRavelo({"compare", "--equal", "-", frame}, readTestFile(frame)).exitCode, 0);
}

TEST(BenchCommandTest, JsonReportsTimesAndRates) {
    const CommandResult result = runRavelo(
        {"bench", vectorPath("valid422-1.rvl"), "--json", "--iterations", "5", "--warm-up", "1", "--threads", "1,2"});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    const ReportValue report(result.output);
    ASSERT_EQ(report.at("results").size(), 2u);
    for (ReportValue const& timing : report.at("results").elements()) {
        EXPECT_EQ(timing.at("decodes"), 5);
        EXPECT_GT(timing.at("milliseconds").at("median").number(), 0.0);
        EXPECT_LE(timing.at("milliseconds").at("least").number(), timing.at("milliseconds").at("median").number());
        EXPECT_LE(timing.at("milliseconds").at("median").number(), timing.at("milliseconds").at("p95").number());
        EXPECT_LE(timing.at("milliseconds").at("p95").number(), timing.at("milliseconds").at("most").number());
        EXPECT_GT(timing.at("frames_per_second").number(), 0.0);
    }
    EXPECT_EQ(report.at("results").at(0).at("threads"), 1);
}

TEST(BenchCommandTest, TinyFramesAreDecodedUntilTheTimeMeansSomething) {
    const CommandResult result = runRavelo({"bench", vectorPath("valid422-1.rvl"), "--json", "--threads", "1"});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    const ReportValue timing = ReportValue(result.output).at("results").at(0);
    const double decodes = timing.at("decodes").number();
    EXPECT_GE(decodes, 30);
    EXPECT_GE(decodes / timing.at("frames_per_second").number(), 0.5);
}

TEST(BenchCommandTest, DamagedFramesAreReportedAndHaveTheirExitCode) {
    const CommandResult result =
        runRavelo({"bench", vectorPath("valid422-1.rvl"), vectorPath("failing-1.rvl"), "--json", "--iterations", "1"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.error, HasSubstr("failing-1.rvl: 2 of 8 slices failed"));
    EXPECT_EQ(jsonAt(result.output, "/damaged_frames"), "1");
}

TEST(BenchCommandTest, TextHasALineForEachCountOfThreads) {
    const CommandResult result =
        runRavelo({"bench", vectorPath("valid444-1.rvl"), "--iterations", "2", "--threads", "1,2", "--in-flight", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 4);
}

namespace {

// Frames of one size, each unlike the others.
std::vector<std::string> threeFrames(TestFolder const& folder) {
    std::vector<std::string> frames;
    for (const int number : {1, 2, 3}) {
        const std::string name = "f.000" + std::to_string(number) + ".rvl";
        writeTestFile(folder.path("p.ppm"), smoothPpm(64, 48));
        EXPECT_EQ(runRavelo({"encode", folder.path("p.ppm"), "-o", folder.path(name), "--q", std::to_string(number)})
                      .exitCode,
                  0);
        frames.push_back(readTestFile(folder.path(name)));
    }
    return frames;
}

} // namespace

TEST(CompareCommandTest, FramesOfStandardInputAreComparedWithASequenceInOrder) {
    const TestFolder folder;
    const std::vector<std::string> frames = threeFrames(folder);
    const std::string pattern = folder.path("f.####.rvl");
    const std::string all = frames[0] + frames[1] + frames[2];
    for (const bool inputFirst : {true, false}) {
        const std::string first = inputFirst ? "-" : pattern, second = inputFirst ? pattern : "-";
        EXPECT_EQ(runRavelo({"compare", "--equal", first, second}, all).exitCode, 0);
        EXPECT_EQ(runRavelo({"compare", "--equal", first, second}, frames[0] + frames[2] + frames[1]).exitCode, 5);
        const ReportValue report(runRavelo({"compare", "--json", first, second}, all).output);
        EXPECT_EQ(report.at("pairs").size(), 3u);
        EXPECT_EQ(report.at("first").at("frames"), 3);
        EXPECT_EQ(report.at("pairs").at(1).at(inputFirst ? "first" : "second").at("file"), "standard input, frame 2");
        EXPECT_EQ(report.at("pairs").at(1).at(inputFirst ? "second" : "first").at("file"), folder.path("f.0002.rvl"));
    }
    EXPECT_EQ(runRavelo({"compare", "--equal", "-", pattern, "--frames", "3,1"}, frames[2] + frames[0]).exitCode, 0);
}

TEST(CompareCommandTest, EveryFrameOfStandardInputIsComparedWithASingleFile) {
    const TestFolder folder;
    const std::vector<std::string> frames = threeFrames(folder);
    const std::string one = folder.path("f.0001.rvl");
    EXPECT_EQ(runRavelo({"compare", "--equal", "-", one}, frames[0] + frames[0]).exitCode, 0);
    const CommandResult result = runRavelo({"compare", "--equal", "-", one}, frames[0] + frames[1]);
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.output, HasSubstr("standard input, frame 2 and " + one));
    EXPECT_THAT(result.output, HasSubstr("2 pairs: "));
}

TEST(CompareCommandTest, StandardInputWithTooFewOrTooManyFramesIsAnError) {
    const TestFolder folder;
    const std::vector<std::string> frames = threeFrames(folder);
    const std::string pattern = folder.path("f.####.rvl");
    const CommandResult few = runRavelo({"compare", "-", pattern}, frames[0] + frames[1]);
    EXPECT_EQ(few.exitCode, 1);
    EXPECT_THAT(few.output, HasSubstr("standard input, frame 2"));
    EXPECT_THAT(few.error, HasSubstr("standard input has no frame for " + folder.path("f.0003.rvl")));
    const CommandResult many =
        runRavelo({"compare", "-", pattern, "--frames", "1-2"}, frames[0] + frames[1] + frames[2]);
    EXPECT_EQ(many.exitCode, 1);
    EXPECT_THAT(many.error, HasSubstr("standard input, frame 3 has no counterpart"));
    const CommandResult going = runRavelo({"compare", "-", pattern, "--keep-going", "--json"}, frames[0]);
    EXPECT_EQ(going.exitCode, 3);
    EXPECT_EQ(ReportValue(going.output).at("failures").size(), 2u);
    EXPECT_EQ(ReportValue(going.output).at("pairs").size(), 1u);
}

TEST(CompareCommandTest, AHoleInTheSequenceTakesItsFrameOfStandardInput) {
    const TestFolder folder;
    const std::vector<std::string> frames = threeFrames(folder);
    std::filesystem::remove(folder.path("f.0002.rvl"));
    const std::string all = frames[0] + frames[1] + frames[2];
    EXPECT_EQ(runRavelo({"compare", "-", folder.path("f.####.rvl")}, all).exitCode, 1);
    const CommandResult result =
        runRavelo({"compare", "--equal", "--missing", "skip", "--json", "-", folder.path("f.####.rvl")}, all);
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(ReportValue(result.output).at("holes").size(), 1u);
    EXPECT_EQ(ReportValue(result.output).at("pairs").at(1).at("first").at("file"), "standard input, frame 3");
}
