#include "PnmReader.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "PictureReader.h"
#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::string pnmErrorOf(std::string const& content) {
    try {
        pictureOf(content);
    } catch (CommandError const& error) {
        return error.what();
    }
    return "no error";
}

ExitCode exitCodeOf(std::string const& content) {
    try {
        pictureOf(content);
    } catch (CommandError const& error) {
        return error.exitCode();
    }
    return ExitCode::Done;
}

} // namespace

TEST(PnmReaderTest, ReadsGray) {
    const InputPicture picture = pictureOf("P5 2 1 255\n\x01\xFF");
    EXPECT_EQ(picture.model, ColorModel::Gray);
    EXPECT_THAT(picture.planes[0], ElementsAre(1, 255));
}

TEST(PnmReaderTest, ReadsRgbPlaneByPlane) {
    const InputPicture picture = pictureOf("P6\n2 1\n255\nabcdef");
    EXPECT_EQ(picture.model, ColorModel::Rgb);
    EXPECT_THAT(picture.planes[0], ElementsAre('a', 'd'));
    EXPECT_THAT(picture.planes[1], ElementsAre('b', 'e'));
    EXPECT_THAT(picture.planes[2], ElementsAre('c', 'f'));
    EXPECT_FALSE(picture.hasAlpha());
}

TEST(PnmReaderTest, ReadsCommentsBetweenTheNumbers) {
    const InputPicture picture = pictureOf("P5\n# a comment with 12 34\n 1 # another\n1\n255\nx");
    EXPECT_THAT(picture.planes[0], ElementsAre('x'));
}

TEST(PnmReaderTest, ReadsTwoBytesWithTheHighOneFirst) {
    const InputPicture picture = pictureOf("P5 1 1 1000\n\x01\x02");
    EXPECT_EQ(picture.maxValue, 1000u);
    EXPECT_THAT(picture.planes[0], ElementsAre(0x0102));
}

TEST(PnmReaderTest, SamplesAboveTheLargestValueAreCutToIt) {
    EXPECT_THAT(pictureOf("P5 1 1 100\n\xC8").planes[0], ElementsAre(100));
}

TEST(PnmReaderTest, ReadsPamWithAlpha) {
    const InputPicture picture =
        pictureOf("P7\nWIDTH 1\nHEIGHT 2\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nabcdefgh");
    EXPECT_THAT(picture.planes[2], ElementsAre('c', 'g'));
    EXPECT_THAT(picture.alpha, ElementsAre('d', 'h'));
    EXPECT_EQ(picture.alphaMaxValue, 255u);
}

TEST(PnmReaderTest, ReadsPamOfGrayWithAlpha) {
    const InputPicture picture = pictureOf("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nENDHDR\nab");
    EXPECT_EQ(picture.model, ColorModel::Gray);
    EXPECT_THAT(picture.alpha, ElementsAre('b'));
}

TEST(PnmReaderTest, ReadsSeveralPicturesOfOneFile) {
    InputFile file("test", bytesOf("P5 1 1 255\naP5 1 1 255\nb"));
    const std::unique_ptr<PictureReader> reader = makePictureReader(file);
    EXPECT_THAT(reader->next().value().planes[0], ElementsAre('a'));
    EXPECT_THAT(reader->next().value().planes[0], ElementsAre('b'));
    EXPECT_FALSE(reader->next().has_value());
}

TEST(PnmReaderTest, EveryTruncationIsAnError) {
    const std::string whole = "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nENDHDR\nabcdef";
    ASSERT_EQ(pnmErrorOf(whole), "no error");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(pnmErrorOf(whole.substr(0, size)), "no error") << size;
}

TEST(PnmReaderTest, HugeSizesAreRefusedBeforeMemoryIsReserved) {
    EXPECT_EQ(exitCodeOf("P6 65535 65535 255\n"), ExitCode::Limit);
    EXPECT_EQ(exitCodeOf("P6 65536 1 255\n"), ExitCode::Limit);
    EXPECT_EQ(exitCodeOf("P6 99999999999999999999999999 1 255\n"), ExitCode::Limit);
}

TEST(PnmReaderTest, ALargePictureThatIsNotThereCostsNoMemory) {
    // 2^28 pixels would take gigabytes; the error comes with the first line that is missing.
    EXPECT_THAT(pnmErrorOf("P6 16384 16384 65535\nabc"), HasSubstr("it ends in line 0 of 16384"));
}

TEST(PnmReaderTest, EmptyPicturesAreRefused) {
    EXPECT_THAT(pnmErrorOf("P6 0 1 255\n"), HasSubstr("0 x 1"));
}

TEST(PnmReaderTest, LargestValuesOutsideTheFormatAreRefused) {
    EXPECT_THAT(pnmErrorOf("P5 1 1 0\nx"), HasSubstr("maximum value is 0"));
    EXPECT_THAT(pnmErrorOf("P5 1 1 65536\nxx"), HasSubstr("maximum value is 65536"));
}

TEST(PnmReaderTest, TextInsteadOfNumbersIsRefused) {
    EXPECT_THAT(pnmErrorOf("P6 one 1 255\n"), HasSubstr("not a number"));
}

TEST(PnmReaderTest, PamWithManySamplesAPixelIsRefused) {
    EXPECT_THAT(pnmErrorOf("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\nabcde"), HasSubstr("5 samples"));
}

TEST(PnmReaderTest, EndlessHeaderLinesAreRefused) {
    EXPECT_THAT(pnmErrorOf("P7\n" + std::string(1 << 20, 'x')), HasSubstr("too long"));
}
