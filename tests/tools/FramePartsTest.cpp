#include "FrameParts.h"

#include <numeric>

#include <gmock/gmock.h>

#include "CommandError.h"
#include "InputFile.h"
#include "ToolsTestSupport.h"

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// A frame without any picture data: the outer words, a header of 20 bytes and the bytes that follow it.
std::vector<std::uint8_t> headerOnly(std::uint16_t width, std::uint16_t height, std::uint8_t byte12,
                                     std::vector<std::uint8_t> const& rest = {}) {
    std::vector<std::uint8_t> frame(28);
    frame[9] = 20;
    frame[16] = static_cast<std::uint8_t>(width >> 8);
    frame[17] = static_cast<std::uint8_t>(width);
    frame[18] = static_cast<std::uint8_t>(height >> 8);
    frame[19] = static_cast<std::uint8_t>(height);
    frame[20] = byte12;
    for (const std::uint8_t byte : rest)
        frame.push_back(byte);
    return frame;
}

constexpr std::uint8_t kInterlaceShift = 2;

std::vector<std::uint32_t> linesOfPictures(std::uint16_t height, std::uint8_t interlace_mode) {
    const std::vector<std::uint8_t> frame =
        headerOnly(16, height, static_cast<std::uint8_t>(0x80 | (interlace_mode << kInterlaceShift)));
    std::vector<std::uint32_t> lines;
    for (CodedPicture const& picture : parsePictureHeaders(frame, parseFrameHeader(frame)))
        lines.push_back(picture.vertical_size);
    return lines;
}

} // namespace

TEST(FrameHeaderTest, FieldsComeFromTheirPlaces) {
    std::vector<std::uint8_t> frame(28);
    std::iota(frame.begin(), frame.end(), std::uint8_t{0xA0});
    const FrameHeader header = parseFrameHeader(frame);
    EXPECT_EQ(header.outer_word_0, 0xA0A1A2A3u);
    EXPECT_EQ(header.outer_word_1, 0xA4A5A6A7u);
    EXPECT_EQ(header.header_size, 0xA8A9u);
    EXPECT_EQ(header.header_byte_3, 0xABu);
    EXPECT_EQ(header.header_word_4, 0xACADAEAFu);
    EXPECT_EQ(header.horizontal_size, 0xB0B1u);
    EXPECT_EQ(header.vertical_size, 0xB2B3u);
    EXPECT_EQ(header.chroma_format, 2u); // 0xB4 is 10 11 01 00
    EXPECT_EQ(header.interlace_mode, 1u);
    EXPECT_EQ(header.header_nibble_13_high, 0xBu);
    EXPECT_EQ(header.header_nibble_13_low, 0x5u);
    EXPECT_EQ(header.color_primaries, 0xB6u);
    EXPECT_EQ(header.transfer_characteristic, 0xB7u);
    EXPECT_EQ(header.matrix_coefficients, 0xB8u);
    EXPECT_EQ(header.alpha_channel_type, 0x9u);
    EXPECT_EQ(header.load_luma_matrix, 1u); // 0xBB ends in 11
    EXPECT_EQ(header.load_chroma_matrix, 1u);
}

TEST(FrameHeaderTest, ChromaTakesOverALumaMatrix) {
    std::vector<std::uint8_t> frame = headerOnly(16, 16, 0x80, std::vector<std::uint8_t>(64, 9));
    EXPECT_THAT(parseFrameHeader(frame).luma_quant, Each(4));
    EXPECT_THAT(parseFrameHeader(frame).chroma_quant, Each(4));
    frame[27] = 2;
    EXPECT_THAT(parseFrameHeader(frame).luma_quant, Each(9));
    EXPECT_THAT(parseFrameHeader(frame).chroma_quant, Each(9));
    frame[27] = 1;
    EXPECT_THAT(parseFrameHeader(frame).luma_quant, Each(4));
    EXPECT_THAT(parseFrameHeader(frame).chroma_quant, Each(9));
}

TEST(FrameHeaderTest, LinesOfOddHeightsBelongToTheEvenField) {
    EXPECT_THAT(linesOfPictures(1081, 0), ElementsAre(1081));
    EXPECT_THAT(linesOfPictures(1081, 1), ElementsAre(541, 540));
    EXPECT_THAT(linesOfPictures(1081, 2), ElementsAre(540, 541));
    EXPECT_THAT(linesOfPictures(1081, 3), ElementsAre(540));
}

TEST(FrameHeaderTest, RowsAreCutIntoPowersOfTwo) {
    // 45 macroblocks and slices of up to 8.
    const std::vector<std::uint8_t> frame = headerOnly(720, 16, 0x80, {8 << 3, 0, 0, 0, 0, 0, 0, 3 << 4});
    const CodedPicture picture = parsePictureHeaders(frame, parseFrameHeader(frame)).at(0);
    EXPECT_THAT(picture.slice_size_in_mb, ElementsAre(8, 8, 8, 8, 8, 4, 1));
    EXPECT_EQ(picture.numSlices(), 7u);
}

TEST(FrameHeaderTest, EntriesOfTheTableThatAreMissingAreZero) {
    // The table has room for three and a half of seven entries.
    std::vector<std::uint8_t> frame = headerOnly(720, 16, 0x80, {8 << 3, 0, 0, 0, 0, 0, 0, 3 << 4});
    frame.insert(frame.end(), {0, 5, 0, 6, 1, 0, 7});
    const CodedPicture picture = parsePictureHeaders(frame, parseFrameHeader(frame)).at(0);
    EXPECT_THAT(parseSliceTable(frame, picture), ElementsAre(5, 6, 256, 0x700, 0, 0, 0));
    EXPECT_EQ(declaredSliceBytes(frame, picture), 5u + 6u + 256u + 0x700u);
}

TEST(FrameHeaderTest, MissingBytesCountAsZero) {
    for (std::size_t size = 0; size < 28; ++size) {
        const std::vector<std::uint8_t> frame(size, 0xFF);
        const FrameHeader header = parseFrameHeader(frame);
        EXPECT_LE(parsePictureHeaders(frame, header).size(), 2u);
    }
}

TEST(FrameHeaderTest, CheckRefusesWhatCannotBeAFrame) {
    EXPECT_THROW(checkFrame("f", std::vector<std::uint8_t>(27), 0), CommandError);
    EXPECT_THROW(checkFrame("f", headerOnly(0, 16, 0x80), 0), CommandError);
    EXPECT_THROW(checkFrame("f", headerOnly(16, 0, 0x80), 0), CommandError);
    std::vector<std::uint8_t> shorterThanItsHeader = headerOnly(16, 16, 0x80);
    shorterThanItsHeader[9] = 21;
    EXPECT_THROW(checkFrame("f", shorterThanItsHeader, 0), CommandError);
    EXPECT_NO_THROW(checkFrame("f", headerOnly(16, 16, 0x80), 0));
}

TEST(FrameHeaderTest, CheckKeepsTheLimitOfPixels) {
    EXPECT_NO_THROW(checkFrame("f", headerOnly(100, 100, 0x80), 10000));
    EXPECT_NO_THROW(checkFrame("f", headerOnly(65535, 65535, 0x80), 0));
    try {
        checkFrame("f", headerOnly(100, 101, 0x80), 10000);
        FAIL();
    } catch (CommandError const& error) {
        EXPECT_EQ(error.exitCode(), ExitCode::Limit);
        EXPECT_THAT(error.what(), HasSubstr("100 x 101"));
    }
}

namespace {

// A picture of two slices in a row, of 1 macroblock each. The bytes of the first slice are given and have the size of
// the table; the second has no bytes.
std::vector<CodedSlice> slicesOf(std::vector<std::uint8_t> const& firstSlice, std::uint8_t alpha_channel_type = 0) {
    std::vector<std::uint8_t> rest = {8 << 3, 0, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(firstSlice.size()),
                                      0,      0};
    rest.insert(rest.end(), firstSlice.begin(), firstSlice.end());
    std::vector<std::uint8_t> frame = headerOnly(32, 16, 0xC0, rest);
    frame[8 + 17] = alpha_channel_type;
    const FrameHeader header = parseFrameHeader(frame);
    return parseSliceHeaders(frame, header, parsePictureHeaders(frame, header).at(0));
}

} // namespace

TEST(FrameHeaderTest, SlicesFollowEachOtherAfterTheTable) {
    const std::vector<CodedSlice> slices = slicesOf({6 << 3, 17, 0, 2, 0, 1, 9, 9, 9, 9, 9});
    ASSERT_EQ(slices.size(), 2u);
    EXPECT_EQ(slices[0].offset, 28u + 8 + 4);
    EXPECT_EQ(slices[1].offset, 28u + 8 + 4 + 11);
    EXPECT_EQ(slices[0].quantization_index, 17u);
    EXPECT_EQ(slices[0].slice_header_size, 6u);
    EXPECT_EQ(slices[1].row, 0u);
    EXPECT_EQ(slices[1].column, 1u);
    EXPECT_EQ(slices[1].firstMb, 1u);
    EXPECT_EQ(slices[1].numMbs, 1u);
    EXPECT_EQ(slices[1].coded_size, 0u);
}

TEST(FrameHeaderTest, CrTakesWhatIsLeftOfASliceWithoutAlpha) {
    EXPECT_EQ(slicesOf({6 << 3, 17, 0, 2, 0, 1, 9, 9, 9, 9, 9})[0].coded_size_cr, 2u);
    EXPECT_EQ(slicesOf({6 << 3, 17, 0, 2, 0, 9, 9, 9, 9, 9, 9})[0].coded_size_cr, 0u) << "Y and Cb take more than all";
}

TEST(FrameHeaderTest, AlphaTakesWhatIsLeftOfASliceWithAlpha) {
    const CodedSlice slice = slicesOf({8 << 3, 17, 0, 2, 0, 1, 0, 3, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}, 1)[0];
    EXPECT_EQ(slice.coded_size_cr, 3u);
    EXPECT_EQ(slice.alphaBytes, 4u);
    EXPECT_EQ(slicesOf({8 << 3, 17, 0, 2, 0, 1, 1, 0, 9, 9, 9}, 1)[0].alphaBytes, 0u);
}
