#include "FrameAssembler.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

SliceFields plainSlice() {
    SliceFields slice;
    slice.y = {0xA1, 0xA2, 0xA3};
    slice.cb = {0xB1};
    slice.cr = {0xC1, 0xC2};
    return slice;
}

FrameFields plainFrame() {
    FrameFields frame;
    frame.horizontal_size = 0x0123;
    frame.vertical_size = 0x0456;
    frame.pictures.resize(1);
    frame.pictures[0].slices = {plainSlice(), plainSlice()};
    return frame;
}

std::uint32_t word(Bytes const& bytes, std::size_t offset, std::size_t numBytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < numBytes; ++i)
        value = value << 8 | bytes.at(offset + i);
    return value;
}

std::string refusalOf(FrameFields const& fields) {
    try {
        assembleFrame(fields);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(FrameAssemblerTest, EveryFieldOfTheFrameHeaderStandsInItsPlace) {
    FrameFields frame;
    frame.outer_word_0 = 0x01020304;
    frame.outer_word_1 = 0x05060708;
    frame.header_size = 0x090A;
    frame.header_byte_2 = 0x0B;
    frame.header_byte_3 = 0x0C;
    frame.header_word_4 = 0x0D0E0F10;
    frame.horizontal_size = 0x1112;
    frame.vertical_size = 0x1314;
    frame.chroma_format = 3;
    frame.byte_12_bits_5_4 = 1;
    frame.interlace_mode = 2;
    frame.byte_12_bits_1_0 = 3;
    frame.header_nibble_13_high = 4;
    frame.header_nibble_13_low = 5;
    frame.color_primaries = 0x16;
    frame.transfer_characteristic = 0x17;
    frame.matrix_coefficients = 0x18;
    frame.byte_17_bits_7_4 = 9;
    frame.alpha_channel_type = 2;
    frame.header_byte_18 = 0x19;
    frame.byte_19_bits_7_2 = 0x2A;
    frame.load_luma_matrix = true;
    frame.load_chroma_matrix = false;
    frame.headerTail = {0x77};
    const Bytes expected = {1,          2,    3,    4,    5,    6,    7,    8,    9,    0x0A,
                            0x0B,       0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11, 0x12, 0x13, 0x14,
                            0b11011011, 0x45, 0x16, 0x17, 0x18, 0x92, 0x19, 0xAA, 0x77};
    EXPECT_EQ(assembleFrame(frame), expected);
}

TEST(FrameAssemblerTest, EveryFieldOfThePictureHeaderStandsInItsPlace) {
    FrameFields frame;
    PictureFields picture;
    picture.picture_header_size = 0x15;
    picture.byte_0_bits_2_0 = 5;
    picture.picture_size = 0x01020304;
    picture.bytes_5_6 = 0x0506;
    picture.byte_7_bits_7_6 = 2;
    picture.log2_slice_size_in_mb = 1;
    picture.byte_7_bits_3_0 = 0x0C;
    picture.headerTail = {0x88, 0x99};
    picture.sliceTable = {{0x1234, 0x5678}};
    picture.tail = {0xEE};
    frame.pictures = {picture};
    const Bytes bytes = assembleFrame(frame);
    const Bytes expected = {0xAD, 1, 2, 3, 4, 5, 6, 0b10011100, 0x88, 0x99, 0x12, 0x34, 0x56, 0x78, 0xEE};
    EXPECT_EQ(Bytes(bytes.begin() + 28, bytes.end()), expected);
}

TEST(FrameAssemblerTest, EveryFieldOfTheSliceHeaderStandsInItsPlace) {
    FrameFields frame = plainFrame();
    frame.alpha_channel_type = 1;
    SliceFields slice = plainSlice();
    slice.slice_header_size = 0x1F;
    slice.byte_0_bits_2_0 = 2;
    slice.quantization_index = 0x33;
    slice.coded_size_y = 0x0102;
    slice.coded_size_cb = 0x0304;
    slice.coded_size_cr = 0x0506;
    slice.headerTail = {0x99};
    slice.alpha = {0xD1};
    slice.tail = {0xE1};
    frame.pictures[0].slices = {slice};
    const AssembledFrame assembled = assembleFrameWithOffsets(frame);
    const Bytes expected = {0xFA, 0x33, 1, 2, 3, 4, 5, 6, 0x99, 0xA1, 0xA2, 0xA3, 0xB1, 0xC1, 0xC2, 0xD1, 0xE1};
    const auto begin = assembled.bytes.begin() + static_cast<std::ptrdiff_t>(assembled.sliceOffsets.at(0));
    EXPECT_EQ(Bytes(begin, assembled.bytes.end()), expected);
}

TEST(FrameAssemblerTest, AbsentSizesAreTheTrueOnes) {
    FrameFields frame = plainFrame();
    frame.headerTail = {0, 0, 0};
    frame.pictures[0].headerTail = {0, 0};
    frame.pictures[0].slices[1].headerTail = {0};
    frame.pictures[0].slices[1].tail = {0, 0};
    frame.pictures[0].tail = {1, 2, 3, 4};
    frame.tail = {9};
    const AssembledFrame assembled = assembleFrameWithOffsets(frame);
    Bytes const& bytes = assembled.bytes;
    EXPECT_EQ(word(bytes, 0, 4), bytes.size());
    EXPECT_EQ(word(bytes, 8, 2), 23u);
    ASSERT_EQ(assembled.pictureOffsets, (std::vector<std::size_t>{8 + 23}));
    EXPECT_EQ(bytes[31] >> 3, 10);
    EXPECT_EQ(word(bytes, 32, 4), bytes.size() - 31 - 1);
    ASSERT_EQ(assembled.sliceTableOffsets, (std::vector<std::size_t>{41}));
    EXPECT_EQ(word(bytes, 41, 2), 12u);
    EXPECT_EQ(word(bytes, 43, 2), 15u);
    ASSERT_EQ(assembled.sliceOffsets, (std::vector<std::size_t>{45, 57}));
    EXPECT_EQ(bytes[45] >> 3, 6);
    EXPECT_EQ(bytes[57] >> 3, 7);
    EXPECT_EQ(word(bytes, 47, 2), 3u);
    EXPECT_EQ(word(bytes, 49, 2), 1u);
    EXPECT_EQ(bytes.size(), 57u + 15 + 4 + 1);
}

TEST(FrameAssemblerTest, TheSizeOfCrStandsInTheHeaderOnlyWithAlphaUnlessSaidOtherwise) {
    FrameFields frame = plainFrame();
    const std::size_t withoutAlpha = assembleFrame(frame).size();
    frame.alpha_channel_type = 2;
    EXPECT_EQ(assembleFrame(frame).size(), withoutAlpha + 2 * 2);
    frame.pictures[0].slices[0].has_coded_size_cr = false;
    EXPECT_EQ(assembleFrame(frame).size(), withoutAlpha + 2);
}

TEST(FrameAssemblerTest, MatrixFlagsFollowTheBytesUnlessSaidOtherwise) {
    FrameFields frame = plainFrame();
    EXPECT_EQ(assembleFrame(frame)[27], 0u);
    frame.chroma_matrix = Bytes(64, 7);
    EXPECT_EQ(assembleFrame(frame)[27], 1u);
    frame.luma_matrix = Bytes(10, 5);
    const Bytes bytes = assembleFrame(frame);
    EXPECT_EQ(bytes[27], 3u);
    EXPECT_EQ(word(bytes, 8, 2), 20u + 10 + 64);
    EXPECT_EQ(bytes[28], 5u);
    EXPECT_EQ(bytes[38], 7u);
    frame.load_luma_matrix = false;
    EXPECT_EQ(assembleFrame(frame)[27], 1u);
}

TEST(FrameAssemblerTest, AWrongSizeChangesNothingElse) {
    const FrameFields sound = plainFrame();
    FrameFields damaged = sound;
    damaged.pictures[0].slices[0].coded_size_of_slice = 0xFFFF;
    Bytes expected = assembleFrame(sound);
    const std::size_t entry = assembleFrameWithOffsets(sound).sliceTableOffsets[0];
    expected[entry] = 0xFF;
    expected[entry + 1] = 0xFF;
    EXPECT_EQ(assembleFrame(damaged), expected);
}

TEST(FrameAssemblerTest, RefusesValuesThatTheirFieldsCannotHold) {
    FrameFields frame = plainFrame();
    frame.interlace_mode = 4;
    EXPECT_EQ(refusalOf(frame), "interlace_mode is 4, more than its field of 2 bits can hold");
    frame = plainFrame();
    frame.horizontal_size = 65536;
    EXPECT_EQ(refusalOf(frame), "horizontal_size is 65536, more than its field of 16 bits can hold");
    frame = plainFrame();
    frame.pictures[0].slices[1].quantization_index = 256;
    EXPECT_EQ(refusalOf(frame), "quantization_index is 256, more than its field of 8 bits can hold");
}

TEST(FrameAssemblerTest, RefusesTrueSizesThatTheirFieldsCannotHold) {
    FrameFields frame = plainFrame();
    frame.pictures[0].slices[0].y.resize(65536);
    EXPECT_EQ(refusalOf(frame), "coded_size_of_slice is 65545, more than its field of 16 bits can hold");
    frame.pictures[0].slices[0].coded_size_of_slice = 0;
    EXPECT_EQ(refusalOf(frame), "coded_size_y is 65536, more than its field of 16 bits can hold");
    frame.pictures[0].slices[0].coded_size_y = 65535;
    EXPECT_EQ(refusalOf(frame), "");
}
