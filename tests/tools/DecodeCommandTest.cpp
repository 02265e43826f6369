#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "DecodedFrame.h"
#include "InputFile.h"
#include "OutputFormat.h"
#include "PictureReader.h"
#include "PixelBuffer.h"
#include "RgbImage.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string rawOf(std::string const& name, DecodeRequest const& form) {
    DecodedFrame decoded;
    decoded.decode(readFile(vectorPath(name), 1 << 20), form);
    const std::vector<std::uint8_t> raw = frameBytes(decoded, {.format = OutputFormat::Raw});
    return {raw.begin(), raw.end()};
}

void expectFailure(std::vector<std::string> const& arguments, int exitCode, std::string const& text) {
    const CommandResult result = runRavelo(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << result.error;
    expectOneLine(result.error);
    EXPECT_THAT(result.error, HasSubstr(text));
}

const std::string k422 = vectorPath("valid422-1.rvl");
const std::string k444 = vectorPath("valid444-1.rvl");
const std::string kAlpha = vectorPath("valid4444_8-1.rvl");

} // namespace

TEST(DecodeCommandTest, RawOutputIsWhatTheLibraryDelivers) {
    struct Case {
        const char* name;
        std::vector<std::string> options;
        DecodeRequest form;
    };
    const OptimizationTarget best = OptimizationTarget::AVX2;
    const OptimizationTarget baseline = OptimizationTarget::Baseline;
    const std::vector<Case> cases = {
        {"valid422-1.rvl", {}, {0, ColorCoding_YCbCr, 8, best}},
        {"valid422-1.rvl", {"--depth", "10"}, {0, ColorCoding_YCbCr, 10, best}},
        {"valid422-1.rvl", {"--depth", "15"}, {0, ColorCoding_YCbCr, 15, best}},
        {"valid422-1.rvl", {"--depth", "16", "--target", "baseline"}, {0, ColorCoding_YCbCr, 16, baseline}},
        {"odd-1.rvl", {"--size", "half"}, {1, ColorCoding_YCbCr, 8, best}},
        {"odd-1.rvl", {"--size", "quarter"}, {2, ColorCoding_YCbCr, 8, best}},
        {"odd-1.rvl", {"--size", "eighth"}, {3, ColorCoding_YCbCr, 8, best}},
        {"valid444-1.rvl", {"--coding", "rgb"}, {0, ColorCoding_RGBFull, 8, best}},
        {"valid444-1.rvl", {"--coding", "rgb-video", "--depth", "10"}, {0, ColorCoding_RGBVideo, 10, best}},
        {"valid4444_16-1.rvl", {"--coding", "rgb", "--size", "half"}, {1, ColorCoding_RGBFull, 8, best}},
    };
    for (Case const& testCase : cases) {
        std::vector<std::string> arguments = {"decode", vectorPath(testCase.name), "-o", "-"};
        arguments.insert(arguments.end(), testCase.options.begin(), testCase.options.end());
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        EXPECT_TRUE(result.output == rawOf(testCase.name, testCase.form)) << testing::PrintToString(arguments);
    }
}

TEST(DecodeCommandTest, WritesAPictureOfEveryForm) {
    const TestFolder folder;
    for (const std::string extension : {"png", "ppm", "pam", "y4m", "raw", "npy", "exr", "xxh3", "md5"}) {
        const std::string output = folder.path("a." + extension);
        const CommandResult result = runRavelo({"decode", kAlpha, "-o", output, "-q"});
        EXPECT_EQ(result.exitCode, 0) << extension << result.error;
        EXPECT_EQ(result.error, "");
        EXPECT_GT(readTestFile(output).size(), 16u) << extension;
    }
}

TEST(DecodeCommandTest, PngOf444HasTheColoursOfTheLibrary) {
    const TestFolder folder;
    ASSERT_EQ(runRavelo({"decode", k444, "-o", folder.path("a.png"), "--depth", "16"}).exitCode, 0);
    const InputPicture picture = readPicture(folder.path("a.png"));
    DecodedFrame decoded;
    decoded.decode(readFile(k444, 1 << 20), {0, ColorCoding_RGBFull, 16, OptimizationTarget::AVX2});
    const RgbImage image = rgbImageOf(decoded);
    ASSERT_EQ(picture.numPixels() * 3, image.samples.size());
    EXPECT_FALSE(picture.hasAlpha());
    for (std::size_t i = 0; i < image.samples.size(); ++i)
        ASSERT_EQ(picture.planes[i % 3][i / 3], image.samples[i]);
}

TEST(DecodeCommandTest, PicturesOf422HaveTheColoursOfTheLibraryAtEveryDepth) {
    DecodedFrame decoded;
    decoded.decode(readFile(k422, 1 << 20),
                   {.bitDepth = 16, .target = OptimizationTarget::AVX2, .pixelForm = RAVELO_RGBA});
    const RgbImage image = rgbImageOf(decoded);
    for (const std::uint32_t bitDepth : {10u, 15u, 16u}) {
        const CommandResult result =
            runRavelo({"decode", k422, "-o", "-", "-F", "ppm", "--depth", std::to_string(bitDepth)});
        const InputPicture picture = pictureOf(result.output);
        ASSERT_EQ(picture.maxValue, greatestCode(bitDepth));
        ASSERT_EQ(picture.numPixels() * 3, image.samples.size());
        for (std::size_t i = 0; i < image.samples.size(); ++i)
            ASSERT_EQ(picture.planes[i % 3][i / 3], (image.samples[i] * picture.maxValue + 32767) / 65535) << i;
    }
}

TEST(DecodeCommandTest, ReducedFramesBecomeExrToo) {
    const TestFolder folder;
    for (std::string const& name : {k422, kAlpha}) {
        const CommandResult result = runRavelo({"decode", name, "-o", folder.path("a.exr"), "--size", "half", "-f"});
        EXPECT_EQ(result.exitCode, 0) << result.error;
    }
}

TEST(DecodeCommandTest, PngOfAFrameWithAlphaHasAlpha) {
    const TestFolder folder;
    ASSERT_EQ(runRavelo({"decode", kAlpha, "-o", folder.path("a.png")}).exitCode, 0);
    EXPECT_TRUE(readPicture(folder.path("a.png")).hasAlpha());
}

TEST(DecodeCommandTest, AlphaIsReducedWithThePicture) {
    const TestFolder folder;
    std::string picture = "P7\nWIDTH 32\nHEIGHT 32\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    for (int i = 0; i < 32 * 32; ++i)
        picture += {'\x40', '\x50', '\x60', i % 32 < 16 ? '\x64' : '\xFF'};
    for (const char* const bits : {"8", "16"}) {
        const std::string frame = folder.path(std::string("alpha") + bits + ".rvl");
        ASSERT_EQ(runRavelo({"encode", "-", "-o", frame, "--alpha", bits}, picture).exitCode, 0);
        for (const char* const size : {"half", "quarter", "eighth"}) {
            for (const char* const name : {"a.pam", "a.png", "a.y4m"}) {
                ASSERT_EQ(runRavelo({"decode", frame, "-o", folder.path(name), "--size", size, "-f"}).exitCode, 0);
                const InputPicture back = readPicture(folder.path(name));
                ASSERT_TRUE(back.hasAlpha()) << name;
                for (std::size_t i = 0; i < back.numPixels(); ++i)
                    ASSERT_EQ(back.alpha[i], i % back.width < back.width / 2 ? 100 : 255) << name << " " << size;
            }
        }
    }
}

// Chroma of the last column, when it has no right neighbour, is what the frame has.
TEST(DecodeCommandTest, Y4mOfOddWidthHasTheLastChromaSamples) {
    const TestFolder folder;
    std::string clip = "YUV4MPEG2 W5 H2 F25:1 Ip C422\nFRAME\n" + std::string(10, 'x');
    for (int plane = 0; plane < 2; ++plane)
        clip += std::string("\x80\x80\x60\x80\x80\x60", 6);
    writeTestFile(folder.path("a.y4m"), clip);
    ASSERT_EQ(runRavelo({"encode", folder.path("a.y4m"), "-o", folder.path("a.rvl"), "--q", "1"}).exitCode, 0);
    ASSERT_EQ(runRavelo({"decode", folder.path("a.rvl"), "-o", folder.path("b.y4m")}).exitCode, 0);
    const InputPicture back = readPicture(folder.path("b.y4m"));
    for (std::size_t plane = 1; plane < 3; ++plane)
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(back.planes[plane][i], i % 3 == 2 ? 0x60 : 0x80, 1) << plane << " " << i;
}

TEST(DecodeCommandTest, LostAlphaIsWarnedOf) {
    const TestFolder folder;
    EXPECT_THAT(runRavelo({"decode", kAlpha, "-o", folder.path("a.ppm")}).error, HasSubstr("alpha plane"));
    EXPECT_THAT(runRavelo({"decode", kAlpha, "-o", folder.path("b.y4m"), "--depth", "10"}).error,
                HasSubstr("alpha plane"));
    EXPECT_EQ(runRavelo({"decode", kAlpha, "-o", folder.path("c.ppm"), "-q"}).error, "");
}

TEST(DecodeCommandTest, ReadsStandardInput) {
    const CommandResult result = runRavelo({"decode", "-", "-o", "-"}, readTestFile(k422));
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_TRUE(result.output == rawOf("valid422-1.rvl", {}));
}

TEST(DecodeCommandTest, FormatOutranksTheName) {
    const TestFolder folder;
    ASSERT_EQ(runRavelo({"decode", k422, "-o", folder.path("a.data"), "--format", "png"}).exitCode, 0);
    EXPECT_EQ(readPicture(folder.path("a.data")).width, 272u);
}

TEST(DecodeCommandTest, SeveralFramesFillAFolder) {
    const TestFolder folder;
    const CommandResult result =
        runRavelo({"decode", k422, vectorPath("valid444-2.rvl"), kAlpha, "-o", folder.path("")});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.error, "") << "no progress where there is no terminal";
    EXPECT_THAT(folder.files(), ElementsAre("valid422-1.png", "valid444-2.png", "valid4444_8-1.png"));
}

TEST(DecodeCommandTest, SeveralFramesOfOneSizeMakeAStream) {
    const TestFolder folder;
    const std::string output = folder.path("a.y4m");
    ASSERT_EQ(runRavelo({"decode", k422, k422, k422, "-o", output}).exitCode, 0);
    InputFile file(output);
    const std::unique_ptr<PictureReader> reader = makePictureReader(file);
    int pictures = 0;
    while (reader->next())
        ++pictures;
    EXPECT_EQ(pictures, 3);
}

TEST(DecodeCommandTest, AStreamRefusesFramesOfAnotherSize) {
    const TestFolder folder;
    expectFailure({"decode", k422, k444, "-o", folder.path("a.y4m")}, 1, "differs in size or format");
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(DecodeCommandTest, TwoFramesOfOneNameAreRefused) {
    const TestFolder folder;
    expectFailure({"decode", k422, k422, "-o", folder.path("")}, 2, "both be written");
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(DecodeCommandTest, SeveralFramesDoNotFitIntoOnePng) {
    const TestFolder folder;
    expectFailure({"decode", k422, k444, "-o", folder.path("a.png")}, 2, "do not fit into one png");
}

TEST(DecodeCommandTest, ExistingFilesAreKeptWithoutForce) {
    const TestFolder folder;
    const std::string output = folder.path("a.png");
    writeTestFile(output, "precious");
    expectFailure({"decode", k422, "-o", output}, 1, "exists; -f overwrites it");
    EXPECT_EQ(readTestFile(output), "precious");
    EXPECT_EQ(runRavelo({"decode", k422, "-o", output, "-f"}).exitCode, 0);
    EXPECT_EQ(readPicture(output).width, 272u);
}

TEST(DecodeCommandTest, AFailureLeavesNothingBehind) {
    const TestFolder folder;
    writeTestFile(folder.path("bad.rvl"), "no frame");
    expectFailure({"decode", folder.path("bad.rvl"), "-o", folder.path("a.png")}, 1, "cut off at byte 8 of 28");
    expectFailure({"decode", k422, folder.path("bad.rvl"), "-o", folder.path("a.raw")}, 1, "cut off at byte 8 of 28");
    EXPECT_THAT(folder.files(), ElementsAre("bad.rvl"));
}

// The library converts, from samples that are not rounded to codes first.
TEST(DecodeCommandTest, FormatsOfRgbHaveTheSamePixelsForEveryFullRangeCoding) {
    const TestFolder folder;
    for (const char* name : {"valid422-1.rvl", "valid444-1.rvl", "valid4444_8-1.rvl"}) {
        for (const char* depth : {"8", "10", "16"}) {
            std::vector<std::string> pictures;
            for (const char* coding : {"rgb", "ycbcr"}) {
                const CommandResult result = runRavelo(
                    {"decode", vectorPath(name), "-F", "ppm", "--depth", depth, "--coding", coding, "-o", "-"});
                EXPECT_EQ(result.exitCode, 0) << result.error;
                pictures.push_back(result.output);
            }
            EXPECT_EQ(pictures[0], pictures[1]) << name << ", " << depth << " bits";
        }
    }
}

TEST(DecodeCommandTest, RgbOf422IsRefusedWhereTheFormHoldsNone) {
    expectFailure({"decode", k422, "-o", "-", "--coding", "rgb"}, 1, "is a 4:2:2 frame, of which raw can have");
}

TEST(DecodeCommandTest, WrongCommandLinesAreUsageErrors) {
    const TestFolder folder;
    const std::string png = folder.path("a.png");
    expectFailure({}, 2, "subcommand");
    expectFailure({"decode"}, 2, "required");
    expectFailure({"decode", k422}, 2, "--output is required");
    expectFailure({"decode", "-o", png}, 2, "required");
    expectFailure({"decode", k422, "-o", png, "--depth", "12"}, 2, "--depth");
    expectFailure({"decode", k422, "-o", png, "--size", "third"}, 2, "--size");
    expectFailure({"decode", k422, "-o", png, "--coding", "xyz"}, 2, "--coding");
    expectFailure({"decode", k422, "-o", png, "--target", "sse"}, 2, "--target");
    expectFailure({"decode", k422, "-o", png, "--unknown"}, 2, "--unknown");
    expectFailure({"decode", k422, "-o", folder.path("a.xyz")}, 2, "is not that of an output format");
    expectFailure({"decode", k422, "-o", png, "--depth", "10"}, 2, "png cannot have 10 bits");
    expectFailure({"decode", k422, "-o", folder.path("a.y4m"), "--depth", "15"}, 2, "y4m cannot have 15 bits");
    expectFailure({"decode", k422, "-o", folder.path("a.exr"), "--depth", "8"}, 2, "exr cannot have 8 bits");
    expectFailure({"decode", k422, "-o", folder.path("a.exr"), "--coding", "rgb-video"}, 2,
                  "exr has black at 0 and white at 1");
    expectFailure({"decode", k422, "-o", folder.path("a.raw"), "--depth", "10", "--size", "half"}, 2,
                  "reduced sizes have 8 bits");
    expectFailure({"decode", k444, "-o", folder.path("a.y4m"), "--coding", "rgb"}, 2, "Y'CbCr only");
    expectFailure({"frobnicate"}, 2, "");
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(DecodeCommandTest, UnwritableFoldersAndFullDisksAreFailures) {
    expectFailure({"decode", k422, "-o", "/nowhere/a.png"}, 1, "cannot write /nowhere/a.png");
    expectFailure({"decode", k422, "-o", "/dev/full", "--format", "raw"}, 1, "No space left");
}

TEST(DecodeCommandTest, FramesBeyondTheLimitAreRefused) {
    expectFailure({"decode", k422, "-o", "-", "--max-pixels", "39167"}, 4, "the limit is 39167 pixels");
    EXPECT_EQ(runRavelo({"decode", k422, "-o", "-", "--max-pixels", "39168"}).exitCode, 0);
}

// Every slice of the frame begins where the first one does.
TEST(DecodeCommandTest, FramesWhoseSlicesShareTheirBytesAreRefusedByEveryCommandThatDecodes) {
    const TestFolder folder;
    const std::string shared = folder.path("shared.rvl");
    encodeSmooth(folder, "shared.rvl", 640, 320);
    std::string bytes = readTestFile(shared);
    const std::size_t picture = 8 + 256 * static_cast<std::uint8_t>(bytes[8]) + static_cast<std::uint8_t>(bytes[9]);
    const std::size_t table = picture + static_cast<std::uint8_t>(bytes[picture]) / 8;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(table), 2 * 5 * 20, '\0');
    // The first slice takes a large part of the bytes.
    const std::size_t slice = table + 2 * 5 * 20;
    bytes[slice + 2] = '\x20';
    writeTestFile(shared, bytes);
    const std::string text = "shared.rvl: its slices read more than " + std::to_string(2 * bytes.size()) +
                             " bytes, 2 times its size of " + std::to_string(bytes.size());
    expectFailure({"decode", shared, "-F", "null"}, 4, text);
    expectFailure({"inspect", shared}, 4, text);
    expectFailure({"compare", shared, shared}, 4, text);
    expectFailure({"bench", shared}, 4, text);
    EXPECT_EQ(runRavelo({"verify", shared}).exitCode, 4);
    EXPECT_EQ(runRavelo({"info", shared}).exitCode, 0) << "nothing is decoded";
    EXPECT_EQ(runRavelo({"decode", shared, "-F", "null", "--max-read-factor", "0"}).exitCode, 3);
    EXPECT_EQ(runRavelo({"decode", shared, "-F", "null", "--max-read-factor", "100"}).exitCode, 3);
}

TEST(DecodeCommandTest, PicturesWithoutPixelsAreRefused) {
    const TestFolder folder;
    encodeSmooth(folder, "one.rvl", 1, 1);
    expectFailure({"decode", folder.path("one.rvl"), "-o", folder.path("a.png"), "--size", "half"}, 1, "no pixels");
    EXPECT_EQ(runRavelo({"decode", folder.path("one.rvl"), "-o", folder.path("b.png")}).exitCode, 0);
    EXPECT_EQ(readPicture(folder.path("b.png")).numPixels(), 1u);
}

TEST(DecodeCommandTest, Avx2IsRefusedOnlyWhereTheProcessorLacksIt) {
    const CommandResult result = runRavelo({"decode", k422, "-o", "-", "--target", "avx2"});
    EXPECT_EQ(result.exitCode, ravelo_best_target() == RAVELO_TARGET_AVX2 ? 0 : 1);
}

TEST(DecodeCommandTest, ResultsDoNotDependOnThreads) {
    const std::string expected = runRavelo({"decode", k422, kAlpha, "-o", "-", "--threads", "1"}).output;
    ASSERT_FALSE(expected.empty());
    for (const char* threads : {"2", "4", "16"})
        EXPECT_TRUE(runRavelo({"decode", k422, kAlpha, "-o", "-", "--threads", threads}).output == expected) << threads;
}

TEST(DecodeCommandTest, VerboseNamesEachFile) {
    const TestFolder folder;
    const CommandResult result = runRavelo({"decode", k422, "-o", folder.path("a.png"), "-v"});
    EXPECT_EQ(result.error, k422 + " -> " + folder.path("a.png") + "\n");
}

TEST(DecodeCommandTest, Md5IsThatOfTheMd5sumTool) {
    const CommandResult ours = runRavelo({"decode", k422, "-o", "-", "--format", "md5"});
    const CommandResult theirs = runShell("$RAVELO decode '" + k422 + "' -o - | md5sum");
    EXPECT_EQ(ours.output.substr(0, 32), theirs.output.substr(0, 32));
}

TEST(DecodeCommandTest, FormatNullWritesNothing) {
    const TestFolder folder;
    const CommandResult result = runRavelo({"decode", k422, "-o", folder.path("a"), "--format", "null"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_THAT(folder.files(), IsEmpty());
}

TEST(DecodeCommandTest, DamagedFramesOfTheVectorsNeverCrash) {
    for (int i = 1; i <= 16; ++i) {
        const std::string frame = vectorPath("failing-" + std::to_string(i) + ".rvl");
        const CommandResult result = runRavelo({"decode", frame, "-o", "-", "--format", "xxh3"});
        EXPECT_LE(result.exitCode, 3) << result.error;
    }
}

TEST(DecodeCommandTest, ARegionIsThatPartOfTheWhole) {
    // 4:2:2 in video range is converted by the command, which takes chroma from beside the region.
    for (std::string const& name : {k422, k444, vectorPath("odd-1.rvl")}) {
        for (std::vector<std::string> const& options :
             {std::vector<std::string>{}, {"--size", "half"}, {"--coding", "rgb-video"}}) {
            std::vector<std::string> arguments = {"decode", name, "-F", "ppm", "-o", "-"};
            arguments.insert(arguments.end(), options.begin(), options.end());
            const CommandResult whole = runRavelo(arguments);
            ASSERT_EQ(whole.exitCode, 0) << whole.error;
            const std::size_t width = std::stoul(whole.output.substr(3));
            const std::size_t height = std::stoul(whole.output.substr(whole.output.find(' ') + 1));
            const std::size_t first = whole.output.size() - 3 * width * height;
            // Odd and even columns, and the right edge.
            for (const std::size_t x : {std::size_t{5}, std::size_t{4}, width - 6}) {
                arguments.push_back(fmt::format("--region={},2,6x5", x));
                const CommandResult region = runRavelo(arguments);
                arguments.pop_back();
                ASSERT_EQ(region.exitCode, 0) << region.error;
                ASSERT_THAT(region.output, testing::StartsWith("P6\n6 5\n255\n"));
                for (std::size_t y = 0; y < 5; ++y)
                    EXPECT_EQ(region.output.substr(region.output.size() - 18 * (5 - y), 18),
                              whole.output.substr(first + 3 * (width * (y + 2) + x), 18))
                        << testing::PrintToString(arguments) << " column " << x << " line " << y;
            }
        }
    }
}

TEST(DecodeCommandTest, CompressionIsThatOfTheFormat) {
    const TestFolder folder;
    for (const char* name : {"a.png", "b.exr"}) {
        const std::string least = name[0] == 'a' ? "0" : "none";
        ASSERT_EQ(runRavelo({"decode", k422, "-o", folder.path(name)}).exitCode, 0);
        const std::size_t usual = readTestFile(folder.path(name)).size();
        ASSERT_EQ(runRavelo({"decode", k422, "-o", folder.path(name), "-f", "--compression", least}).exitCode, 0);
        EXPECT_GT(readTestFile(folder.path(name)).size(), usual) << name;
    }
    expectFailure({"decode", k422, "-o", folder.path("c.png"), "--compression", "zip"}, 2,
                  "png has no zip; it can be 1, 0, 2");
    expectFailure({"decode", k422, "-o", folder.path("c.exr"), "--compression", "1"}, 2,
                  "it can be zip, none, piz, dwaa");
    expectFailure({"decode", k422, "-o", folder.path("c.ppm"), "--compression", "1"}, 2, "ppm has none to choose");
}

TEST(DecodeCommandTest, WrongRegionsAreRefused) {
    for (const char* const region : {"", "1", "1,2", "1,2,3", "1,2,3x", "1,2,0x3", "1,2,3x0", "1,2,3x4x", "a,2,3x4",
                                     "-1,2,3x4", "1,2,4294967296x1"}) {
        if (*region != 0)
            expectFailure({"decode", k444, "-F", "null", std::string("--region=") + region}, 2, "--region takes");
    }
    expectFailure({"decode", k444, "-F", "null", "--region", "0,0,4000x4"}, 1, "not inside the picture");
    expectFailure({"decode", k422, "-F", "null", "--region", "1,0,4x4"}, 1, "region_x is 1");
}
