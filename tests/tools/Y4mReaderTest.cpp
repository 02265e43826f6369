#include "Y4mReader.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::string y4mErrorOf(std::string const& content) {
    try {
        pictureOf(content);
    } catch (CommandError const& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(Y4mReaderTest, Reads422) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W3 H1 F25:1 Ip A1:1 C422\nFRAME\nabcdefg");
    EXPECT_EQ(picture.chroma, ChromaLayout::C422);
    EXPECT_EQ(picture.fieldOrder, FieldOrder::Progressive);
    EXPECT_FALSE(picture.fullRange);
    EXPECT_THAT(picture.planes[0], ElementsAre('a', 'b', 'c'));
    EXPECT_THAT(picture.planes[1], ElementsAre('d', 'e'));
    EXPECT_THAT(picture.planes[2], ElementsAre('f', 'g'));
}

TEST(Y4mReaderTest, ReadsDeepSamplesWithTheLowByteFirst) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W1 H1 C444p10\nFRAME\n\x01\x02\x03\x00\xFF\xFF"s);
    EXPECT_EQ(picture.maxValue, 1023u);
    EXPECT_THAT(picture.planes[0], ElementsAre(0x0201));
    EXPECT_THAT(picture.planes[1], ElementsAre(3));
    // Codes beyond ten bits are cut.
    EXPECT_THAT(picture.planes[2], ElementsAre(1023));
}

TEST(Y4mReaderTest, WithoutANameTheColoursAreCentred420) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W2 H2\nFRAME\nabcdef");
    EXPECT_EQ(picture.chroma, ChromaLayout::C420Centred);
    EXPECT_THAT(picture.planes[1], ElementsAre('e'));
}

TEST(Y4mReaderTest, ChromaOf420RoundsUpInBothDirections) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W3 H3 C420mpeg2\nFRAME\n" + std::string(9 + 4 + 4, 'x'));
    EXPECT_EQ(picture.chroma, ChromaLayout::C420CoSited);
    EXPECT_EQ(picture.planes[1].size(), 4u);
}

TEST(Y4mReaderTest, ReadsAlpha) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W1 H1 C444alpha\nFRAME\nabcd");
    EXPECT_THAT(picture.alpha, ElementsAre('d'));
}

TEST(Y4mReaderTest, ReadsMono) {
    const InputPicture picture = pictureOf("YUV4MPEG2 W2 H1 Cmono\nFRAME\nab");
    EXPECT_EQ(picture.model, ColorModel::Gray);
    EXPECT_FALSE(picture.fullRange);
}

TEST(Y4mReaderTest, ReadsFieldOrderAndRange) {
    EXPECT_EQ(pictureOf("YUV4MPEG2 W1 H1 It Cmono\nFRAME\na").fieldOrder, FieldOrder::TopFirst);
    EXPECT_EQ(pictureOf("YUV4MPEG2 W1 H1 Ib Cmono\nFRAME\na").fieldOrder, FieldOrder::BottomFirst);
    EXPECT_TRUE(pictureOf("YUV4MPEG2 W1 H1 Cmono XCOLORRANGE=FULL\nFRAME\na").fullRange);
}

TEST(Y4mReaderTest, ReadsTheColoursThatDecodeWrites) {
    const auto colorOf = [](std::string const& parameter) {
        const ColorFields color = pictureOf("YUV4MPEG2 W1 H1 Cmono " + parameter + "\nFRAME\na").color;
        return std::vector{color.color_primaries, color.transfer_characteristic, color.matrix_coefficients};
    };
    EXPECT_THAT(colorOf("XRAVELOCOLOR=9:16:9"), testing::ElementsAre(9, 16, 9));
    EXPECT_THAT(colorOf("XRAVELOCOLOR=12:256:"), testing::ElementsAre(12, 0, 0))
        << "what is no code point is not known";
    EXPECT_THAT(colorOf("XRAVELOCOLOR="), testing::ElementsAre(0, 0, 0));
    EXPECT_THAT(colorOf("XOTHER=1:2:3"), testing::ElementsAre(0, 0, 0));
}

TEST(Y4mReaderTest, ReadsPicturesOneAfterTheOther) {
    InputFile file("test", bytesOf("YUV4MPEG2 W1 H1 Cmono\nFRAME\naFRAME Ip\nb"));
    const std::unique_ptr<PictureReader> reader = makePictureReader(file);
    EXPECT_THAT(reader->next().value().planes[0], ElementsAre('a'));
    EXPECT_THAT(reader->next().value().planes[0], ElementsAre('b'));
    EXPECT_FALSE(reader->next().has_value());
}

TEST(Y4mReaderTest, EveryTruncationOfAPictureIsAnError) {
    const std::string header = "YUV4MPEG2 W2 H1 C422\n";
    const std::string picture = "FRAME\nabcd";
    ASSERT_EQ(y4mErrorOf(header + picture), "no error");
    for (std::size_t size = 1; size < picture.size(); ++size)
        EXPECT_NE(y4mErrorOf(header + picture.substr(0, size)), "no error") << size;
}

TEST(Y4mReaderTest, SizesThatAreNoneAreRefused) {
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 H1 Cmono\nFRAME\na"), HasSubstr("0 x 1"));
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 W-5 H1 Cmono\nFRAME\na"), HasSubstr("no pixels"));
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 W70000 H1 Cmono\nFRAME\na"), HasSubstr("65535"));
}

TEST(Y4mReaderTest, UnknownColoursAreNamedInTheError) {
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 W4 H1 C411\nFRAME\nabcdef"), HasSubstr("colour space 411"));
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 W4 H1 C422p17\nFRAME\nabcdef"), HasSubstr("colour space 422p17"));
}

TEST(Y4mReaderTest, EndlessHeadersAreRefused) {
    EXPECT_THAT(y4mErrorOf("YUV4MPEG2 " + std::string(1 << 20, 'x')), HasSubstr("too long"));
}
