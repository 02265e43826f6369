// What the command says of frames that are cut off, followed by something or not there, and of those whose slices all
// fail.

#include <filesystem>
#include <numeric>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "DamageReport.h"
#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class FrameStructureTest : public testing::Test {
protected:
    FrameStructureTest() {
        encodeSmooth(folder, "whole.rvl", 64, 48, {"--slice", "1"});
        content = readTestFile(path("whole.rvl"));
    }

    std::string path(std::string const& name) const { return folder.path(name); }

    // A file with this content, under a name that the messages contain.
    std::string file(std::string const& name, std::string const& bytes) const {
        writeTestFile(path(name), bytes);
        return path(name);
    }

    std::string cutOffText(std::size_t size) const {
        return "cut off at byte " + std::to_string(size) + " of " + std::to_string(content.size());
    }

    TestFolder folder;
    std::string content;
};

} // namespace

TEST_F(FrameStructureTest, ACutOffFrameIsReported) {
    const std::size_t size = content.size() - 100;
    const std::string cut = file("cut.rvl", content.substr(0, size));
    const CommandResult info = runRavelo({"info", cut});
    EXPECT_EQ(info.exitCode, 0);
    EXPECT_THAT(info.output, HasSubstr(cutOffText(size)));
    const CommandResult decode = runRavelo({"decode", cut, "-o", path("a.ppm")});
    EXPECT_EQ(decode.exitCode, 3);
    EXPECT_THAT(decode.error, AllOf(HasSubstr(cut + ": " + cutOffText(size)), HasSubstr("slices failed")));
    EXPECT_TRUE(std::filesystem::exists(path("a.ppm")));
    const CommandResult verify = runRavelo({"verify", cut});
    EXPECT_EQ(verify.exitCode, 3);
    EXPECT_THAT(verify.output, AllOf(HasSubstr("damaged"), HasSubstr(cutOffText(size))));
}

TEST_F(FrameStructureTest, AFrameCutOffInItsHeaderIsRefused) {
    for (const char* command : {"info", "verify", "inspect"}) {
        const CommandResult result = runRavelo({command, file("cut.rvl", content.substr(0, 20))});
        EXPECT_EQ(result.exitCode, 1) << command;
        EXPECT_THAT(result.error, HasSubstr("cut.rvl: cut off at byte 20 of 28")) << command;
        EXPECT_EQ(runRavelo({command, file("empty.rvl", "")}).exitCode, 1) << command;
    }
}

TEST_F(FrameStructureTest, AnotherKindOfFileIsNamed) {
    const std::string picture = file("picture.ppm", smoothPpm(64, 48));
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"info", picture}, {"verify", picture}, {"decode", picture, "-o", path("a.png")}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments[0];
        EXPECT_THAT(result.error, HasSubstr("picture.ppm: a PPM picture, not a frame\n")) << arguments[0];
    }
    EXPECT_FALSE(std::filesystem::exists(path("a.png")));
}

TEST_F(FrameStructureTest, WhatFollowsAFrameIsReported) {
    const std::string followed = "followed by " + std::to_string(content.size()) + " bytes: another frame?";
    const std::string twice = file("twice.rvl", content + content);
    EXPECT_THAT(runRavelo({"info", twice}).output, HasSubstr("  " + followed + "\n"));
    const CommandResult decode = runRavelo({"decode", twice, "-o", path("a.ppm")});
    EXPECT_EQ(decode.exitCode, 0);
    EXPECT_THAT(decode.error, HasSubstr("twice.rvl: " + followed));
    const CommandResult verify = runRavelo({"verify", twice});
    EXPECT_EQ(verify.exitCode, 0);
    EXPECT_EQ(verify.output, twice + ": ok, " + followed + "\n");
    EXPECT_EQ(jsonAt(runRavelo({"info", twice, "--json"}).output, "/frames/0/structure/verdict"), "\"followed\"");
    EXPECT_EQ(jsonAt(runRavelo({"verify", twice, "--json"}).output, "/frames/0/note"), "\"" + followed + "\"");
}

TEST_F(FrameStructureTest, LargeSurplusIsCountedWithoutBeingRead) {
    constexpr std::size_t kBytesAfter = 5 << 20;
    const std::string surplus(kBytesAfter, 'x');
    EXPECT_THAT(runRavelo({"info", file("long.rvl", content + surplus)}).output,
                HasSubstr("followed by " + std::to_string(kBytesAfter) + " bytes"));
    EXPECT_THAT(runShell("{ cat " + path("long.rvl") + "; } | \"$RAVELO\" info -").output,
                HasSubstr("followed by at least 1048576 bytes"));
}

TEST_F(FrameStructureTest, ZerosAfterAFrameAreNotReported) {
    const std::string padded = file("padded.rvl", content + std::string(3000, '\0'));
    EXPECT_EQ(runRavelo({"verify", padded}).output, padded + ": ok\n");
    EXPECT_EQ(jsonAt(runRavelo({"info", padded, "--json"}).output, "/frames/0/structure/verdict"), "\"whole\"");
}

TEST_F(FrameStructureTest, AFrameOfWhichEverySliceFailsIsNotWritten) {
    std::filesystem::copy_file(path("whole.rvl"), path("lost.rvl"));
    damageSlices(path("lost.rvl"), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    for (std::vector<std::string> const& output : {std::vector<std::string>{"-o", path("a.png")},
                                                   {"-o", path("a.y4m")},
                                                   {"-o", path("a.%03d.png")},
                                                   {"-o", "-", "-F", "raw"}}) {
        std::vector<std::string> arguments = {"decode", path("lost.rvl")};
        arguments.insert(arguments.end(), output.begin(), output.end());
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 3) << output[1];
        EXPECT_EQ(result.output, "") << output[1];
        EXPECT_THAT(result.error, AllOf(HasSubstr("12 of 12 slices failed"), HasSubstr("nothing is written")));
    }
    EXPECT_EQ(folder.files(), (std::vector<std::string>{"lost.rvl", "whole.rvl"}));
}

// Of a region, every slice is counted that the library decodes and no other: each of them fails, and nothing is
// written.
TEST_F(FrameStructureTest, ARegionOfWhichEverySliceFailsIsNotWritten) {
    int numDecodes = 0;
    for (const char* const fields : {"progressive", "odd-first", "single-field"}) {
        encodeSmooth(folder, "lost.rvl", 150, 40, {"--slice", "2", "--force", "--interlace", fields});
        std::vector<std::size_t> all(countSlices(bytesOf(readTestFile(path("lost.rvl")))));
        std::iota(all.begin(), all.end(), 0);
        damageSlices(path("lost.rvl"), all);
        for (const char* const place : {"full 0,0,32x16", "full 30,15,4x2", "full 64,17,22x1", "half 0,8,16x9",
                                        "quarter 8,1,8x8", "eighth 2,4,4x1", "eighth 0,0,18x5"}) {
            const std::string size = std::string(place).substr(0, std::string(place).find(' '));
            const std::string region = std::string(place).substr(size.size() + 1);
            for (const char* const format : {"raw", "png", "exr"}) {
                std::filesystem::remove(path("a"));
                const CommandResult result = runRavelo({"decode", path("lost.rvl"), "--size", size, "--region", region,
                                                        "--failed", "left", "-F", format, "-o", path("a")});
                const std::string what = std::string(fields) + " " + place + " " + format;
                std::smatch counts;
                if (!std::regex_search(result.error, counts, std::regex("([0-9]+) of ([0-9]+) slices? failed")))
                    continue; // a line that no slice has
                ++numDecodes;
                EXPECT_EQ(counts[1], counts[2]) << what;
                EXPECT_EQ(result.exitCode, 3) << what;
                EXPECT_THAT(result.error, HasSubstr("nothing is written")) << what;
                EXPECT_FALSE(std::filesystem::exists(path("a"))) << what;
            }
        }
    }
    EXPECT_GE(numDecodes, 54);
}

TEST_F(FrameStructureTest, AStreamKeepsAPlaceForALostFrame) {
    std::filesystem::copy_file(path("whole.rvl"), path("lost.rvl"));
    damageSlices(path("lost.rvl"), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    EXPECT_EQ(runRavelo({"decode", path("lost.rvl"), path("whole.rvl"), "-o", path("a.raw")}).exitCode, 3);
    EXPECT_EQ(std::filesystem::file_size(path("a.raw")), 2u * 64 * 48 * 2);
    EXPECT_EQ(runRavelo({"decode", path("lost.rvl"), path("lost.rvl"), "-o", path("b.raw")}).exitCode, 3);
    EXPECT_FALSE(std::filesystem::exists(path("b.raw")));
}
