#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::HasSubstr;

TEST(InfoCommandTest, ReportsEveryFieldOfTheHeader) {
    const CommandResult result = runRavelo({"info", vectorPath("valid422-1.rvl")});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    for (const char* field : {"outer_word_0",
                              "outer_word_1",
                              "header_size",
                              "header_byte_3",
                              "header_word_4",
                              "horizontal_size",
                              "vertical_size",
                              "chroma_format",
                              "interlace_mode",
                              "header_nibble_13_high",
                              "header_nibble_13_low",
                              "color_primaries",
                              "transfer_characteristic",
                              "matrix_coefficients",
                              "alpha_channel_type",
                              "load_luma_matrix",
                              "load_chroma_matrix",
                              "picture_header_size",
                              "picture_size",
                              "log2_slice_size_in_mb"})
        EXPECT_THAT(result.output, HasSubstr(field));
    EXPECT_THAT(result.output, HasSubstr("272 x 144 pixels"));
}

TEST(InfoCommandTest, JsonHasTheFieldsAsNumbers) {
    const CommandResult result = runRavelo({"info", "--json", vectorPath("valid4444_16-1.rvl")});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    const ReportValue frame = ReportValue(result.output).at("frames").at(0);
    EXPECT_EQ(frame.at("width"), 161);
    EXPECT_EQ(frame.at("height"), 48);
    EXPECT_EQ(frame.at("bytes"), 12303);
    EXPECT_EQ(frame.at("header").at("chroma_format"), 3);
    EXPECT_EQ(frame.at("header").at("alpha_channel_type"), 2);
    EXPECT_EQ(frame.at("header").at("luma_matrix").size(), 64u);
    EXPECT_EQ(frame.at("header").size(), frame.at("meaning").size() + 2) << "two matrices have no meaning";
}

TEST(InfoCommandTest, JsonReportsWhatTheBufferMustOffer) {
    const CommandResult result = runRavelo({"info", "--json", vectorPath("valid4444_16-1.rvl")});
    const ReportValue buffers = ReportValue(result.output).at("frames").at(0).at("buffers");
    ASSERT_EQ(buffers.size(), 7u);
    // 161 pixels are 11 macroblocks, which take 88 pixels at half size, of which the picture has 80.
    const ReportValue half = buffers.at(4);
    EXPECT_EQ(half.at("size"), "half");
    EXPECT_EQ(half.at("width"), 80);
    EXPECT_EQ(half.at("height"), 24);
    EXPECT_EQ(half.at("least_stride"), 320);
    EXPECT_EQ(half.at("safe_stride"), 352);
    EXPECT_EQ(half.at("bytes"), 352 * 24);
    EXPECT_EQ(buffers.at(3).at("least_stride"), 161 * 8);
}

TEST(InfoCommandTest, JsonCanListEverySlice) {
    const CommandResult result = runRavelo({"info", "--json", "--slices", vectorPath("interlaced-1.rvl")});
    const ReportValue pictures = ReportValue(result.output).at("frames").at(0).at("pictures");
    for (ReportValue const& picture : pictures.elements()) {
        EXPECT_EQ(picture.at("slices"), picture.at("coded_size_of_slice").size());
    }
}

TEST(InfoCommandTest, SeveralFramesComeInOrder) {
    const CommandResult result =
        runRavelo({"info", "--json", vectorPath("valid422-2.rvl"), vectorPath("valid422-1.rvl")});
    const ReportValue frames = ReportValue(result.output).at("frames");
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_THAT(frames.at(0).at("file").text(), testing::EndsWith("valid422-2.rvl"));
}

TEST(InfoCommandTest, ReadsStandardInput) {
    const CommandResult result = runRavelo({"info", "-"}, readTestFile(vectorPath("valid422-1.rvl")));
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_THAT(result.output, testing::StartsWith("standard input\n"));
}

TEST(InfoCommandTest, FilesThatAreNoFramesAreRefused) {
    const TestFolder folder;
    writeTestFile(folder.path("short"), "abc");
    writeTestFile(folder.path("empty"), "");
    writeTestFile(folder.path("zeros"), std::string(1000, '\0'));
    for (const char* name : {"short", "empty", "zeros", "missing"}) {
        const CommandResult result = runRavelo({"info", folder.path(name)});
        EXPECT_EQ(result.exitCode, 1) << name;
        EXPECT_EQ(result.output, "");
        expectOneLine(result.error);
    }
}

TEST(InfoCommandTest, FramesBeyondTheLimitGiveTheirOwnExitCode) {
    const std::string frame = vectorPath("valid422-1.rvl");
    EXPECT_EQ(runRavelo({"info", frame, "--max-pixels", "1000"}).exitCode, 4);
    EXPECT_EQ(runRavelo({"info", frame, "--max-pixels", "39168"}).exitCode, 0);
    EXPECT_EQ(runRavelo({"info", frame, "--max-pixels", "0"}).exitCode, 0);
}

TEST(InfoCommandTest, EveryFrameOfTheVectorsIsReported) {
    for (const char* kind : {"extremes", "failing", "interlaced", "odd", "oddheaders", "tiny", "undefined_alpha"}) {
        std::vector<std::string> arguments = {"info", "--json"};
        for (int i = 1; i <= 16; ++i)
            arguments.push_back(vectorPath(std::string(kind) + "-" + std::to_string(i) + ".rvl"));
        const CommandResult result = runRavelo(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.error;
        const std::vector<ReportValue> frames = ReportValue(result.output).at("frames").elements();
        ASSERT_EQ(frames.size(), 16u);
        for (std::size_t i = 0; i < 16; ++i)
            EXPECT_EQ(frames[i].at("file"), arguments[2 + i]);
    }
}
