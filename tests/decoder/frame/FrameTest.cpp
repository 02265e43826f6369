#include "Frame.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "FrameMaker.h"
#include "GuardedBytes.h"

namespace {

// A frame of headers only: slices without data write nothing, so no output buffer is needed.
struct HeaderBytes {
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(28, 0);

    std::uint8_t& at(std::size_t headerOffset) { return bytes[8 + headerOffset]; }
    HeaderBytes& set16(std::size_t headerOffset, std::uint32_t value) {
        at(headerOffset) = static_cast<std::uint8_t>(value >> 8);
        at(headerOffset + 1) = static_cast<std::uint8_t>(value & 0xFF);
        return *this;
    }
    HeaderBytes& size(std::uint32_t width, std::uint32_t height) { return set16(8, width).set16(10, height); }
    HeaderBytes& format(std::uint32_t chroma_format, std::uint32_t interlace_mode = 0) {
        at(12) = static_cast<std::uint8_t>(chroma_format << 6 | interlace_mode << 2);
        return *this;
    }
    HeaderBytes& matrices(std::uint32_t flags, std::vector<std::uint8_t> const& entries) {
        at(19) = static_cast<std::uint8_t>(flags);
        for (const std::uint8_t byte : entries)
            bytes.push_back(byte);
        return *this;
    }
};

template <class On>
class FrameTest : public TargetTest<On> {
protected:
    static constexpr std::int64_t kStride = 65536;

    Frame decoded(std::vector<std::uint8_t> const& bytes, std::uint32_t colorCoding = 0, std::uint32_t bitDepth = 8,
                  std::int64_t stride = kStride, std::uint32_t downSampleFactor = 0) {
        return Frame(m_held.hold(bytes), static_cast<ColorCoding>(colorCoding), bitDepth, m_pixels.data(), stride,
                     On::target, downSampleFactor);
    }
    Frame decoded(HeaderBytes const& header) { return decoded(header.bytes); }

    std::string failureOf(std::vector<std::uint8_t> const& bytes, std::uint32_t colorCoding, std::uint32_t bitDepth,
                          std::int64_t stride, std::uint32_t downSampleFactor = 0) {
        try {
            decoded(bytes, colorCoding, bitDepth, stride, downSampleFactor);
        } catch (std::runtime_error const& error) {
            return error.what();
        }
        return "";
    }

    GuardedBytes m_held;
    std::array<std::uint8_t, 64> m_pixels{};
};

TYPED_TEST_SUITE(FrameTest, BothTargets, TargetNames);

std::vector<std::uint8_t> countingFrom(std::uint8_t first, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(first + i);
    return bytes;
}

void expectTable(const std::uint8_t* quant, const float* scaled, std::vector<std::uint8_t> const& expected) {
    for (std::size_t i = 0; i < 64; ++i) {
        EXPECT_EQ(quant[i], expected[i]) << i;
        EXPECT_EQ(scaled[i], static_cast<float>(expected[i]) / 8) << i;
    }
}

const char* const kStrideMessage = "Ravelo decoder: insufficient line stride given.";
const char* const kRgbMessage = "RGB output for 4:2:2 frames is not supported by Ravelo decoder.";

} // namespace

// --- header ----------------------------------------------------------------------------------------------------------

TYPED_TEST(FrameTest, EveryHeaderFieldStandsAtItsPlace) {
    HeaderBytes header;
    header.bytes = {
        0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x23, 0x45, 0x67, // outer words
        0x01, 0x02, 0xFF, 0x33, 0x89, 0xAB, 0xCD, 0xEF, // header size, a byte that is not read, byte 3, word 4
        0x00, 0x30, 0x00, 0x25, 0xFB, 0xA7, 0x11, 0x22, // sizes, format, nibbles, primaries, transfer
        0x44, 0xF5, 0xFF, 0xFC};
    const Frame frame = this->decoded(header);
    EXPECT_EQ(frame.outer_word_0, 0xDEADBEEFu);
    EXPECT_EQ(frame.outer_word_1, 0x01234567u);
    EXPECT_EQ(frame.header_size, 0x0102u);
    EXPECT_EQ(frame.header_byte_3, 0x33u);
    EXPECT_EQ(frame.header_word_4, 0x89ABCDEFu);
    EXPECT_EQ(frame.horizontal_size, 0x30u);
    EXPECT_EQ(frame.vertical_size, 0x25u);
    EXPECT_EQ(frame.chroma_format, 3u);
    EXPECT_EQ(frame.interlace_mode, 2u);
    EXPECT_EQ(frame.header_nibble_13_high, 0xAu);
    EXPECT_EQ(frame.header_nibble_13_low, 7u);
    EXPECT_EQ(frame.color_primaries, 0x11u);
    EXPECT_EQ(frame.transfer_characteristic, 0x22u);
    EXPECT_EQ(frame.matrix_coefficients, 0x44u);
    EXPECT_EQ(frame.alpha_channel_type, 5u);
    EXPECT_EQ(frame.load_luma_matrix, 0u);
    EXPECT_EQ(frame.load_chroma_matrix, 0u);
}

TYPED_TEST(FrameTest, IgnoredBitsMayHoldAnything) {
    const HeaderBytes plain = HeaderBytes().size(40, 20).format(3, 1);
    const Frame expected = this->decoded(plain);
    HeaderBytes noisy = plain;
    noisy.at(12) |= 0x33;
    noisy.at(17) |= 0xF0;
    noisy.at(18) = 0xFF;
    noisy.at(19) |= 0xFC;
    noisy.at(2) = 0xFF;
    const Frame frame = this->decoded(noisy);
    EXPECT_EQ(frame.chroma_format, expected.chroma_format);
    EXPECT_EQ(frame.interlace_mode, expected.interlace_mode);
    EXPECT_EQ(frame.alpha_channel_type, expected.alpha_channel_type);
    EXPECT_EQ(frame.load_luma_matrix, 0u);
    EXPECT_EQ(frame.load_chroma_matrix, 0u);
    EXPECT_EQ(frame.header_size, expected.header_size);
}

TYPED_TEST(FrameTest, AFrameOfAnyLengthReadsZerosAfterItsEnd) {
    const std::vector<std::uint8_t> all(28 + 128, 0xFF);
    for (std::size_t size = 0; size <= 60; ++size) {
        const Frame frame = this->decoded(std::vector<std::uint8_t>(size, 0), 0, 8);
        EXPECT_EQ(frame.horizontal_size, 0u);
        EXPECT_EQ(frame.header_size, 0u);
    }
    // Cut inside a field: the bytes that are there count.
    const Frame cut = this->decoded(std::vector<std::uint8_t>(all.begin(), all.begin() + 9), 0, 8);
    EXPECT_EQ(cut.header_size, 0xFF00u);
    EXPECT_EQ(cut.horizontal_size, 0u);
}

TYPED_TEST(FrameTest, TheDefaultMatrixIs64TimesFour) {
    for (const std::uint8_t entry : Frame::s_defaultQuantizationMatrix)
        EXPECT_EQ(entry, 4);
}

TYPED_TEST(FrameTest, WithoutMatricesBothTablesAreFourAndAHalf) {
    const Frame frame = this->decoded(HeaderBytes());
    expectTable(frame.luma_quant, frame.luma_quant_scaled, std::vector<std::uint8_t>(64, 4));
    expectTable(frame.chroma_quant, frame.chroma_quant_scaled, std::vector<std::uint8_t>(64, 4));
    EXPECT_EQ(frame.luma_quant_scaled[63], 0.5f);
}

TYPED_TEST(FrameTest, ALumaMatrixAloneServesChromaToo) {
    const std::vector<std::uint8_t> luma = countingFrom(200, 64); // wraps to 0 at index 56
    const Frame frame = this->decoded(HeaderBytes().matrices(2, luma));
    expectTable(frame.luma_quant, frame.luma_quant_scaled, luma);
    expectTable(frame.chroma_quant, frame.chroma_quant_scaled, luma);
    EXPECT_TRUE(std::equal(luma.begin(), luma.end(), frame.raw_luma_matrix));
    EXPECT_EQ(frame.luma_quant_scaled[56], 0.0f);
}

TYPED_TEST(FrameTest, AChromaMatrixAloneLeavesLumaAtTheDefault) {
    const std::vector<std::uint8_t> chroma = countingFrom(10, 64);
    const Frame frame = this->decoded(HeaderBytes().matrices(1, chroma));
    expectTable(frame.luma_quant, frame.luma_quant_scaled, std::vector<std::uint8_t>(64, 4));
    expectTable(frame.chroma_quant, frame.chroma_quant_scaled, chroma);
    EXPECT_TRUE(std::equal(chroma.begin(), chroma.end(), frame.raw_chroma_matrix));
}

TYPED_TEST(FrameTest, OfTwoMatricesLumaStandsFirst) {
    const std::vector<std::uint8_t> both = countingFrom(1, 128);
    const Frame frame = this->decoded(HeaderBytes().matrices(3, both));
    expectTable(frame.luma_quant, frame.luma_quant_scaled, countingFrom(1, 64));
    expectTable(frame.chroma_quant, frame.chroma_quant_scaled, countingFrom(65, 64));
}

TYPED_TEST(FrameTest, ATruncatedMatrixIsCompletedWithTheZeroAfterTheEnd) {
    const Frame frame = this->decoded(HeaderBytes().matrices(3, countingFrom(50, 10)));
    std::vector<std::uint8_t> luma = countingFrom(50, 10);
    luma.resize(64, 0);
    expectTable(frame.luma_quant, frame.luma_quant_scaled, luma);
    expectTable(frame.chroma_quant, frame.chroma_quant_scaled, std::vector<std::uint8_t>(64, 0));
}

TYPED_TEST(FrameTest, TheCursorMovesByTheHeaderSizeOrToTheEnd) {
    HeaderBytes header;
    header.bytes.resize(100);
    for (const std::uint32_t headerSize : {0u, 19u, 20u, 64u, 92u, 93u, 65535u}) {
        header.set16(0, headerSize);
        const Frame frame = this->decoded(header);
        EXPECT_EQ(frame.bitstream.size, headerSize > 92 ? 0 : 92 - headerSize) << headerSize;
    }
}

// --- request ---------------------------------------------------------------------------------------------------------

TYPED_TEST(FrameTest, TheFrameBufferHoldsTheRequestAndTheHeader) {
    HeaderBytes header = HeaderBytes().size(101, 53).format(3);
    header.at(14) = 7;
    header.at(15) = 8;
    header.at(16) = 9;
    header.at(17) = 2;
    const Frame frame = this->decoded(header.bytes, 2, 10, -5000, 1);
    EXPECT_EQ(frame.frame_buffer.width, 50u);
    EXPECT_EQ(frame.frame_buffer.height, 26u);
    EXPECT_EQ(frame.frame_buffer.frameHeight, 53u);
    EXPECT_EQ(frame.frame_buffer.pixels, this->m_pixels.data());
    EXPECT_EQ(frame.frame_buffer.lineStride, -5000);
    EXPECT_EQ(frame.frame_buffer.downSampleFactor, 1u);
    EXPECT_EQ(frame.frame_buffer.colorCoding, ColorCoding_RGBVideo);
    EXPECT_EQ(frame.frame_buffer.color_primaries, 7u);
    EXPECT_EQ(frame.frame_buffer.transfer_characteristic, 8u);
    EXPECT_EQ(frame.frame_buffer.matrix_coefficients, 9u);
    EXPECT_EQ(frame.frame_buffer.samplesPerPixel, 4u);
    EXPECT_EQ(frame.frame_buffer.bitDepth, 10u);
    EXPECT_EQ(frame.frame_buffer.alpha_channel_type, 2u);
    EXPECT_EQ(frame.downSampleFactor, 1u);
    EXPECT_EQ(frame.colorCoding, ColorCoding_RGBVideo);
    EXPECT_EQ(frame.bitDepth, 10u);
    EXPECT_EQ(frame.target, TypeParam::target);
}

TYPED_TEST(FrameTest, AStrideOfExactlyALinePassesAndOneByteLessFailsInBothDirections) {
    for (const std::uint32_t chroma_format : {0u, 1u, 2u, 3u}) {
        for (const std::uint32_t bitDepth : kBitDepths) {
            for (std::uint32_t factor = 0; factor <= 3; ++factor) {
                const HeaderBytes header = HeaderBytes().size(101, 16).format(chroma_format);
                const std::int64_t line = (101 >> factor) * (chroma_format == 3 ? 4 : 2) * (bitDepth > 8 ? 2 : 1);
                for (const std::int64_t sign : {1, -1}) {
                    EXPECT_EQ(this->failureOf(header.bytes, 0, bitDepth, sign * line, factor), "");
                    EXPECT_EQ(this->failureOf(header.bytes, 0, bitDepth, sign * (line - 1), factor), kStrideMessage);
                }
            }
        }
    }
}

// No slice has data, so no line of these buffers is ever written.
TYPED_TEST(FrameTest, StridesAreComparedInSixtyFourBits) {
    const HeaderBytes header = HeaderBytes().size(101, 16).format(3);
    constexpr std::int64_t k32Bits = std::int64_t{1} << 32;
    for (const std::int64_t sign : {1, -1}) {
        for (const std::int64_t low : {std::int64_t{0}, std::int64_t{403}, k32Bits / 2, k32Bits - 404}) {
            for (const std::int64_t high : {k32Bits, 5 * k32Bits, k32Bits << 30})
                EXPECT_EQ(this->failureOf(header.bytes, 0, 8, sign * (high + low)), "") << sign * (high + low);
        }
        EXPECT_EQ(this->failureOf(header.bytes, 0, 8, sign * 404), "");
        EXPECT_EQ(this->failureOf(header.bytes, 0, 8, sign * 403), kStrideMessage);
        EXPECT_EQ(this->failureOf(header.bytes, 0, 8, 0), kStrideMessage);
    }
}

TYPED_TEST(FrameTest, TheMostNegativeStrideFails) {
    const HeaderBytes header = HeaderBytes().size(16, 16).format(2);
    EXPECT_EQ(this->failureOf(header.bytes, 0, 8, std::numeric_limits<std::int64_t>::min()), kStrideMessage);
    EXPECT_EQ(this->failureOf(HeaderBytes().bytes, 0, 8, std::numeric_limits<std::int64_t>::min()), kStrideMessage);
}

TYPED_TEST(FrameTest, RgbOf422FailsBeforeTheStrideIsLookedAt) {
    const HeaderBytes header = HeaderBytes().size(16, 16).format(2);
    for (const std::uint32_t coding : {1u, 2u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(this->failureOf(header.bytes, coding, 8, 65536), kRgbMessage);
        EXPECT_EQ(this->failureOf(header.bytes, coding, 8, 0), kRgbMessage);
        EXPECT_EQ(this->failureOf(header.bytes, coding, 12, 0), kRgbMessage);
    }
}

TYPED_TEST(FrameTest, ChromaFormats0And1TakeAnyCodingAndTwoSamplesPerPixel) {
    for (const std::uint32_t chroma_format : {0u, 1u}) {
        const HeaderBytes header = HeaderBytes().size(16, 16).format(chroma_format);
        for (const std::uint32_t coding : {0u, 1u, 2u, 3u})
            EXPECT_EQ(this->decoded(header.bytes, coding, 8, 32).frame_buffer.samplesPerPixel, 2u);
    }
}

TYPED_TEST(FrameTest, AnUnknownDepthPassesTheFrameAsTwoBytesAndFailsInItsSlices) {
    const HeaderBytes header = HeaderBytes().size(16, 16).format(2);
    EXPECT_EQ(this->failureOf(header.bytes, 0, 12, 63), kStrideMessage);
    EXPECT_EQ(this->failureOf(header.bytes, 0, 12, 64), "Unsupported bit depth in PixelBuffer");
    EXPECT_EQ(this->failureOf(header.bytes, 0, 7, 32), "Unsupported bit depth in PixelBuffer");
    // Without slices nobody asks.
    EXPECT_EQ(this->failureOf(HeaderBytes().bytes, 0, 12, 64), "");
}

// --- geometry from the header alone ----------------------------------------------------------------------------------

TEST(FrameGetFrameInfoTest, ReportsSizeStrideAndFormatOfEveryReductionAndDepth) {
    HeaderBytes header = HeaderBytes().size(1921, 1081);
    header.at(17) = 0xF2;
    for (std::uint32_t chroma_format = 0; chroma_format < 4; ++chroma_format) {
        header.format(chroma_format);
        for (const std::uint32_t bitDepth : kBitDepths) {
            for (std::uint32_t factor = 0; factor <= 3; ++factor) {
                const GuardedBytes held(header.bytes);
                const PixelBuffer info = Frame::GetFrameInfo(held.bits(), bitDepth, factor);
                const std::uint32_t samples = chroma_format == 3 ? 4 : 2;
                EXPECT_EQ(info.width, 1921u >> factor);
                EXPECT_EQ(info.height, 1081u >> factor);
                EXPECT_EQ(info.pixels, nullptr);
                EXPECT_EQ(info.lineStride, std::int64_t{1921 >> factor} * samples * (bitDepth > 8 ? 2 : 1));
                EXPECT_EQ(info.downSampleFactor, factor);
                EXPECT_EQ(info.samplesPerPixel, samples);
                EXPECT_EQ(info.bitDepth, bitDepth);
                EXPECT_EQ(info.alpha_channel_type, 2u);
            }
        }
    }
}

TEST(FrameGetFrameInfoTest, TheAlphaTypeHasFourBits) {
    for (std::uint32_t alpha_channel_type = 0; alpha_channel_type < 16; ++alpha_channel_type) {
        HeaderBytes header = HeaderBytes().size(16, 16).format(3);
        for (const std::uint32_t ignored : {0u, 0xF0u}) {
            header.at(17) = static_cast<std::uint8_t>(ignored | alpha_channel_type);
            const GuardedBytes held(header.bytes);
            EXPECT_EQ(Frame::GetFrameInfo(held.bits(), 8, 0).alpha_channel_type, alpha_channel_type);
        }
    }
}

TEST(FrameGetFrameInfoTest, ReadsZerosAfterAShortBuffer) {
    HeaderBytes header = HeaderBytes().size(0x0304, 0x0506).format(3);
    header.at(17) = 1;
    for (std::size_t size = 0; size <= header.bytes.size(); ++size) {
        const GuardedBytes held(
            std::vector<std::uint8_t>(header.bytes.begin(), header.bytes.begin() + static_cast<std::ptrdiff_t>(size)));
        const PixelBuffer info = Frame::GetFrameInfo(held.bits(), 8, 0);
        EXPECT_EQ(info.width, size >= 18 ? 0x0304u : size == 17 ? 0x0300u : 0u);
        EXPECT_EQ(info.height, size >= 20 ? 0x0506u : size == 19 ? 0x0500u : 0u);
        EXPECT_EQ(info.samplesPerPixel, size >= 21 ? 4u : 2u);
        EXPECT_EQ(info.alpha_channel_type, size >= 26 ? 1u : 0u);
    }
}
