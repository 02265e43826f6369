#include "Picture.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeMonitor.h"
#include "DecoderTargets.h"
#include "Frame.h"
#include "GuardedBytes.h"

namespace {

// A picture's layout over a frame of headers, whose slices have no data and write nothing.
class Layout {
public:
    Layout(std::uint32_t width, std::uint32_t height, std::uint32_t interlace_mode, std::vector<std::uint8_t> picture,
           TemporalOrder order = TemporalOrder::First, std::uint32_t downSampleFactor = 0,
           std::int64_t stride = kStride, DecodeMonitor* monitor = nullptr, std::uint32_t bitDepth = 8)
        : m_frameBytes(headerOf(width, height, interlace_mode)),
          m_pictureBytes(picture),
          m_frame(std::make_unique<Frame>(m_frameBytes.bits(), ColorCoding_YCbCr, bitDepth, pixels(), stride,
                                          OptimizationTarget::Baseline, downSampleFactor, monitor)),
          m_layout(order, *m_frame, m_pictureBytes.bits()) {}

    static constexpr std::int64_t kStride = 1 << 20;
    static std::uint8_t* pixels() { return s_pixels + 32; }

    PictureLayout const* operator->() const { return &m_layout; }
    std::uint64_t offsetOf(std::uint32_t row, std::uint32_t column) const {
        return static_cast<std::uint64_t>(m_layout.sliceBits(row, column).data - m_pictureBytes.bits().data);
    }

private:
    static std::vector<std::uint8_t> headerOf(std::uint32_t width, std::uint32_t height, std::uint32_t interlace_mode) {
        std::vector<std::uint8_t> bytes(28, 0);
        bytes[9] = 20; // the header's own size
        bytes[16] = static_cast<std::uint8_t>(width >> 8);
        bytes[17] = static_cast<std::uint8_t>(width & 0xFF);
        bytes[18] = static_cast<std::uint8_t>(height >> 8);
        bytes[19] = static_cast<std::uint8_t>(height & 0xFF);
        bytes[20] = static_cast<std::uint8_t>(2u << 6 | interlace_mode << 2);
        return bytes;
    }

    static inline std::uint8_t s_pixels[64] = {};
    GuardedBytes m_frameBytes;
    GuardedBytes m_pictureBytes;
    std::unique_ptr<Frame> m_frame;
    PictureLayout m_layout;
};

std::vector<std::uint8_t> pictureHeader(std::uint32_t headerSize, std::uint32_t pictureSize, std::uint32_t log2) {
    std::vector<std::uint8_t> bytes(8, 0);
    bytes[0] = static_cast<std::uint8_t>(headerSize << 3);
    for (std::size_t i = 0; i < 4; ++i)
        bytes[1 + i] = static_cast<std::uint8_t>(pictureSize >> (24 - 8 * i));
    bytes[7] = static_cast<std::uint8_t>(log2 << 4);
    bytes.resize(std::max<std::size_t>(8, headerSize));
    return bytes;
}

void append16(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

constexpr TemporalOrder kFirst = TemporalOrder::First;
constexpr TemporalOrder kSecond = TemporalOrder::Second;

} // namespace

TEST(PictureTest, ThePictureSizeStandsAtAnOddOffsetAndTheSliceSizeInTwoBits) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        const Layout layout(16 * 9, 16, 0, pictureHeader(8, 0x89ABCDEF, log2));
        EXPECT_EQ(layout->picture_size(), 0x89ABCDEFu);
        EXPECT_EQ(layout->slice_size_in_mb(0), 1u << log2);
    }
}

TEST(PictureTest, IgnoredBitsOfTheHeaderMayHoldAnything) {
    std::vector<std::uint8_t> header = pictureHeader(8, 1234, 1);
    header[0] |= 7;
    header[5] = 0xFF;
    header[6] = 0xFF;
    header[7] |= 0xCF;
    append16(header, 50);
    const Layout layout(32, 16, 0, header);
    EXPECT_EQ(layout->picture_size(), 1234u);
    EXPECT_EQ(layout->slice_size_in_mb(0), 2u);
    EXPECT_EQ(layout->coded_size_of_slice(0, 0), 50u);
    EXPECT_EQ(layout.offsetOf(0, 0), 10u);
}

TEST(PictureTest, SizesInMacroblocksAreThoseOfTheFullPictureAtEveryReduction) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const Layout layout(1001, 577, 0, pictureHeader(8, 0, 3), kFirst, factor);
        EXPECT_EQ(layout->width_in_mb(), 63u);
        EXPECT_EQ(layout->height_in_mb(), 37u);
        EXPECT_EQ(layout->vertical_size(), 577u);
        EXPECT_EQ(layout->getDownSampleFactor(), factor);
    }
    const Layout exact(1024, 576, 0, pictureHeader(8, 0, 3));
    EXPECT_EQ(exact->width_in_mb(), 64u);
    EXPECT_EQ(exact->height_in_mb(), 36u);
}

TEST(PictureTest, EachModeAndOrderOf1081LinesHasItsLinesBaseAndStride) {
    struct {
        std::uint32_t mode;
        TemporalOrder order;
        std::uint32_t lines, linesDown, strides;
    } const table[] = {
        {0, kFirst, 1081, 0, 1}, {1, kFirst, 541, 0, 2},  {1, kSecond, 540, 1, 2},
        {2, kFirst, 540, 1, 2},  {2, kSecond, 541, 0, 2}, {3, kFirst, 540, 0, 2},
    };
    for (const std::int64_t stride : {Layout::kStride, -Layout::kStride}) {
        for (auto const& row : table) {
            const Layout layout(16, 1081, row.mode, pictureHeader(8, 0, 0), row.order, 0, stride);
            PixelBuffer const& buffer = layout->pictureBuffer();
            EXPECT_EQ(layout->vertical_size(), row.lines);
            EXPECT_EQ(layout->height_in_mb(), (row.lines + 15) / 16);
            EXPECT_EQ(buffer.lineStride, stride * row.strides);
            EXPECT_EQ(static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(buffer.pixels)) -
                          static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(Layout::pixels())),
                      stride * row.linesDown);
            EXPECT_EQ(buffer.frameHeight, 1081u);
            EXPECT_EQ(buffer.height, row.lines);
        }
    }
}

TEST(PictureTest, TheLastRowOfAFieldOf541LinesHolds13) {
    const Layout layout(16, 1081, 1, pictureHeader(8, 0, 0));
    EXPECT_EQ(layout->height_in_mb(), 34u);
    EXPECT_EQ(layout->vertical_size() - 16 * 33, 13u);
}

TEST(PictureTest, ARowIsDividedAsItsWidthAndSliceSizeSay) {
    const Layout wide(1920, 16, 0, pictureHeader(8, 0, 3));
    EXPECT_EQ(wide->number_of_slices_per_mb_row(), 15u);
    EXPECT_EQ(wide->slice_size_in_mb(14), 8u);
    const Layout narrow(16, 16, 0, pictureHeader(8, 0, 3));
    EXPECT_EQ(narrow->number_of_slices_per_mb_row(), 1u);
    EXPECT_EQ(narrow->slice_size_in_mb(0), 1u);
    const Layout seven(112, 16, 0, pictureHeader(8, 0, 2));
    ASSERT_EQ(seven->number_of_slices_per_mb_row(), 3u);
    EXPECT_EQ(seven->slice_size_in_mb(0), 4u);
    EXPECT_EQ(seven->slice_size_in_mb(1), 2u);
    EXPECT_EQ(seven->slice_size_in_mb(2), 1u);
    EXPECT_EQ(seven->firstMb(2), 6u);
}

TEST(PictureTest, SlicesFollowTheTableOneAfterTheOther) {
    for (const std::uint32_t headerSize : {8u, 9u, 31u}) {
        std::vector<std::uint8_t> bytes = pictureHeader(headerSize, 0, 0);
        const std::uint32_t sizes[6] = {5, 0, 7, 11, 2, 9};
        for (const std::uint32_t size : sizes)
            append16(bytes, size);
        bytes.resize(bytes.size() + 34);
        const Layout layout(48, 32, 0, bytes);
        std::uint64_t offset = headerSize + 12;
        for (std::uint32_t i = 0; i < 6; ++i) {
            EXPECT_EQ(layout->coded_size_of_slice(i / 3, i % 3), sizes[i]);
            EXPECT_EQ(layout.offsetOf(i / 3, i % 3), offset) << i;
            offset += sizes[i];
        }
    }
}

TEST(PictureTest, APictureHeaderSizeBelowItsFieldsPutsTheTableOnTopOfThem) {
    std::vector<std::uint8_t> bytes = pictureHeader(0, 0x01020304, 0);
    const Layout layout(16, 16, 0, bytes);
    EXPECT_EQ(layout->coded_size_of_slice(0, 0), 0x0001u); // header size 0 and the top byte of the picture size
    EXPECT_EQ(layout.offsetOf(0, 0), 2u);
}

TEST(PictureTest, SlicesAfterTheDataBeginAtItsEndWithNothingLeft) {
    std::vector<std::uint8_t> bytes = pictureHeader(8, 0, 0);
    append16(bytes, 4);
    append16(bytes, 60000);
    append16(bytes, 1); // the table ends here, one entry early
    const Layout layout(32, 32, 0, bytes);
    EXPECT_EQ(layout.offsetOf(0, 0), bytes.size());
    EXPECT_EQ(layout->sliceBits(1, 1).size, 0u);
    EXPECT_EQ(layout.offsetOf(1, 1), bytes.size());
    EXPECT_EQ(layout->coded_size_of_slice(1, 1), 0u);
}

TEST(PictureTest, RowsThatStartPastTheDataAreReportedInsteadOfVisited) {
    class Rows : public DecodeMonitor {
    public:
        void rowMissing(MissingRow const& row) noexcept override {
            for (std::uint32_t column = 0; column < row.numSlices(); ++column)
                m_failures.push_back(row.failure(column));
        }
        std::vector<SliceFailure> m_failures;
    };
    std::vector<std::uint8_t> header = pictureHeader(8, 0, 0);
    for (int slice = 0; slice < 6; ++slice)
        append16(header, slice % 2 == 0 ? 4 : 3);
    for (std::uint32_t numBytes = 0; numBytes <= 22; ++numBytes) {
        std::vector<std::uint8_t> picture = header;
        picture.insert(picture.end(), numBytes, std::uint8_t{0});
        std::uint32_t numStarted = 0;
        for (std::uint32_t row = 0; row < 3; ++row)
            numStarted += 7 * row < numBytes ? 1 : 0;
        EXPECT_EQ(Layout(32, 48, 0, picture)->rowsInData(), numStarted) << numBytes;
        Rows monitor;
        const Layout watched(32, 48, 0, picture, kFirst, 0, Layout::kStride, &monitor);
        EXPECT_EQ(watched->rowsInData(), numStarted) << numBytes;
        monitor.m_failures.clear();
        watched->reportMissingRows(numStarted);
        ASSERT_EQ(monitor.m_failures.size(), 2 * (3 - numStarted)) << numBytes;
        for (std::size_t i = 0; i < monitor.m_failures.size(); ++i) {
            EXPECT_EQ(monitor.m_failures[i].picture, 0u);
            EXPECT_EQ(monitor.m_failures[i].mbRow, numStarted + i / 2);
            EXPECT_EQ(monitor.m_failures[i].slice_column, i % 2);
            EXPECT_EQ(monitor.m_failures[i].component, 0u);
        }
    }
}

TEST(PictureTest, AStopEndsTheReportOfMissingRows) {
    class StopAfterTwo : public DecodeMonitor {
    public:
        bool wantsStop() noexcept override { return m_numRows == 2; }
        void rowMissing(MissingRow const&) noexcept override { ++m_numRows; }
        int m_numRows = 0;
    } monitor;
    // The frame of the layout reports its own rows first.
    const Layout layout(32, 160, 0, pictureHeader(8, 0, 0), kFirst, 0, Layout::kStride, &monitor);
    EXPECT_EQ(monitor.m_numRows, 2);
    monitor.m_numRows = 0;
    layout->reportMissingRows(0);
    EXPECT_EQ(monitor.m_numRows, 2);
}

TEST(PictureTest, ARowThatIsMissingIsReportedSliceBySliceUnlessTheMonitorTakesItWhole) {
    class Slices : public DecodeMonitor {
    public:
        void sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept override {
            m_failures.push_back(failure);
            m_rectangles.push_back(rectangle);
        }
        std::vector<SliceFailure> m_failures;
        std::vector<PixelBuffer> m_rectangles;
    } monitor;
    // 45 pixels are three macroblocks, in slices of two and one; 20 lines are two rows, of 16 and 4 lines.
    const Layout layout(45, 20, 0, pictureHeader(8, 0, 1), kFirst, 0, Layout::kStride, &monitor);
    monitor.m_failures.clear();
    monitor.m_rectangles.clear();
    layout->reportMissingRows(0);
    ASSERT_EQ(monitor.m_failures.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(monitor.m_failures[i].mbRow, i / 2);
        EXPECT_EQ(monitor.m_failures[i].slice_column, i % 2);
        EXPECT_EQ(monitor.m_rectangles[i].width, i % 2 == 0 ? 32u : 13u);
        EXPECT_EQ(monitor.m_rectangles[i].height, i / 2 == 0 ? 16u : 4u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(monitor.m_rectangles[i].pixels),
                  reinterpret_cast<std::uintptr_t>(Layout::pixels()) + i / 2 * 16 * Layout::kStride + i % 2 * 64);
    }
}

TEST(PictureTest, APictureWithoutRowsOrColumnsHasNoSlices) {
    const Layout noRows(16, 0, 0, pictureHeader(8, 0, 3));
    EXPECT_EQ(noRows->height_in_mb(), 0u);
    const Layout noColumns(0, 16, 0, pictureHeader(8, 0, 3));
    EXPECT_EQ(noColumns->number_of_slices_per_mb_row(), 0u);
    const Layout secondOfOneLine(16, 1, 1, pictureHeader(8, 0, 3), kSecond);
    EXPECT_EQ(secondOfOneLine->vertical_size(), 0u);
    EXPECT_EQ(secondOfOneLine->height_in_mb(), 0u);
}

TEST(PictureTest, SlicesThatWriteTheSameBytesAreKeptApart) {
    const auto orderOf = [](std::uint32_t width, std::uint32_t factor, std::int64_t stride,
                            std::uint32_t interlace_mode, std::uint32_t bitDepth) {
        return Layout(width, 64, interlace_mode, pictureHeader(8, 0, 3), kFirst, factor, stride, nullptr, bitDepth)
            ->sliceOrder();
    };
    for (const int direction : {1, -1}) {
        const SliceOrder inTurn = direction > 0 ? SliceOrder::InTurn : SliceOrder::InTurnUpwards;
        // 1000 pixels are 500 at half size, in 63 macroblocks of 8: 504 pixels, of two bytes each, are written.
        EXPECT_EQ(orderOf(1000, 1, direction * 1008, 0, 8), SliceOrder::Any);
        EXPECT_EQ(orderOf(1000, 1, direction * 1007, 0, 8), SliceOrder::LastGroupFirst);
        EXPECT_EQ(orderOf(1000, 1, direction * 1000, 0, 8), SliceOrder::LastGroupFirst);
        // A field leaves every second line free.
        EXPECT_EQ(orderOf(1000, 1, direction * 1000, 1, 8), SliceOrder::Any);
        EXPECT_EQ(orderOf(1000, 0, direction * 2000, 0, 8), SliceOrder::Any);
        EXPECT_EQ(orderOf(1024, 1, direction * 1024, 0, 8), SliceOrder::Any);
        // 120 pixels are a single slice of eight macroblocks, 129 are one of eight and one of one.
        EXPECT_EQ(orderOf(120, 1, direction * 120, 0, 8), inTurn);
        EXPECT_EQ(orderOf(129, 1, direction * 128, 0, 8), SliceOrder::LastGroupFirst);
        // 8 pixels are one at eighth size, and two are written.
        EXPECT_EQ(orderOf(8, 3, direction * 2, 0, 8), inTurn);
        // More than eight bits come out of the reduction as no picture.
        EXPECT_EQ(orderOf(1024, 1, direction * 2048, 0, 16), SliceOrder::InTurn);
        EXPECT_EQ(orderOf(1024, 0, direction * 4096, 0, 16), SliceOrder::Any);
    }
}
