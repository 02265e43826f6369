#include "FrameHeader.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "GuardedBytes.h"

namespace {

// The outer words and a header whose fields all differ, with both matrices.
std::vector<std::uint8_t> bytesOfEveryField() {
    std::vector<std::uint8_t> bytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, //
                                       0x00, 0x94, 0xFF, 0x11, 0x12, 0x13, 0x14, 0x15, //
                                       0x07, 0x80, 0x04, 0x39, 0xF4, 0x67, 0x09, 0x10, //
                                       0x06, 0xF2, 0xFF, 0x03};
    for (unsigned int i = 0; i < 128; ++i)
        bytes.push_back(static_cast<std::uint8_t>(100 + i));
    return bytes;
}

FrameHeader parsedHeader(std::vector<std::uint8_t> const& bytes) {
    const GuardedBytes held(bytes);
    return FrameHeader::frame_header(held.bits());
}

FrameHeader fieldHeader(std::uint32_t interlace_mode, std::uint32_t vertical_size) {
    FrameHeader header;
    header.interlace_mode = interlace_mode;
    header.vertical_size = vertical_size;
    return header;
}

constexpr TemporalOrder kFirstPicture = TemporalOrder::First;
constexpr TemporalOrder kSecondPicture = TemporalOrder::Second;

} // namespace

TEST(FrameHeaderTest, EveryFieldIsReadFromItsBits) {
    const FrameHeader header = parsedHeader(bytesOfEveryField());
    EXPECT_EQ(header.outer_word_0, 0x01020304u);
    EXPECT_EQ(header.outer_word_1, 0x05060708u);
    EXPECT_EQ(header.header_size, 0x94u);
    EXPECT_EQ(header.header_byte_3, 0x11u);
    EXPECT_EQ(header.header_word_4, 0x12131415u);
    EXPECT_EQ(header.horizontal_size, 1920u);
    EXPECT_EQ(header.vertical_size, 1081u);
    EXPECT_EQ(header.chroma_format, 3u);
    EXPECT_EQ(header.interlace_mode, 1u);
    EXPECT_EQ(header.header_nibble_13_high, 6u);
    EXPECT_EQ(header.header_nibble_13_low, 7u);
    EXPECT_EQ(header.color_primaries, 9u);
    EXPECT_EQ(header.transfer_characteristic, 16u);
    EXPECT_EQ(header.matrix_coefficients, 6u);
    EXPECT_EQ(header.alpha_channel_type, 2u);
    EXPECT_EQ(header.load_luma_matrix, 1u);
    EXPECT_EQ(header.load_chroma_matrix, 1u);
    EXPECT_EQ(header.firstPictureOffset(), 8u + 0x94u);
    EXPECT_EQ(header.widthInMb(), 120u);
    EXPECT_EQ(header.numPixels(), 1920u * 1081u);
    for (unsigned int i = 0; i < 64; ++i) {
        EXPECT_EQ(header.luma_quant[i], 100 + i);
        EXPECT_EQ(header.chroma_quant[i], 164 + i);
    }
}

TEST(FrameHeaderTest, AHeaderThatIsCutOffReadsZeros) {
    const std::vector<std::uint8_t> whole = bytesOfEveryField();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::vector<std::uint8_t> padded(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const FrameHeader cutOff = parsedHeader(padded);
        padded.resize(whole.size(), 0);
        const FrameHeader expected = parsedHeader(padded);
        EXPECT_EQ(cutOff.header_word_4, expected.header_word_4) << size;
        EXPECT_EQ(cutOff.horizontal_size, expected.horizontal_size) << size;
        EXPECT_EQ(cutOff.vertical_size, expected.vertical_size) << size;
        EXPECT_EQ(cutOff.alpha_channel_type, expected.alpha_channel_type) << size;
        EXPECT_TRUE(std::equal(std::begin(cutOff.luma_quant), std::end(cutOff.luma_quant), expected.luma_quant))
            << size;
        EXPECT_TRUE(std::equal(std::begin(cutOff.chroma_quant), std::end(cutOff.chroma_quant), expected.chroma_quant))
            << size;
    }
}

TEST(FrameHeaderTest, AMatrixThatIsMissingIsTheDefaultOrForChromaThatOfLuma) {
    std::vector<std::uint8_t> bytes = bytesOfEveryField();
    bytes[27] = 0;
    for (const std::uint8_t entry : parsedHeader(bytes).chroma_quant)
        EXPECT_EQ(entry, 4);
    bytes[27] = 2;
    for (unsigned int i = 0; i < 64; ++i)
        EXPECT_EQ(parsedHeader(bytes).chroma_quant[i], 100 + i);
    bytes[27] = 1;
    for (unsigned int i = 0; i < 64; ++i) {
        EXPECT_EQ(parsedHeader(bytes).luma_quant[i], 4);
        EXPECT_EQ(parsedHeader(bytes).chroma_quant[i], 100 + i);
    }
}

TEST(FrameHeaderTest, OnlyAlphaOf444ReachesTheOutput) {
    for (std::uint32_t chroma_format = 0; chroma_format < 4; ++chroma_format) {
        FrameHeader header;
        header.chroma_format = chroma_format;
        EXPECT_EQ(header.is444(), chroma_format == 3);
        EXPECT_EQ(header.samplesPerPixel(), chroma_format == 3 ? 4u : 2u);
        EXPECT_FALSE(header.hasAlphaOutput());
        header.alpha_channel_type = 1;
        EXPECT_EQ(header.hasAlphaOutput(), chroma_format == 3);
    }
}

TEST(FrameHeaderTest, TheEvenLinesOfAnOddHeightAreOneMore) {
    EXPECT_EQ(fieldHeader(0, 1081).linesOfPicture(kFirstPicture), 1081u);
    EXPECT_EQ(fieldHeader(1, 1081).linesOfPicture(kFirstPicture), 541u);
    EXPECT_EQ(fieldHeader(1, 1081).linesOfPicture(kSecondPicture), 540u);
    EXPECT_EQ(fieldHeader(2, 1081).linesOfPicture(kFirstPicture), 540u);
    EXPECT_EQ(fieldHeader(2, 1081).linesOfPicture(kSecondPicture), 541u);
    EXPECT_EQ(fieldHeader(3, 1081).linesOfPicture(kFirstPicture), 540u);
    EXPECT_EQ(fieldHeader(1, 1081).heightInMb(kFirstPicture), 34u);
}

TEST(FrameHeaderTest, TheFieldThatStartsOnTheSecondLineTakesTheOddLines) {
    EXPECT_EQ(fieldHeader(0, 16).firstLineOfPicture(kFirstPicture), 0u);
    EXPECT_EQ(fieldHeader(1, 16).firstLineOfPicture(kFirstPicture), 0u);
    EXPECT_EQ(fieldHeader(1, 16).firstLineOfPicture(kSecondPicture), 1u);
    EXPECT_EQ(fieldHeader(2, 16).firstLineOfPicture(kFirstPicture), 1u);
    EXPECT_EQ(fieldHeader(2, 16).firstLineOfPicture(kSecondPicture), 0u);
    EXPECT_EQ(fieldHeader(3, 16).firstLineOfPicture(kFirstPicture), 0u);
    for (std::uint32_t mode = 0; mode < 4; ++mode) {
        EXPECT_EQ(fieldHeader(mode, 16).lineStepOfPicture(), mode == 0 ? 1u : 2u);
        EXPECT_EQ(fieldHeader(mode, 16).hasSecondPicture(), mode == 1 || mode == 2);
    }
}
