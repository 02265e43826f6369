#include <array>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "Frame.h"
#include "Random.h"

// The outer words and the frame header.

namespace {

// A Frame decodes as it is built; the fields that it leaves are what these tests look at.
std::unique_ptr<Frame> parsed(std::vector<std::uint8_t> const& bytes) {
    const GuardedBytes input(bytes);
    std::vector<std::uint8_t> output(1 << 16);
    Bitstream bits;
    bits.data = input.data();
    bits.size = bytes.size();
    return std::make_unique<Frame>(bits, ColorCoding_YCbCr, 8, output.data(), 4096, OptimizationTarget::Baseline, 0);
}

std::array<std::uint8_t, 64> rampFrom(int first) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::size_t i = 0; i < 64; ++i)
        matrix[i] = static_cast<std::uint8_t>(first + static_cast<int>(i));
    return matrix;
}

void expectTables(Frame const& frame, std::array<std::uint8_t, 64> const& luma,
                  std::array<std::uint8_t, 64> const& chroma) {
    for (std::size_t i = 0; i < 64; ++i) {
        EXPECT_EQ(frame.luma_quant[i], luma[i]) << i;
        EXPECT_EQ(frame.chroma_quant[i], chroma[i]) << i;
        EXPECT_EQ(frame.luma_quant_scaled[i], static_cast<float>(luma[i]) * 0.125f) << i;
        EXPECT_EQ(frame.chroma_quant_scaled[i], static_cast<float>(chroma[i]) * 0.125f) << i;
    }
}

constexpr std::array<std::uint8_t, 64> filled(std::uint8_t value) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::uint8_t& entry : matrix)
        entry = value;
    return matrix;
}

} // namespace

TEST(FrameHeaderTest, EveryFieldIsReadFromItsPlace) {
    std::vector<std::uint8_t> bytes = {0x01, 0x02, 0x03, 0x04, 0xFA, 0xFB, 0xFC, 0xFD};
    const std::vector<std::uint8_t> header = {0x00, 0x1D, 0xEE, 0x5A, 0x10, 0x20, 0x30, 0x40, 0x00, 0x21,
                                              0x00, 0x13, 0xB4, 0xC7, 0x09, 0x10, 0x06, 0xF2, 0xEE, 0xFC};
    bytes.insert(bytes.end(), header.begin(), header.end());
    bytes.resize(8 + 0x1D + 64);
    const std::unique_ptr<Frame> frame = parsed(bytes);
    EXPECT_EQ(frame->outer_word_0, 0x01020304u);
    EXPECT_EQ(frame->outer_word_1, 0xFAFBFCFDu);
    EXPECT_EQ(frame->header_size, 0x1Du);
    EXPECT_EQ(frame->header_byte_3, 0x5Au);
    EXPECT_EQ(frame->header_word_4, 0x10203040u);
    EXPECT_EQ(frame->horizontal_size, 33u);
    EXPECT_EQ(frame->vertical_size, 19u);
    EXPECT_EQ(frame->chroma_format, 2u);
    EXPECT_EQ(frame->interlace_mode, 1u);
    EXPECT_EQ(frame->header_nibble_13_high, 0xCu);
    EXPECT_EQ(frame->header_nibble_13_low, 7u);
    EXPECT_EQ(frame->color_primaries, 9u);
    EXPECT_EQ(frame->transfer_characteristic, 0x10u);
    EXPECT_EQ(frame->matrix_coefficients, 6u);
    EXPECT_EQ(frame->alpha_channel_type, 2u);
    EXPECT_EQ(frame->load_luma_matrix, 0u);
    EXPECT_EQ(frame->load_chroma_matrix, 0u);
}

TEST(FrameHeaderTest, WithoutMatricesBothTablesAre4) {
    expectTables(*parsed(flatFrame(FrameSpec(), 0, 0, 0).bytes), filled(4), filled(4));
}

TEST(FrameHeaderTest, ALumaMatrixAloneServesChromaToo) {
    FrameSpec spec;
    spec.lumaMatrix = rampFrom(7);
    expectTables(*parsed(flatFrame(spec, 0, 0, 0).bytes), rampFrom(7), rampFrom(7));
}

TEST(FrameHeaderTest, AChromaMatrixAloneLeavesLumaAt4) {
    FrameSpec spec;
    spec.chromaMatrix = rampFrom(100);
    expectTables(*parsed(flatFrame(spec, 0, 0, 0).bytes), filled(4), rampFrom(100));
}

TEST(FrameHeaderTest, WithBothMatricesLumaComesFirst) {
    FrameSpec spec;
    spec.lumaMatrix = rampFrom(3);
    spec.chromaMatrix = rampFrom(150);
    expectTables(*parsed(flatFrame(spec, 0, 0, 0).bytes), rampFrom(3), rampFrom(150));
}

TEST(FrameHeaderTest, AMatrixEntryOf0IsAccepted) {
    FrameSpec spec;
    spec.lumaMatrix = filled(0);
    const MadeFrame made = flatFrame(spec, 200, 100, 50);
    expectTables(*parsed(made.bytes), filled(0), filled(0));
    const DecodeRequest request = requestFor(made.bytes);
    EXPECT_EQ(sampleAt(decoded(made.bytes, request), request, 0, 1), 128);
}

TEST(FrameHeaderTest, ATruncatedMatrixIsCompletedWithZeros) {
    FrameSpec spec;
    spec.lumaMatrix = rampFrom(1);
    spec.chromaMatrix = rampFrom(1);
    std::vector<std::uint8_t> bytes = flatFrame(spec, 0, 0, 0).bytes;
    bytes.resize(28 + 10);
    std::array<std::uint8_t, 64> luma{};
    for (std::uint8_t i = 0; i < 10; ++i)
        luma[i] = static_cast<std::uint8_t>(1 + i);
    expectTables(*parsed(bytes), luma, filled(0));
}

TEST(FrameHeaderTest, AMatrixCutInItsSecondHalfKeepsTheFirst) {
    FrameSpec spec;
    spec.lumaMatrix = rampFrom(1);
    spec.chromaMatrix = rampFrom(80);
    std::vector<std::uint8_t> bytes = flatFrame(spec, 0, 0, 0).bytes;
    bytes.resize(28 + 64 + 5);
    std::array<std::uint8_t, 64> chroma{};
    for (std::uint8_t i = 0; i < 5; ++i)
        chroma[i] = static_cast<std::uint8_t>(80 + i);
    expectTables(*parsed(bytes), rampFrom(1), chroma);
}

TEST(FrameHeaderTest, IgnoredBitsAndBytesMayHoldAnything) {
    Random random = seeded(4101);
    for (int i = 0; i < 20; ++i) {
        FrameSpec spec = randomSpec(random);
        spec.matrix_coefficients = 1;
        spec.junk = 0;
        const std::uint32_t contentSeed = static_cast<std::uint32_t>(random());
        std::vector<std::uint8_t> expected;
        for (const std::uint8_t junk : {0x00, 0xFF, 0xA5, 0x5A}) {
            spec.junk = junk;
            Random content(contentSeed);
            const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, content));
            const std::vector<std::uint8_t> output = decoded(made.bytes, requestFor(made.bytes)).bytes();
            if (junk == 0)
                expected = output;
            EXPECT_EQ(output, expected) << spec.describe();
        }
    }
}

TEST(FrameHeaderTest, HeadersOfEveryLengthAreSkipped) {
    FrameSpec spec;
    spec.chroma_format = 3;
    std::vector<std::uint8_t> expected;
    for (std::uint32_t extra = 0; extra < 300; extra += 1 + extra / 20) {
        spec.extraHeaderBytes = extra;
        const MadeFrame made = flatFrame(spec, 12, 34, 56);
        const std::vector<std::uint8_t> output = decoded(made.bytes, requestFor(made.bytes)).bytes();
        if (extra == 0)
            expected = output;
        EXPECT_EQ(output, expected) << extra;
    }
}

TEST(FrameHeaderTest, AHeaderSizeOf0TakesThePictureHeaderFromTheFrameHeader) {
    // The picture header then starts with the bytes of header_size, so its own size is 0 and the slice table begins on
    // top of it too, with entries of 0: the slice finds the same bytes as its header, and no data.
    std::vector<std::uint8_t> bytes = flatFrame(FrameSpec(), 12, 34, 56).bytes;
    bytes[8] = 0;
    bytes[9] = 0;
    for (const OptimizationTarget target : runnableTargets())
        EXPECT_TRUE(decodesLikeModel(bytes, requestFor(bytes, 0, 8, 0, target)));
}

TEST(FrameHeaderTest, AHeaderSizeBelowItsFieldsStillReadsAllOfThem) {
    Random random = seeded(4102);
    for (std::uint32_t header_size = 0; header_size < 148; ++header_size) {
        FrameSpec spec = randomSpec(random);
        spec.lumaMatrix = rampFrom(2);
        spec.chromaMatrix = rampFrom(9);
        std::vector<std::uint8_t> bytes = randomFrame(spec, random).bytes;
        bytes[8] = 0;
        bytes[9] = static_cast<std::uint8_t>(header_size);
        for (const OptimizationTarget target : runnableTargets())
            EXPECT_TRUE(decodesLikeModel(bytes, requestFor(bytes, 0, 8, 0, target))) << header_size;
    }
}

TEST(FrameHeaderTest, AHeaderSizeBeyondTheDataLeavesNothingToDecode) {
    std::vector<std::uint8_t> bytes = flatFrame(FrameSpec(), 12, 34, 56).bytes;
    bytes[8] = 0xFF;
    bytes[9] = 0xFF;
    for (const OptimizationTarget target : runnableTargets())
        EXPECT_TRUE(isUntouched(decoded(bytes, requestFor(bytes, 0, 8, 0, target))));
}
