#include "Html.h"

#include <stdexcept>

#include <gmock/gmock.h>

#include "FramePictures.h"
#include "HtmlReport.h"
#include "PictureReader.h"
#include "ToolsTestSupport.h"

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(HtmlTest, ValuesAreEscapedAndHtmlIsNot) {
    EXPECT_EQ(html("<p title=\"{}\">{}</p>", {"a\"b'c", "<&>\n{}"}).text,
              "<p title=\"a&quot;b&#39;c\">&lt;&amp;&gt;\\x0a{}</p>");
    EXPECT_EQ(html("<b>{}</b>{}", {html("<i>{}</i>", {1}), -2}).text, "<b><i>1</i></b>-2");
}

TEST(HtmlTest, FormsAndValuesMustMatch) {
    EXPECT_THROW(html("{}"), std::logic_error);
    EXPECT_THROW(html("x", {1}), std::logic_error);
}

TEST(HtmlTest, PicturesAreBase64) {
    for (auto const& [bytes, wanted] :
         {std::pair<std::string, std::string>{"", ""}, {"M", "TQ=="}, {"Ma", "TWE="}, {"Man\xFF", "TWFu/w=="}})
        EXPECT_EQ(pngAddress(bytesOf(bytes)).text, "data:image/png;base64," + wanted);
}

// Two slices of one macroblock each, without data.
TEST(FramePicturesTest, AFailedMacroblockShowsBothColoursInTheMap) {
    std::vector<std::uint8_t> frame(100);
    frame[9] = 20;      // header_size
    frame[17] = 32;     // horizontal_size
    frame[19] = 16;     // vertical_size
    frame[20] = 0x80;   // chroma_format 2
    frame[28] = 8 << 3; // picture_header_size
    DecodedFrame decoded;
    const FramePictures pictures = picturesOf(frame, decoded, OptimizationTarget::Baseline);
    EXPECT_EQ(pictures.slices.size(), 2u);
    const TestFolder folder;
    writeTestFile(folder.path("map.png"), {pictures.index.png.begin(), pictures.index.png.end()});
    const InputPicture map = readPicture(folder.path("map.png"));
    EXPECT_THAT(map.planes, ElementsAre(Each(255), ElementsAre(0, 255, 0, 255, 255, 0, 255, 0), Each(255)));
}

TEST(HtmlReportTest, DamagedFramesReplaceOthersAmongThePictures) {
    HtmlReport report("Test", {"a.rvl"}, "", {});
    const auto add = [&](std::string const& name, bool isBad) {
        ReportedFrame frame;
        frame.name = name;
        frame.status = isBad ? "damaged" : "ok";
        frame.bytes = 1;
        const bool hasRoom = report.wantsPictures(isBad);
        report.add(frame, hasRoom ? std::optional<FramePictures>(FramePictures()) : std::nullopt);
        return hasRoom;
    };
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(add("good", false));
    EXPECT_FALSE(add("unseen", false));
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(add("bad", true));
    EXPECT_FALSE(add("late", true));
    const std::string page = report.page({});
    EXPECT_THAT(page, HasSubstr("<h3><bdi>bad</bdi>"));
    EXPECT_THAT(page, Not(HasSubstr("<h3><bdi>good</bdi>")));
    EXPECT_THAT(page, HasSubstr("1 more frame is not ok without pictures"));
}

TEST(HtmlReportTest, OfManyFilesTheFirstAreNamed) {
    const HtmlReport report("Test", std::vector<std::string>(1000, "x.rvl"), "1-9", {});
    const std::string page = report.page({});
    EXPECT_THAT(page, HasSubstr("<h1>Test of 1000 files</h1>"));
    EXPECT_THAT(page, HasSubstr("x.rvl and 980 more"));
    EXPECT_LT(page.size(), 10'000u);
}

TEST(HtmlReportTest, APageOfAnyNumberOfFramesIsLimited) {
    HtmlReport report("Test", {"a.rvl"}, "", {});
    ReportedFrame frame;
    frame.name = std::string(100, 'x');
    frame.status = "damaged";
    for (int i = 0; i < 12'000; ++i) {
        // Few frames have more damage than a table holds.
        frame.damage.resize(i < 10 ? 1000 : 1);
        report.add(frame, std::nullopt);
    }
    EXPECT_LT(report.page({}).size(), 8'000'000u);
}
