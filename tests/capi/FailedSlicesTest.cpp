#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "HostFrames.h"

// What happens to slices that fail. The frames contain no slices, so that every pixel is filled.

namespace {

std::vector<std::uint8_t> withoutSlices(FrameSpec const& spec) {
    const MadeFrame frame = smallFrame(spec, 1);
    return {frame.bytes.begin(), frame.bytes.begin() + static_cast<std::ptrdiff_t>(frame.sliceTableOffsets[0])};
}

std::uint32_t sampleOf(HostDecode const& decode, std::uint32_t y, std::size_t index) {
    const std::uint8_t* line = &decode.pixels[y * decode.needs.safe_stride];
    if (decode.needs.bytes_per_sample == 1)
        return line[index];
    std::uint16_t sample;
    std::memcpy(&sample, line + 2 * index, sizeof sample);
    return sample;
}

// Fills a 4:4:4 frame and returns the pixel that is everywhere.
std::array<std::uint32_t, 4> filledPixel(ravelo_decode_options const& options, std::uint32_t matrix_coefficients = 1,
                                         std::uint32_t height = 52) {
    FrameSpec spec = smallSpec(3, 0, 0);
    spec.matrix_coefficients = matrix_coefficients;
    spec.vertical_size = height;
    const HostDecode decode = hostDecode(withoutSlices(spec), options);
    EXPECT_EQ(decode.status, RAVELO_OK) << decode.text;
    std::array<std::uint32_t, 4> pixel{};
    for (std::size_t i = 0; i < 4; ++i)
        pixel[i] = sampleOf(decode, 0, i);
    for (std::uint32_t y = 0; y < decode.needs.height; ++y) {
        for (std::size_t i = 0; i < 4 * std::size_t{decode.needs.width}; ++i)
            EXPECT_EQ(sampleOf(decode, y, i), pixel[i % 4]);
    }
    return pixel;
}

ravelo_decode_options filling(std::uint32_t failedSlices, std::uint32_t coding, std::uint32_t bitDepth,
                              std::uint32_t color = 0) {
    ravelo_decode_options options = usualOptions();
    options.failed_slices = failedSlices;
    options.coding = coding;
    options.bit_depth = bitDepth;
    options.mark_color = color;
    return options;
}

using Pixel = std::array<std::uint32_t, 4>;

} // namespace

TEST(FailedSlicesTest, UntouchedSlicesKeepTheMemory) {
    const HostDecode decode = hostDecode(withoutSlices(smallSpec(3, 0, 0)), usualOptions());
    EXPECT_EQ(decode.pixels, std::vector<std::uint8_t>(decode.pixels.size(), kHostFill));
}

TEST(FailedSlicesTest, BlackIsThatOfTheCodingAndDepth) {
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_YCBCR, 8)), (Pixel{255, 16, 128, 128}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_YCBCR, 10)), (Pixel{1023, 64, 512, 512}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_YCBCR, 15)), (Pixel{32768, 2048, 16385, 16385}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_YCBCR, 16)), (Pixel{65535, 4096, 32768, 32768}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_RGB_FULL, 8)), (Pixel{255, 0, 0, 0}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_BLACK, RAVELO_RGB_VIDEO, 10)), (Pixel{1023, 64, 64, 64}));
}

TEST(FailedSlicesTest, TheMarkIsMagentaUnlessSaidOtherwise) {
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_MARKED, RAVELO_RGB_FULL, 8)), (Pixel{255, 255, 0, 255}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_MARKED, RAVELO_RGB_FULL, 8, 0x123456)), (Pixel{255, 0x12, 0x34, 0x56}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_MARKED, RAVELO_RGB_FULL, 16, 0xFF8000)),
              (Pixel{65535, 65535, 0x8080, 0}));
    EXPECT_EQ(filledPixel(filling(RAVELO_FAILED_MARKED, RAVELO_RGB_VIDEO, 8, 0xFFFFFF)), (Pixel{255, 235, 235, 235}));
}

// Red in YCbCr by the usual tables of codes in 8 bits.
TEST(FailedSlicesTest, ColoursFollowTheMatrixOfTheFrame) {
    const ravelo_decode_options red = filling(RAVELO_FAILED_MARKED, RAVELO_YCBCR, 8, 0xFF0000);
    const Pixel bt709{255, 63, 102, 240};
    const Pixel bt601{255, 81, 90, 240};
    const Pixel bt2020{255, 74, 97, 240};
    EXPECT_EQ(filledPixel(red, 1), bt709);
    EXPECT_EQ(filledPixel(red, 6), bt601);
    EXPECT_EQ(filledPixel(red, 9), bt2020);
    EXPECT_EQ(filledPixel(red, 2, 576), bt601);
    EXPECT_EQ(filledPixel(red, 2, 577), bt709);
}

TEST(FailedSlicesTest, PixelsOf422AreFilledInPairs) {
    for (const std::uint32_t interlace_mode : {0u, 1u}) {
        for (std::uint32_t reduction = 0; reduction <= 3; ++reduction) {
            ravelo_decode_options options = filling(RAVELO_FAILED_MARKED, RAVELO_YCBCR, 8, 0xFF0000);
            options.reduction = reduction;
            FrameSpec spec = smallSpec(2, interlace_mode, 0);
            spec.vertical_size = 64;
            const HostDecode decode = hostDecode(withoutSlices(spec), options);
            ASSERT_EQ(decode.status, RAVELO_OK);
            const std::uint32_t pair[4] = {102, 63, 240, 63};
            for (std::uint32_t y = 0; y < decode.needs.height; ++y) {
                for (std::size_t i = 0; i < 2 * std::size_t{decode.needs.width}; ++i)
                    ASSERT_EQ(sampleOf(decode, y, i), pair[i % 4]) << "line " << y << " sample " << i;
                for (std::size_t i = decode.needs.least_stride; i < decode.needs.safe_stride; ++i)
                    ASSERT_EQ(sampleOf(decode, y, i), kHostFill) << "columns beyond the picture are not filled";
            }
        }
    }
}

// Rows of more than 64 KB are written in vectors at aligned addresses, and the bytes at both ends one by one.
TEST(FailedSlicesTest, LargeRowsAreFilledAtEveryAddress) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = 2049;
    spec.vertical_size = 20;
    const std::vector<std::uint8_t> frame = withoutSlices(spec);
    const ravelo_decode_options options = filling(RAVELO_FAILED_MARKED, RAVELO_YCBCR, 8, 0xFF0000);
    constexpr std::size_t kLineBytes = 2049 * 2;
    constexpr std::size_t kStride = kLineBytes + 11;
    const std::uint8_t pair[4] = {102, 63, 240, 63};
    for (std::size_t first = 0; first < 17; ++first) {
        std::vector<std::uint8_t> memory(first + 20 * kStride, kHostFill);
        ravelo_output output{
            sizeof output, memory.data(), memory.size(), first, static_cast<std::int64_t>(kStride), {}};
        ASSERT_EQ(ravelo_decode(frame.data(), frame.size(), &output, &options, nullptr), RAVELO_OK);
        for (std::size_t i = 0; i < memory.size(); ++i) {
            const std::size_t inLine = (i + kStride - first) % kStride;
            const bool isOutside = i < first || inLine >= kLineBytes;
            ASSERT_EQ(memory[i], isOutside ? kHostFill : pair[inLine % 4]) << first << " " << i;
        }
    }
}

TEST(FailedSlicesTest, OnlySlicesThatFailAreFilled) {
    for (const std::uint32_t interlace_mode : {0u, 2u}) {
        MadeFrame frame = smallFrame(smallSpec(3, interlace_mode, 0), 9);
        const HostDecode sound = hostDecode(frame.bytes, usualOptions());
        // A slice whose sizes are all zero has no components.
        const std::size_t broken = frame.sliceOffsets[4];
        std::fill_n(frame.bytes.begin() + static_cast<std::ptrdiff_t>(broken) + 2, 4, std::uint8_t{0});
        ravelo_damage slice{};
        ravelo_damage_report report{sizeof report, &slice, 1, 0, 0, sizeof(ravelo_damage)};
        ravelo_decode_options options = filling(RAVELO_FAILED_BLACK, RAVELO_YCBCR, 8);
        options.damage = &report;
        const HostDecode decode = hostDecode(frame.bytes, options);
        ASSERT_EQ(report.failed, 1u);
        EXPECT_EQ(slice.byte_offset, broken);
        const std::uint32_t black[4] = {255, 16, 128, 128};
        for (std::uint32_t y = 0; y < decode.needs.height; ++y) {
            const bool isLine =
                y >= slice.y && (y - slice.y) % slice.line_step == 0 && (y - slice.y) / slice.line_step < slice.height;
            for (std::uint32_t x = 0; x < decode.needs.width; ++x) {
                const bool isInside = isLine && x >= slice.x && x - slice.x < slice.width;
                for (std::size_t i = 0; i < 4; ++i)
                    ASSERT_EQ(sampleOf(decode, y, 4 * x + i), isInside ? black[i] : sampleOf(sound, y, 4 * x + i));
            }
        }
    }
}
