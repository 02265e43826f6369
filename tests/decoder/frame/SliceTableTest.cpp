#include "SliceTable.h"

#include <time.h>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"

namespace {

double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

TEST(SliceTableTest, EntriesAreBigEndianAndRowByRow) {
    const GuardedBytes held({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xFF, 0xFF});
    const SliceTable table(RowDivision(2, 0), 2, held.bits());
    EXPECT_EQ(table.codedSize(0, 0), 0x0102u);
    EXPECT_EQ(table.codedSize(0, 1), 0x0304u);
    EXPECT_EQ(table.codedSize(1, 0), 0x0506u);
    EXPECT_EQ(table.codedSize(1, 1), 0xFFFFu);
    EXPECT_EQ(table.tableBytes(), 8u);
}

TEST(SliceTableTest, OffsetsAreThePrefixSumOfAllSizesBefore) {
    Random random = seeded(1301);
    for (int round = 0; round < 200; ++round) {
        const std::uint32_t width = 1 + randomBelow(random, 200);
        const std::uint32_t height = 1 + randomBelow(random, 20);
        const std::uint32_t log2 = randomBelow(random, 4);
        std::vector<std::uint8_t> bytes(2 * RowDivision(width, log2).slicesPerRow() * height);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        const GuardedBytes held(bytes);
        const SliceTable table(RowDivision(width, log2), height, held.bits());
        std::uint64_t sum = 0;
        for (std::uint32_t row = 0; row < height; ++row) {
            for (std::uint32_t column = 0; column < table.division().slicesPerRow(); ++column) {
                ASSERT_EQ(table.sliceOffset(row, column), sum);
                sum += table.codedSize(row, column);
            }
        }
    }
}

TEST(SliceTableTest, OffsetsGoBeyond32Bits) {
    // 1,300 rows of 52 slices of 65535 bytes.
    const std::vector<std::uint8_t> bytes(2 * 52 * 1300, 0xFF);
    const SliceTable table(RowDivision(52, 0), 1300, Bitstream{bytes.data(), bytes.size()});
    EXPECT_EQ(table.sliceOffset(1299, 51), (std::uint64_t{52} * 1300 - 1) * 65535);
    EXPECT_GT(table.sliceOffset(1299, 51), std::uint64_t{1} << 32);
}

TEST(SliceTableTest, EntriesAfterTheDataReadAsZeroAndAddNothing) {
    const GuardedBytes held({0x00, 0x10, 0x00, 0x20, 0x01});
    const SliceTable table(RowDivision(2, 0), 3, held.bits());
    EXPECT_EQ(table.codedSize(0, 1), 0x20u);
    EXPECT_EQ(table.codedSize(1, 0), 0x0100u); // half of it is there
    EXPECT_EQ(table.codedSize(1, 1), 0u);
    EXPECT_EQ(table.codedSize(2, 1), 0u);
    EXPECT_EQ(table.sliceOffset(1, 0), 0x30u);
    EXPECT_EQ(table.sliceOffset(1, 1), 0x130u);
    EXPECT_EQ(table.sliceOffset(2, 1), 0x130u);
}

// 4096 rows of 4096 slices. A pass over their entries takes milliseconds even where it finds nothing to add up, and
// what is kept for each row megabytes; a hundred bytes take less than the clock can tell.
TEST(SliceTableTest, TheWorkOnATableEndsWithItsBytes) {
    const GuardedBytes held(std::vector<std::uint8_t>(100, 0x01));
    double least = 1;
    for (int round = 0; round < 10; ++round) {
        const double start = threadSeconds();
        const SliceTable table(RowDivision(4096, 0), 4096, held.bits());
        const std::uint64_t last = table.sliceOffset(4095, 4095);
        least = std::min(least, threadSeconds() - start);
        ASSERT_EQ(last, 50 * 0x0101u);
        ASSERT_EQ(table.sliceOffset(1, 0), last);
    }
    EXPECT_LT(least, 0.001);
}

TEST(SliceTableTest, RowsOfWhichTheDataHoldAPartAreSummedUpToTheEnd) {
    // Rows of 130 slices take three checkpoints and 260 bytes each.
    for (const std::size_t numBytes : {0u, 1u, 2u, 127u, 128u, 129u, 259u, 260u, 261u, 389u, 520u, 800u}) {
        const GuardedBytes held(std::vector<std::uint8_t>(numBytes, 0x01));
        const SliceTable table(RowDivision(130, 0), 3, held.bits());
        std::uint64_t sum = 0;
        for (std::uint32_t row = 0; row < 3; ++row) {
            for (std::uint32_t column = 0; column < 130; ++column) {
                ASSERT_EQ(table.sliceOffset(row, column), sum) << numBytes << " " << row << " " << column;
                sum += table.codedSize(row, column);
            }
        }
    }
}

TEST(SliceTableTest, APictureWithoutRowsOrColumnsHasAnEmptyTable) {
    const SliceTable noRows(RowDivision(3, 3), 0, Bitstream{});
    EXPECT_EQ(noRows.tableBytes(), 0u);
    const SliceTable noColumns(RowDivision(0, 3), 5, Bitstream{});
    EXPECT_EQ(noColumns.division().slicesPerRow(), 0u);
    EXPECT_EQ(noColumns.tableBytes(), 0u);
}
