#include <algorithm>
#include <filesystem>
#include <numeric>

#include <gmock/gmock.h>

#include "FrameParts.h"
#include "InputFile.h"
#include "InputPicture.h"
#include "PictureReader.h"
#include "SliceReport.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// A frame of 4 x 3 slices of one macroblock, left grey and right noisy, so that its slices differ in bytes.
class InspectCommandTest : public testing::Test {
protected:
    InspectCommandTest() {
        std::string picture = "P6\n64 48\n255\n";
        for (int i = 0; i < 64 * 48; ++i)
            picture += std::string(3, static_cast<char>(i % 64 < 32 ? 128 : i * i % 251));
        const CommandResult result = runRavelo({"encode", "-", "-o", frame(), "--slice", "1", "--q", "4"}, picture);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        std::filesystem::copy_file(frame(), bad());
        damageSlices(bad(), {6});
    }

    std::string frame() const { return folder.path("a.rvl"); }
    std::string bad() const { return folder.path("bad.rvl"); }

    CommandResult inspect(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "inspect");
        return runRavelo(arguments);
    }

    // The picture that --picture writes.
    InputPicture pictureOf(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"-q", "-f", "--picture", folder.path("p.png")});
        inspect(arguments);
        return readPicture(folder.path("p.png"));
    }

    TestFolder folder;
};

// The colour of the pixel in the middle of a macroblock, as RRGGBB.
std::vector<int> colorOf(InputPicture const& picture, std::uint32_t column, std::uint32_t row) {
    const std::size_t pixel = std::size_t{row * 16 + 8} * picture.width + column * 16 + 8;
    return {picture.planes[0].at(pixel), picture.planes[1].at(pixel), picture.planes[2].at(pixel)};
}

} // namespace

TEST_F(InspectCommandTest, EverySliceHasALine) {
    const CommandResult result = inspect({frame()});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    std::size_t lines = 0;
    for (std::size_t at = result.output.find("  ok\n"); at != std::string::npos;
         at = result.output.find("  ok\n", at + 1))
        ++lines;
    EXPECT_EQ(lines, 12u);
    EXPECT_THAT(result.output, HasSubstr("64 x 48 pixels, 4:2:2"));
    EXPECT_THAT(result.output, HasSubstr("0 of 12 slices failed"));
    EXPECT_THAT(result.output, Not(HasSubstr("alpha")));
}

TEST_F(InspectCommandTest, AFailedSliceNamesItsComponentAndHasItsExitCode) {
    const CommandResult result = inspect({bad()});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.output, HasSubstr("1 of 12 slices failed"));
    EXPECT_THAT(result.output, HasSubstr("  y failed\n"));
}

TEST_F(InspectCommandTest, ComponentsOfASliceAddUpToItsBytes) {
    for (const char* name : {"valid422-1.rvl", "valid444-1.rvl", "valid4444_16-1.rvl", "interlaced-1.rvl"}) {
        const std::string report = inspect({vectorPath(name), "--json"}).output;
        const std::vector<std::vector<double>> slices =
            jsonTableAt(report, "/frames/0/slices", {"bytes", "header", "y", "cb", "cr", "alpha"});
        EXPECT_EQ(jsonNumberAt(report, "/frames/0/totals/slices"), static_cast<double>(slices.size()));
        ASSERT_FALSE(slices.empty());
        for (std::vector<double> const& slice : slices) {
            EXPECT_GT(slice[0], 0);
            EXPECT_EQ(std::accumulate(slice.begin() + 1, slice.end(), 0.0), slice[0]) << name;
        }
    }
}

TEST_F(InspectCommandTest, OnlyFramesWithAlphaHaveBytesOfAlpha) {
    EXPECT_EQ(jsonAt(inspect({vectorPath("valid444-1.rvl"), "--json"}).output, "/frames/0/totals/alpha/total"), "0");
    const CommandResult result = inspect({vectorPath("valid4444_8-1.rvl"), "--json"});
    EXPECT_GT(jsonNumberAt(result.output, "/frames/0/totals/alpha/total"), 0);
    EXPECT_THAT(inspect({vectorPath("valid4444_8-1.rvl")}).output, HasSubstr("  alpha  "));
}

TEST_F(InspectCommandTest, SlicesOfTwoFieldsBelongToTwoPictures) {
    encodeSmooth(folder, "fields.rvl", 32, 64, {"--interlace", "odd-first", "--slice", "1"});
    const std::string report = inspect({folder.path("fields.rvl"), "--json"}).output;
    EXPECT_EQ(jsonSizeAt(report, "/frames/0/slices"), 8u);
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/3/picture"), "0");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/3/row"), "1");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/4/picture"), "1");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/4/row"), "0");
}

TEST_F(InspectCommandTest, JsonHasTheIndexAndTheFailure) {
    const std::string report = inspect({bad(), "--json"}).output;
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/0/index"), "4");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/5/failed"), "null");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/6/failed"), "\"y\"");
    EXPECT_EQ(jsonAt(report, "/frames/0/slices/6/first_mb"), "2");
    EXPECT_EQ(jsonAt(report, "/frames/0/totals/failed_slices"), "1");
}

TEST_F(InspectCommandTest, TotalsLeaveOutTheSlices) {
    const CommandResult text = inspect({frame(), "--totals"});
    EXPECT_THAT(text.output, Not(HasSubstr("  ok\n")));
    EXPECT_THAT(text.output, HasSubstr("least"));
    const CommandResult json = inspect({frame(), "--totals", "--json"});
    EXPECT_EQ(jsonAt(json.output, "/frames/0/slices"), "nothing");
    EXPECT_NE(jsonAt(json.output, "/frames/0/totals/bytes/median"), "nothing");
}

TEST_F(InspectCommandTest, TheColoursGoFromBlueToRed) {
    const InputPicture picture = pictureOf({frame()});
    ASSERT_EQ(picture.width, 64u);
    ASSERT_EQ(picture.height, 48u);
    EXPECT_FALSE(picture.hasAlpha());
    // Slices without detail have the fewest bytes.
    const std::vector<int> least = colorOf(picture, 0, 0);
    EXPECT_GT(least[2], 2 * least[0]);
    EXPECT_GT(least[2], 2 * least[1]);
    // Some slice has the most.
    bool anyRed = false;
    for (std::uint32_t row = 0; row < 3; ++row)
        for (std::uint32_t column = 2; column < 4; ++column) {
            const std::vector<int> color = colorOf(picture, column, row);
            anyRed = anyRed || (color[0] > 4 * color[1] && color[0] > 4 * color[2]);
        }
    EXPECT_TRUE(anyRed);
}

TEST_F(InspectCommandTest, TheIndexIsShownWhereAskedFor) {
    // All slices have the same index, so all are at the blue end.
    const InputPicture picture = pictureOf({frame(), "--show", "index"});
    for (std::uint32_t row = 0; row < 3; ++row)
        for (std::uint32_t column = 0; column < 4; ++column) {
            const std::vector<int> color = colorOf(picture, column, row);
            EXPECT_GT(color[2], 2 * color[0]);
        }
}

TEST_F(InspectCommandTest, FailedSlicesAreMagenta) {
    const InputPicture picture = pictureOf({bad()});
    EXPECT_THAT(colorOf(picture, 2, 1), ElementsAre(255, 0, 255));
    EXPECT_THAT(colorOf(picture, 1, 1), Not(ElementsAre(255, 0, 255)));
}

TEST_F(InspectCommandTest, SlicesOfAFieldColourItsLinesOnly) {
    encodeSmooth(folder, "fields.rvl", 32, 64, {"--interlace", "odd-first", "--slice", "1"});
    damageSlices(folder.path("fields.rvl"), {0});
    const InputPicture picture = pictureOf({folder.path("fields.rvl")});
    for (std::size_t y = 0; y < 64; ++y) {
        const bool isMagenta = picture.planes[0].at(y * 32) == 255 && picture.planes[1].at(y * 32) == 0;
        EXPECT_EQ(isMagenta, y < 32 && y % 2 == 1) << y;
    }
}

TEST_F(InspectCommandTest, EveryKindOfFrameHasAPicture) {
    for (const char* name : {"valid444-1.rvl", "valid4444_8-1.rvl", "interlaced-2.rvl", "odd-1.rvl", "tiny-1.rvl"}) {
        const InputPicture picture = pictureOf({vectorPath(name)});
        EXPECT_GT(picture.numPixels(), 0u) << name;
        EXPECT_FALSE(picture.hasAlpha()) << name;
        std::filesystem::remove(folder.path("p.png"));
    }
}

TEST_F(InspectCommandTest, SeveralFramesMakeSeveralPictures) {
    EXPECT_EQ(inspect({frame(), bad(), "--picture", folder.path("p.png")}).exitCode, 2);
    std::filesystem::create_directory(folder.path("p"));
    EXPECT_EQ(inspect({frame(), bad(), "--picture", folder.path("p")}).exitCode, 3);
    EXPECT_TRUE(std::filesystem::exists(folder.path("p/a.png")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("p/bad.png")));
    EXPECT_EQ(inspect({frame(), frame(), "-f", "--picture", folder.path("p")}).exitCode, 2);
}

TEST_F(InspectCommandTest, ExistingPicturesAreKeptWithoutForce) {
    writeTestFile(folder.path("p.png"), "precious");
    const CommandResult result = inspect({frame(), "--picture", folder.path("p.png")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "") << "found out before the frame is decoded";
    EXPECT_EQ(readTestFile(folder.path("p.png")), "precious");
    EXPECT_EQ(inspect({frame(), "--picture", folder.path("p.png"), "-f"}).exitCode, 0);
}

TEST_F(InspectCommandTest, APictureOnStandardOutputGoesWithoutReport) {
    EXPECT_EQ(inspect({frame(), "--picture", "-"}).exitCode, 2);
    EXPECT_EQ(inspect({frame(), "--picture", "-", "-q", "--json"}).exitCode, 2);
    const CommandResult result = inspect({frame(), "--picture", "-", "-q"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, testing::StartsWith("\x89PNG"));
}

TEST_F(InspectCommandTest, ReadsStandardInput) {
    const CommandResult result = runRavelo({"inspect", "-", "--totals"}, readTestFile(frame()));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, testing::StartsWith("standard input\n"));
}

TEST_F(InspectCommandTest, WhatIsNoFrameIsAFailure) {
    writeTestFile(folder.path("none"), "no frame");
    EXPECT_EQ(inspect({folder.path("none")}).exitCode, 1);
    EXPECT_EQ(inspect({folder.path("missing")}).exitCode, 1);
    EXPECT_EQ(inspect({frame(), "--max-pixels", "3071"}).exitCode, 4);
    EXPECT_EQ(inspect({frame(), "--max-pixels", "3072"}).exitCode, 0);
    EXPECT_EQ(inspect({frame(), "--show", "colours"}).exitCode, 2);
}

TEST(SliceReportTest, StatisticsAreThoseOfTheValues) {
    std::vector<InspectedSlice> slices(4);
    const std::uint32_t sizes[] = {40, 10, 30, 15};
    for (std::size_t i = 0; i < slices.size(); ++i)
        slices[i].header.coded_size = sizes[i];
    SliceStatistics statistics = statisticsOf(slices, &CodedSlice::coded_size);
    EXPECT_EQ(statistics.total, 95u);
    EXPECT_EQ(statistics.least, 10u);
    EXPECT_EQ(statistics.median, 22.5);
    EXPECT_EQ(statistics.largest, 40u);
    slices.pop_back();
    statistics = statisticsOf(slices, &CodedSlice::coded_size);
    EXPECT_EQ(statistics.median, 30);
    EXPECT_EQ(statisticsOf({}, &CodedSlice::coded_size).total, 0u);
}
