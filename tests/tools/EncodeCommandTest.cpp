#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "FrameParts.h"
#include "InputFile.h"
#include "PictureReader.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

ReportValue infoOf(std::string const& path) {
    const CommandResult result = runRavelo({"info", "--json", path});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    return ReportValue(result.output).at("frames").at(0);
}

ReportValue headerOf(std::string const& path) {
    return infoOf(path).at("header");
}

// The PSNR of all samples between two files.
double psnrOf(std::string const& first, std::string const& second) {
    const CommandResult result = runRavelo({"compare", "--json", first, second});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    const ReportValue psnr = ReportValue(result.output).at("all").at("psnr");
    return psnr.isNull() ? 1000.0 : psnr.number();
}

void expectFailure(std::vector<std::string> const& arguments, std::string const& input, int exitCode,
                   std::string const& text) {
    const CommandResult result = runRavelo(arguments, input);
    EXPECT_EQ(result.exitCode, exitCode) << result.error;
    expectOneLine(result.error);
    EXPECT_THAT(result.error, HasSubstr(text));
}

} // namespace

TEST(EncodeCommandTest, APictureComesBackFromItsFrame) {
    const TestFolder folder;
    for (const char* size : {"100", "33", "16", "1"}) {
        const auto width = static_cast<std::uint32_t>(std::stoi(size));
        const std::string picture = folder.path("p.ppm");
        writeTestFile(picture, smoothPpm(width, 35));
        const std::string frame = folder.path("p.rvl");
        ASSERT_EQ(runRavelo({"encode", picture, "-o", frame, "-f", "--chroma", "444", "--q", "1"}).exitCode, 0);
        EXPECT_GT(psnrOf(picture, frame), 55) << width;
        ASSERT_EQ(runRavelo({"decode", frame, "-o", folder.path("back.png"), "-f"}).exitCode, 0);
        EXPECT_GT(psnrOf(picture, folder.path("back.png")), 48) << width;
    }
}

TEST(EncodeCommandTest, SettingsReachTheHeader) {
    const TestFolder folder;
    encodeSmooth(folder, "a.rvl", 40, 33, {"--interlace", "odd-first", "--slice", "2", "--q", "9"});
    const ReportValue info = infoOf(folder.path("a.rvl"));
    EXPECT_EQ(info.at("header").at("interlace_mode"), 2);
    EXPECT_EQ(info.at("header").at("chroma_format"), 2);
    EXPECT_EQ(info.at("header").at("alpha_channel_type"), 0);
    EXPECT_EQ(info.at("pictures").size(), 2u);
    EXPECT_EQ(info.at("pictures").at(0).at("log2_slice_size_in_mb"), 1);
}

TEST(EncodeCommandTest, InterlaceIsNamedByWordOrNumber) {
    const TestFolder folder;
    const std::vector<std::string> names = {"progressive", "even-first", "odd-first", "single-field"};
    for (std::size_t mode = 0; mode < names.size(); ++mode) {
        encodeSmooth(folder, "a.rvl", 16, 32, {"--interlace", names[mode], "-f"});
        EXPECT_EQ(headerOf(folder.path("a.rvl")).at("interlace_mode"), mode);
        encodeSmooth(folder, "a.rvl", 16, 32, {"--interlace", std::to_string(mode), "-f"});
        EXPECT_EQ(headerOf(folder.path("a.rvl")).at("interlace_mode"), mode);
    }
}

TEST(EncodeCommandTest, TheWantedRateIsMet) {
    const TestFolder folder;
    encodeSmooth(folder, "a.rvl", 320, 240, {"--bpp", "1.5"});
    const double rate = infoOf(folder.path("a.rvl")).at("bits_per_pixel").number();
    EXPECT_NEAR(rate, 1.5, 1.5 * 0.03);
}

TEST(EncodeCommandTest, ARateThatIsMissedByMoreThanThreePercentIsAnError) {
    // One slice, whose size falls in steps with the index. Between two sizes that are far apart nothing is near enough.
    const TestFolder folder;
    std::vector<double> sizes;
    for (int index = 1; index <= 60; ++index) {
        encodeSmooth(folder, "a.rvl", 16, 16, {"-f", "--q", std::to_string(index)});
        sizes.push_back(static_cast<double>(std::filesystem::file_size(folder.path("a.rvl"))));
    }
    int gaps = 0;
    for (std::size_t i = 1; i < sizes.size(); ++i) {
        if (sizes[i - 1] < 1.09 * sizes[i])
            continue;
        ++gaps;
        const std::string rate = fmt::format("{}", sizes[i] * 1.04 * 8 / 256);
        expectFailure({"encode", "-", "-f", "-o", folder.path("a.rvl"), "--bpp", rate}, smoothPpm(16, 16), 1,
                      "within 3 %");
        const std::string nearer = fmt::format("{}", sizes[i] * 1.029 * 8 / 256);
        EXPECT_EQ(
            runRavelo({"encode", "-", "-f", "-o", folder.path("a.rvl"), "--bpp", nearer}, smoothPpm(16, 16)).exitCode,
            0);
    }
    EXPECT_GE(gaps, 1);
}

TEST(EncodeCommandTest, TheMatrixFollowsTheHeight) {
    const TestFolder folder;
    encodeSmooth(folder, "low.rvl", 16, 576);
    encodeSmooth(folder, "high.rvl", 16, 577);
    encodeSmooth(folder, "wide.rvl", 16, 16, {"--matrix", "2020"});
    EXPECT_EQ(headerOf(folder.path("low.rvl")).at("matrix_coefficients"), 6);
    EXPECT_EQ(headerOf(folder.path("high.rvl")).at("matrix_coefficients"), 1);
    EXPECT_EQ(headerOf(folder.path("wide.rvl")).at("matrix_coefficients"), 9);
    encodeSmooth(folder, "number.rvl", 16, 16, {"--matrix-coefficients", "2"});
    EXPECT_EQ(headerOf(folder.path("number.rvl")).at("matrix_coefficients"), 2);
}

TEST(EncodeCommandTest, AlphaIsKeptUnlessItIsNotWanted) {
    const TestFolder folder;
    const std::string picture = folder.path("p.pam");
    writeTestFile(picture, smoothPam(32, 16));
    const auto headerWith = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"encode", picture, "-o", folder.path("a.rvl"), "-f", "-q"});
        EXPECT_EQ(runRavelo(options).exitCode, 0);
        return headerOf(folder.path("a.rvl"));
    };
    EXPECT_EQ(headerWith({}).at("alpha_channel_type"), 1);
    EXPECT_EQ(headerWith({}).at("chroma_format"), 3);
    EXPECT_EQ(headerWith({"--alpha", "16"}).at("alpha_channel_type"), 2);
    EXPECT_EQ(headerWith({"--alpha", "none"}).at("alpha_channel_type"), 0);
    EXPECT_EQ(headerWith({"--alpha", "none"}).at("chroma_format"), 2);
    EXPECT_EQ(headerWith({"--chroma", "422"}).at("alpha_channel_type"), 0);
    EXPECT_EQ(headerWith({"--chroma", "422", "--alpha", "8"}).at("alpha_channel_type"), 1);
}

TEST(EncodeCommandTest, AlphaComesBackWithoutLoss) {
    const TestFolder folder;
    writeTestFile(folder.path("p.pam"), smoothPam(77, 20));
    ASSERT_EQ(runRavelo({"encode", folder.path("p.pam"), "-o", folder.path("a.rvl")}).exitCode, 0);
    ASSERT_EQ(runRavelo({"decode", folder.path("a.rvl"), "-o", folder.path("b.pam")}).exitCode, 0);
    EXPECT_EQ(readPicture(folder.path("b.pam")).alpha, readPicture(folder.path("p.pam")).alpha);
}

TEST(EncodeCommandTest, Y4mComesBackWithItsCodes) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W16 H16 F25:1 Ip A1:1 C422\nFRAME\n";
    clip += std::string(256, 100) + std::string(128, 90) + std::string(128, '\x8C');
    writeTestFile(folder.path("a.y4m"), clip);
    ASSERT_EQ(runRavelo({"encode", folder.path("a.y4m"), "-o", folder.path("a.rvl"), "--q", "1"}).exitCode, 0);
    ASSERT_EQ(runRavelo({"decode", folder.path("a.rvl"), "-o", folder.path("b.y4m")}).exitCode, 0);
    const InputPicture back = readPicture(folder.path("b.y4m"));
    EXPECT_THAT(back.planes[0], testing::Each(100));
    EXPECT_THAT(back.planes[1], testing::Each(90));
    EXPECT_THAT(back.planes[2], testing::Each(0x8C));
}

TEST(EncodeCommandTest, FieldOrderOfY4mIsTakenOver) {
    const TestFolder folder;
    const std::string content = "FRAME\n" + std::string(16 * 32, 'x');
    for (auto const& [letter, mode] : {std::pair{'t', 1}, {'b', 2}, {'p', 0}}) {
        const std::string header = std::string("YUV4MPEG2 W16 H32 Cmono I") + letter + "\n";
        ASSERT_EQ(runRavelo({"encode", "-", "-o", folder.path("a.rvl"), "-f"}, header + content).exitCode, 0);
        EXPECT_EQ(headerOf(folder.path("a.rvl")).at("interlace_mode"), mode) << letter;
    }
}

TEST(EncodeCommandTest, TheSamplesOfAClipBecomeNumberedFrames) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W16 H16 Cmono\n";
    for (const char level : {'0', '5', 'd'})
        clip += "FRAME\n" + std::string(256, level);
    ASSERT_EQ(runRavelo({"encode", "-", "-o", folder.path("s.%03d.rvl")}, clip).exitCode, 0);
    EXPECT_THAT(folder.files(), ElementsAre("s.000.rvl", "s.001.rvl", "s.002.rvl"));
    ASSERT_EQ(runRavelo({"decode", folder.path("s.###.rvl"), "-o", folder.path("back.y4m")}).exitCode, 0);
    InputFile file(folder.path("back.y4m"));
    const std::unique_ptr<PictureReader> reader = makePictureReader(file);
    for (const std::uint16_t level : {'0', '5', 'd'})
        EXPECT_NEAR(reader->next().value().planes[0].at(0), level, 1);
}

TEST(EncodeCommandTest, AClipDoesNotFitIntoOneFrame) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W16 H16 Cmono\n";
    clip += "FRAME\n" + std::string(256, 'a') + "FRAME\n" + std::string(256, 'b');
    expectFailure({"encode", "-", "-o", folder.path("a.rvl")}, clip, 1, "more than one picture");
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(EncodeCommandTest, WritesToStandardOutput) {
    const TestFolder folder;
    const CommandResult result = runRavelo({"encode", "-", "-o", "-"}, smoothPpm(32, 16));
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(runRavelo({"decode", "-", "-o", "-"}, result.output).output.size(), 32u * 16 * 2);
}

TEST(EncodeCommandTest, SeveralPicturesFillAFolder) {
    const TestFolder folder;
    writeTestFile(folder.path("a.ppm"), smoothPpm(20, 20));
    writeTestFile(folder.path("b.ppm"), smoothPpm(30, 20));
    ASSERT_EQ(runRavelo({"encode", folder.path("a.ppm"), folder.path("b.ppm"), "-o", folder.path("")}).exitCode, 0);
    EXPECT_THAT(folder.files(), ElementsAre("a.ppm", "a.rvl", "b.ppm", "b.rvl"));
    EXPECT_EQ(infoOf(folder.path("b.rvl")).at("width"), 30);
}

TEST(EncodeCommandTest, PngAndPpmOfOnePictureMakeOneFrame) {
    const TestFolder folder;
    const std::string samples(3 * 16 * 16, 'k');
    const CommandResult png = runRavelo({"encode", "-", "-o", "-"}, plainPng(16, 16, 8, 2, samples));
    const CommandResult ppm = runRavelo({"encode", "-", "-o", "-"}, "P6 16 16 255\n" + samples);
    ASSERT_EQ(png.exitCode, 0) << png.error;
    EXPECT_EQ(png.output, ppm.output);
}

TEST(EncodeCommandTest, WrongInputsAndCommandLinesAreRefused) {
    const TestFolder folder;
    const std::string out = folder.path("a.rvl");
    expectFailure({"encode", "-", "-o", out}, "GIF89a", 1, "is not a PNG");
    expectFailure({"encode", "-", "-o", out}, "", 1, "is empty");
    expectFailure({"encode", "-", "-o", out}, "P6 4 4 255\nabc", 1, "damaged");
    expectFailure({"encode", "-", "-o", out}, "P6 65536 1 255\n", 4, "65535");
    expectFailure({"encode", folder.path("missing.png"), "-o", out}, "", 1, "cannot open");
    expectFailure({"encode", "-", "-o", out, "--q", "256"}, "", 2, "--q");
    expectFailure({"encode", "-", "-o", out, "--bpp", "0"}, "", 2, "--bpp");
    expectFailure({"encode", "-", "-o", out, "--bpp", "2", "--q", "3"}, "", 2, "--q");
    expectFailure({"encode", "-", "-o", out, "--slice", "3"}, "", 2, "--slice");
    expectFailure({"encode", "-", "-o", out, "--chroma", "420"}, "", 2, "--chroma");
    expectFailure({"encode", "-", "-o", out, "--alpha", "10"}, "", 2, "--alpha");
    expectFailure({"encode", "-", "-o", out, "--interlace", "4"}, "", 2, "--interlace");
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(EncodeCommandTest, ExistingFramesAreKeptWithoutForce) {
    const TestFolder folder;
    writeTestFile(folder.path("a.rvl"), "precious");
    expectFailure({"encode", "-", "-o", folder.path("a.rvl")}, smoothPpm(16, 16), 1, "exists");
    EXPECT_EQ(readTestFile(folder.path("a.rvl")), "precious");
}

TEST(EncodeCommandTest, JsonListsEachFrame) {
    const TestFolder folder;
    const CommandResult result =
        runRavelo({"encode", "-", "-o", folder.path("a.rvl"), "--q", "9", "--json"}, smoothPam(48, 32));
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(jsonSizeAt(result.output, "/frames"), 1u);
    EXPECT_EQ(jsonAt(result.output, "/frames/0/picture"), "\"standard input\"");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/frame"), '"' + folder.path("a.rvl") + '"');
    EXPECT_EQ(jsonAt(result.output, "/frames/0/width"), "48");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/height"), "32");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/chroma"), "\"4:4:4\"");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/alpha_bits"), "8");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/quantization_index"), "9");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/bytes"),
              std::to_string(std::filesystem::file_size(folder.path("a.rvl"))));
}

TEST(EncodeCommandTest, ColoursReachTheHeader) {
    const TestFolder folder;
    encodeSmooth(folder, "plain.rvl", 16, 16);
    EXPECT_EQ(headerOf(folder.path("plain.rvl")).at("color_primaries"), 1);
    EXPECT_EQ(headerOf(folder.path("plain.rvl")).at("transfer_characteristic"), 1);
    encodeSmooth(folder, "wide.rvl", 16, 16,
                 {"--color-primaries", "2020", "--transfer-characteristic", "pq", "--matrix-coefficients", "2020"});
    // A stream carries them, and options outrank it.
    ASSERT_EQ(runRavelo({"decode", folder.path("wide.rvl"), "-o", folder.path("a.y4m")}).exitCode, 0);
    ASSERT_EQ(
        runRavelo({"encode", folder.path("a.y4m"), "-o", folder.path("again.rvl"), "--transfer-characteristic", "200"})
            .exitCode,
        0);
    for (const char* name : {"wide.rvl", "again.rvl"}) {
        const ReportValue header = headerOf(folder.path(name));
        EXPECT_EQ(header.at("color_primaries"), 9) << name;
        EXPECT_EQ(header.at("transfer_characteristic"), name[0] == 'w' ? 16 : 200) << name;
        EXPECT_EQ(header.at("matrix_coefficients"), 9) << name;
    }
    expectFailure({"encode", "-", "-o", folder.path("b.rvl"), "--color-primaries", "pal"}, "", 2,
                  "--color-primaries takes 709, 601-625");
    expectFailure({"encode", "-", "-o", folder.path("b.rvl"), "--transfer-characteristic", "256"}, "", 2, "not 256");
}

TEST(EncodeCommandTest, MatricesReachTheHeader) {
    const TestFolder folder;
    std::string luma, chroma;
    for (int i = 0; i < 64; ++i) {
        luma += std::to_string(4 + i) + (i % 8 == 7 ? "\n" : " ");
        chroma += std::to_string(255 - i) + ",";
    }
    writeTestFile(folder.path("luma.txt"), luma);
    writeTestFile(folder.path("chroma.txt"), chroma);
    encodeSmooth(folder, "both.rvl", 16, 16,
                 {"--luma-matrix", folder.path("luma.txt"), "--chroma-matrix", folder.path("chroma.txt")});
    const FrameHeader both = parseFrameHeader(readFile(folder.path("both.rvl"), 1 << 16));
    ASSERT_TRUE(both.load_luma_matrix && both.load_chroma_matrix);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(both.raw_luma_matrix[i], 4 + i);
        EXPECT_EQ(both.raw_chroma_matrix[i], 255 - i);
    }
    encodeSmooth(folder, "luma.rvl", 16, 16, {"--luma-matrix", folder.path("luma.txt")});
    const FrameHeader one = parseFrameHeader(readFile(folder.path("luma.rvl"), 1 << 16));
    EXPECT_TRUE(one.load_luma_matrix && !one.load_chroma_matrix);
    const std::string missing = folder.path("none.txt");
    expectFailure({"encode", "-", "-o", folder.path("c.rvl"), "--luma-matrix", missing}, "", 1, missing);
}

TEST(EncodeCommandTest, FrameAndReportDoNotShareStandardOutput) {
    const CommandResult result = runRavelo({"encode", "-", "-o", "-", "--json"}, smoothPpm(16, 16));
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
}
