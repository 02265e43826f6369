#include "SourceConversion.h"

#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using namespace std::string_literals;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

TEST(SourceConversionTest, WhiteAndBlackTakeTheirStudioCodes) {
    const SourcePicture source = sourcePictureOf(pictureOf("P6 2 1 255\n\xFF\xFF\xFF\0\0\0"s), {});
    EXPECT_EQ(source.bitDepth, 16u);
    EXPECT_THAT(source.y, ElementsAre(235 * 256, 16 * 256));
    EXPECT_THAT(source.cb, ElementsAre(128 * 256));
    EXPECT_THAT(source.cr, ElementsAre(128 * 256));
}

TEST(SourceConversionTest, PureRedReachesTheEndOfCr) {
    const SourcePicture source = sourcePictureOf(pictureOf("P6 1 1 255\n\xFF\0\0"s), {ChromaFormat::C444, 0, 1});
    EXPECT_THAT(source.cr, ElementsAre(240 * 256));
    // 0.2126 of the 219 steps above black.
    EXPECT_NEAR(source.y.at(0), (16 + 219 * 0.2126) * 256, 1);
}

TEST(SourceConversionTest, TheMatrixIsTheOneThatTheFrameNames) {
    const InputPicture red = pictureOf("P6 1 1 255\n\xFF\0\0"s);
    EXPECT_NEAR(sourcePictureOf(red, {ChromaFormat::C444, 0, 6}).y.at(0), (16 + 219 * 0.299) * 256, 1);
    EXPECT_NEAR(sourcePictureOf(red, {ChromaFormat::C444, 0, 9}).y.at(0), (16 + 219 * 0.2627) * 256, 1);
}

TEST(SourceConversionTest, GrayBecomesLumaWithoutChroma) {
    const SourcePicture source = sourcePictureOf(pictureOf("P5 3 1 255\n\xFF\xFF\xFF"), {});
    EXPECT_THAT(source.y, Each(235 * 256));
    EXPECT_THAT(source.cb, SizeIs(2));
    EXPECT_THAT(source.cr, Each(128 * 256));
}

TEST(SourceConversionTest, StudioComponentsKeepTheirCodes) {
    const SourcePicture source = sourcePictureOf(pictureOf("YUV4MPEG2 W2 H1 C422\nFRAME\nabcd"), {});
    EXPECT_EQ(source.bitDepth, 8u);
    EXPECT_THAT(source.y, ElementsAre('a', 'b'));
    EXPECT_THAT(source.cb, ElementsAre('c'));
    EXPECT_THAT(source.cr, ElementsAre('d'));
}

TEST(SourceConversionTest, FullRangeComponentsAreBroughtToStudioRange) {
    const SourcePicture source =
        sourcePictureOf(pictureOf("YUV4MPEG2 W2 H1 C422 XCOLORRANGE=FULL\nFRAME\n\0\xFF\x80\x80"s), {});
    EXPECT_THAT(source.y, ElementsAre(16 * 256, 235 * 256));
    EXPECT_THAT(source.cb, ElementsAre(128 * 256));
}

TEST(SourceConversionTest, ChromaIsLaidOutAsAsked) {
    const InputPicture full = pictureOf(smoothPpm(5, 4));
    EXPECT_THAT(sourcePictureOf(full, {ChromaFormat::C422, 0, 1}).cb, SizeIs(3 * 4));
    EXPECT_THAT(sourcePictureOf(full, {ChromaFormat::C444, 0, 1}).cb, SizeIs(5 * 4));
    const InputPicture quarter = pictureOf("YUV4MPEG2 W5 H3 C420\nFRAME\n" + std::string(15 + 6 + 6, 'x'));
    EXPECT_THAT(sourcePictureOf(quarter, {ChromaFormat::C422, 0, 1}).cb, SizeIs(3 * 3));
    EXPECT_THAT(sourcePictureOf(quarter, {ChromaFormat::C444, 0, 1}).cr, SizeIs(5 * 3));
}

TEST(SourceConversionTest, AlphaIsScaledToItsBits) {
    const InputPicture picture = pictureOf("P7\nWIDTH 3\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nENDHDR\nx\0x\x80x\xFF"s);
    EXPECT_THAT(sourcePictureOf(picture, {ChromaFormat::C444, 16, 1}).alpha, ElementsAre(0, 128 * 257, 65535));
    EXPECT_THAT(sourcePictureOf(picture, {ChromaFormat::C444, 8, 1}).alpha, ElementsAre(0, 128, 255));
}

TEST(SourceConversionTest, AskedForAlphaThatIsNotThereIsOpaque) {
    const SourcePicture source = sourcePictureOf(pictureOf(smoothPpm(2, 2)), {ChromaFormat::C444, 16, 1});
    EXPECT_EQ(source.alphaBits, 16u);
    EXPECT_THAT(source.alpha, ElementsAre(65535, 65535, 65535, 65535));
}
