// How the command treats and reports slices that fail.

#include <filesystem>

#include <gmock/gmock.h>

#include "DecodedFrame.h"
#include "InputFile.h"
#include "OutputFormat.h"
#include "ToolsTestSupport.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// A 4:2:2 frame of 64 x 48 pixels, cut into 4 x 3 slices of one macroblock each, of which two fail.
class DamageCommandTest : public testing::Test {
protected:
    DamageCommandTest() {
        encodeSmooth(folder, "good.rvl", 64, 48, {"--slice", "1"});
        std::filesystem::copy_file(good(), bad());
        damageSlices(bad(), {2, 9});
    }

    std::string good() const { return folder.path("good.rvl"); }
    std::string bad() const { return folder.path("bad.rvl"); }

    std::string rawOf(std::string const& frame, std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {"decode", frame, "-q", "-o", "-"});
        return runRavelo(arguments).output;
    }

    TestFolder folder;
};

// Whether a byte of the raw 4:2:2 picture belongs to one of the slices that fail: the third of the first row of
// macroblocks, and the second of the last.
bool isDamaged(std::size_t byte) {
    const std::size_t slice = byte / 128 / 16 * 4 + byte % 128 / 32;
    return slice == 2 || slice == 9;
}

// What a damaged picture holds where the slices failed; everywhere else it must be like the undamaged one.
std::string damagedBytes(std::string const& damaged, std::string const& whole) {
    std::string bytes;
    EXPECT_EQ(damaged.size(), whole.size());
    for (std::size_t i = 0; i < damaged.size(); ++i) {
        if (isDamaged(i))
            bytes.push_back(damaged[i]);
        else
            EXPECT_EQ(damaged[i], whole.at(i)) << "byte " << i;
    }
    return bytes;
}

// As many times the four samples of two pixels as two macroblocks have.
std::string twoMacroblocksOf(std::string const& samples) {
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += samples;
    return bytes;
}

} // namespace

TEST_F(DamageCommandTest, ADamagedFrameIsWrittenAndHasItsExitCode) {
    const CommandResult result = runRavelo({"decode", bad(), "-o", folder.path("a.png")});
    EXPECT_EQ(result.exitCode, 3);
    expectOneLine(result.error);
    EXPECT_THAT(result.error, HasSubstr(bad() + ": 2 of 12 slices failed"));
    EXPECT_TRUE(std::filesystem::exists(folder.path("a.png")));
}

TEST_F(DamageCommandTest, EveryFormOfOutputReportsTheDamage) {
    for (const char* form : {"png", "ppm", "pam", "y4m", "raw", "npy", "exr", "xxh3", "md5", "null"})
        EXPECT_EQ(runRavelo({"decode", bad(), "-q", "-f", "-F", form, "-o", folder.path("a")}).exitCode, 3) << form;
}

TEST_F(DamageCommandTest, EverySizeReportsTheDamage) {
    for (const char* size : {"full", "half", "quarter", "eighth"})
        EXPECT_EQ(runRavelo({"decode", bad(), "-q", "-F", "null", "--size", size}).exitCode, 3) << size;
}

TEST_F(DamageCommandTest, VerboseListsEachSlice) {
    const CommandResult result = runRavelo({"decode", bad(), "-F", "null", "-v"});
    EXPECT_THAT(result.error, HasSubstr("picture 1, row 0, slice 2, from byte "));
    EXPECT_THAT(result.error, HasSubstr("y failed; 16 x 16 pixels at 32, 0\n"));
    EXPECT_THAT(result.error, HasSubstr("picture 1, row 2, slice 1, from byte "));
    EXPECT_THAT(result.error, HasSubstr("y failed; 16 x 16 pixels at 16, 32\n"));
}

TEST_F(DamageCommandTest, QuietReportsByTheExitCodeAlone) {
    const CommandResult result = runRavelo({"decode", bad(), "-F", "null", "-q"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.error, "");
}

TEST_F(DamageCommandTest, JsonListsEachSlice) {
    const CommandResult result = runRavelo({"decode", good(), bad(), "-F", "null", "--json", "-q"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(jsonAt(result.output, "/damaged_frames"), "1");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/failed_slices"), "0");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/damage"), "[]");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/slices"), "12");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/failed_slices"), "2");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/1/row"), "2");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/1/slice"), "1");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/1/component"), "\"y\"");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/1/x"), "16");
    EXPECT_EQ(jsonAt(result.output, "/frames/1/damage/1/y"), "32");
}

TEST_F(DamageCommandTest, AnUndamagedFrameIsNotAccused) {
    const CommandResult result = runRavelo({"decode", good(), "-F", "null"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "");
}

TEST_F(DamageCommandTest, FailedSlicesAreBlackUnlessAskedOtherwise) {
    const std::string whole = rawOf(good());
    const std::string black = damagedBytes(rawOf(bad()), whole);
    EXPECT_EQ(black, twoMacroblocksOf({'\x80', '\x10', '\x80', '\x10'}));
    EXPECT_EQ(damagedBytes(rawOf(bad(), {"--failed", "black"}), whole), black);
}

TEST_F(DamageCommandTest, FailedSlicesAreLeftAtZero) {
    EXPECT_EQ(damagedBytes(rawOf(bad(), {"--failed", "left"}), rawOf(good())), twoMacroblocksOf(std::string(4, '\0')));
}

TEST_F(DamageCommandTest, FailedSlicesAreMarkedWithTheColourAskedFor) {
    const std::string whole = rawOf(good());
    // Studio range: white has the luma 235 and no chroma, and black the luma 16.
    EXPECT_EQ(damagedBytes(rawOf(bad(), {"--failed", "marked", "--mark-color", "FFFFFF"}), whole),
              twoMacroblocksOf({'\x80', '\xEB', '\x80', '\xEB'}));
    EXPECT_EQ(damagedBytes(rawOf(bad(), {"--failed", "marked", "--mark-color", "000000"}), whole),
              twoMacroblocksOf({'\x80', '\x10', '\x80', '\x10'}));
    const std::string magenta = damagedBytes(rawOf(bad(), {"--failed", "marked"}), whole);
    EXPECT_EQ(magenta, damagedBytes(rawOf(bad(), {"--failed", "marked", "--mark-color", "ff00ff"}), whole));
    // BT.601 has magenta at Cb 202, Y 107 and Cr 222.
    EXPECT_NEAR(static_cast<unsigned char>(magenta.at(0)), 202, 1);
    EXPECT_NEAR(static_cast<unsigned char>(magenta.at(1)), 107, 1);
    EXPECT_NEAR(static_cast<unsigned char>(magenta.at(2)), 222, 1);
}

TEST_F(DamageCommandTest, ColoursThatMakeNoSenseAreUsageErrors) {
    for (const char* color : {"FF00F", "FF00FF0", "magent", "#F00FF", "-10000"}) {
        const CommandResult result = runRavelo({"decode", bad(), "-F", "null", std::string("--mark-color=") + color});
        EXPECT_EQ(result.exitCode, 2) << color;
        expectOneLine(result.error);
    }
    EXPECT_EQ(runRavelo({"decode", bad(), "-F", "null", "--failed", "green"}).exitCode, 2);
}

TEST_F(DamageCommandTest, DamageInASequenceEndsNothing) {
    for (const char* name : {"s.1.rvl", "s.3.rvl"})
        std::filesystem::copy_file(good(), folder.path(name));
    std::filesystem::copy_file(bad(), folder.path("s.2.rvl"));
    const CommandResult result =
        runRavelo({"decode", folder.path("s.#.rvl"), "-o", folder.path("out.raw"), "--in-flight", "3"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.error, AllOf(HasSubstr("s.2.rvl: 2 of 12"), Not(HasSubstr("s.1.rvl")), Not(HasSubstr("s.3"))));
    EXPECT_TRUE(readTestFile(folder.path("out.raw")) == rawOf(good()) + rawOf(bad()) + rawOf(good()));
}

TEST_F(DamageCommandTest, MoreDamageThanUsualIsReportedWhole) {
    encodeSmooth(folder, "large.rvl", 512, 512, {"--slice", "1"});
    // The table of slices stays, and nothing after it.
    writeTestFile(folder.path("cut.rvl"), readTestFile(folder.path("large.rvl")).substr(0, 28 + 8 + 2 * 1024));
    const CommandResult result = runRavelo({"decode", folder.path("cut.rvl"), "-F", "null", "--json", "-q"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(jsonAt(result.output, "/frames/0/failed_slices"), "1024");
    EXPECT_EQ(jsonSizeAt(result.output, "/frames/0/damage"), 1024u);
    EXPECT_EQ(jsonAt(result.output, "/frames/0/damage/1023/row"), "31");
    EXPECT_EQ(jsonAt(result.output, "/frames/0/damage/1023/slice"), "31");
}

TEST_F(DamageCommandTest, PicturesAndReportDoNotShareStandardOutput) {
    const CommandResult result = runRavelo({"decode", good(), "-o", "-", "--json"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    expectOneLine(result.error);
}

TEST(DecodedFrameTest, NothingOfAnEarlierFrameShows) {
    for (const char* kind : {"failing", "interlaced", "odd", "oddheaders", "tiny", "undefined_alpha", "valid422"}) {
        for (int i = 1; i <= 16; ++i) {
            const std::string name = std::string(kind) + "-" + std::to_string(i) + ".rvl";
            const std::vector<std::uint8_t> frame = readFile(vectorPath(name), 1 << 20);
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                std::string contents[2];
                for (const std::uint32_t color : {0xFFFFFFu, 0x00FF00u}) {
                    DecodedFrame decoded;
                    // A frame of the same form that is nothing but a header fills the memory with the colour.
                    std::vector<std::uint8_t> cut(frame);
                    cut.resize(std::max<std::size_t>(28 + 128, 8 + frame[8] * 256u + frame[9]));
                    decoded.decode(cut, {reduction, ColorCoding_YCbCr, 8, OptimizationTarget::Baseline,
                                         FailedSlices::Marked, color});
                    decoded.decode(frame, {reduction, ColorCoding_YCbCr, 8, OptimizationTarget::Baseline});
                    const std::vector<std::uint8_t> raw = frameBytes(decoded, {.format = OutputFormat::Raw});
                    contents[color == 0xFFFFFFu].assign(raw.begin(), raw.end());
                }
                EXPECT_TRUE(contents[0] == contents[1]) << name << " reduced " << reduction;
            }
        }
    }
}

TEST_F(DamageCommandTest, JsonSaysWhichLinesASliceCovers) {
    // Two fields of 4 x 2 slices: the first of the odd lines, and the second of the even ones.
    encodeSmooth(folder, "fields.rvl", 64, 48, {"--slice", "1", "--interlace", "odd-first"});
    damageSlices(folder.path("fields.rvl"), {0, 9});
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"decode", "-F", "null", "--json"}, {"verify", "--json"}}) {
        const auto linesOf = [&arguments](std::string const& frame) {
            std::vector<std::string> all = arguments;
            all.push_back(frame);
            return jsonTableAt(runRavelo(all).output, "/frames/0/damage", {"picture", "x", "y", "line_step"});
        };
        EXPECT_EQ(linesOf(folder.path("fields.rvl")), (std::vector<std::vector<double>>{{0, 0, 1, 2}, {1, 16, 0, 2}}));
        EXPECT_EQ(linesOf(bad()), (std::vector<std::vector<double>>{{0, 32, 0, 1}, {0, 16, 32, 1}}));
    }
}

TEST_F(DamageCommandTest, JsonHasEveryNumberOfTheLibrarysReport) {
    // Slices of 64 x 16 pixels, in a picture whose last row has 8 lines.
    encodeSmooth(folder, "wide.rvl", 128, 40, {"--slice", "4"});
    const std::string wide = folder.path("wide.rvl");
    damageSlices(wide, {1, 2, 5});
    const std::vector<std::uint8_t> bytes = readFile(wide, 1 << 20);
    DecodedFrame decoded;
    decoded.decode(bytes, {0, ColorCoding_YCbCr, 8, OptimizationTarget::Baseline});
    std::vector<std::vector<double>> expected;
    for (ravelo_damage const& slice : decoded.damage())
        expected.push_back({double(slice.picture), double(slice.row), double(slice.column), double(slice.byte_offset),
                            double(slice.x), double(slice.y), double(slice.width), double(slice.height)});
    ASSERT_EQ(expected.size(), 3u);
    EXPECT_EQ(expected.back().back(), 8);
    const std::string report = runRavelo({"verify", "--json", wide}).output;
    EXPECT_EQ(
        jsonTableAt(report, "/frames/0/damage", {"picture", "row", "slice", "offset", "x", "y", "width", "height"}),
        expected);
}
