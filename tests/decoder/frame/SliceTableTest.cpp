#include "SliceTable.h"

#include <time.h>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"

namespace {

std::vector<std::uint32_t> divisionOf(std::uint32_t widthInMb, std::uint32_t log2SliceSizeInMb) {
    const SliceTable table(widthInMb, 1, log2SliceSizeInMb, Bitstream{});
    std::vector<std::uint32_t> sizes;
    for (std::uint32_t column = 0; column < table.slicesPerRow(); ++column)
        sizes.push_back(table.sliceSizeInMb(column));
    return sizes;
}

using Sizes = std::vector<std::uint32_t>;

double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

TEST(SliceTableTest, AWidthOf120WithSlicesOfEightGivesFifteenFullSlices) {
    EXPECT_EQ(divisionOf(120, 3), Sizes(15, 8));
}

TEST(SliceTableTest, AWidthOf45WithSlicesOfEightEndsInFourAndOne) {
    EXPECT_EQ(divisionOf(45, 3), (Sizes{8, 8, 8, 8, 8, 4, 1}));
}

TEST(SliceTableTest, AWidthOf1WithSlicesOfEightIsOneSliceOfOne) {
    EXPECT_EQ(divisionOf(1, 3), Sizes{1});
}

TEST(SliceTableTest, AWidthOf7WithSlicesOfFourGivesFourTwoOne) {
    EXPECT_EQ(divisionOf(7, 2), (Sizes{4, 2, 1}));
}

TEST(SliceTableTest, SlicesOfOneGiveOneSlicePerMacroblock) {
    EXPECT_EQ(divisionOf(9, 0), Sizes(9, 1));
}

TEST(SliceTableTest, AnyWidthIsDividedGreedilyInPowersOfTwo) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        for (std::uint32_t width = 0; width < 300; ++width) {
            Sizes expected;
            std::uint32_t left = width;
            for (std::uint32_t size = 1u << log2; left != 0; size /= 2) {
                expected.insert(expected.end(), left / size, size);
                left %= size;
            }
            ASSERT_EQ(divisionOf(width, log2), expected) << width << " " << log2;
        }
    }
    EXPECT_EQ(divisionOf(4096, 0), Sizes(4096, 1));
}

TEST(SliceTableTest, FirstMbIsTheSumOfTheSlicesToTheLeft) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        for (std::uint32_t width = 1; width < 100; ++width) {
            const SliceTable table(width, 1, log2, Bitstream{});
            std::uint32_t mbs = 0;
            for (std::uint32_t column = 0; column < table.slicesPerRow(); ++column) {
                ASSERT_EQ(table.firstMb(column), mbs);
                mbs += table.sliceSizeInMb(column);
            }
            ASSERT_EQ(mbs, width);
        }
    }
}

TEST(SliceTableTest, EntriesAreBigEndianAndRowByRow) {
    const GuardedBytes held({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xFF, 0xFF});
    const SliceTable table(2, 2, 0, held.bits());
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
        std::vector<std::uint8_t> bytes(2 * divisionOf(width, log2).size() * height);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        const GuardedBytes held(bytes);
        const SliceTable table(width, height, log2, held.bits());
        std::uint64_t sum = 0;
        for (std::uint32_t row = 0; row < height; ++row) {
            for (std::uint32_t column = 0; column < table.slicesPerRow(); ++column) {
                ASSERT_EQ(table.sliceOffset(row, column), sum);
                sum += table.codedSize(row, column);
            }
        }
    }
}

TEST(SliceTableTest, OffsetsGoBeyond32Bits) {
    // 1,300 rows of 52 slices of 65535 bytes.
    const std::vector<std::uint8_t> bytes(2 * 52 * 1300, 0xFF);
    const SliceTable table(52, 1300, 0, Bitstream{bytes.data(), bytes.size()});
    EXPECT_EQ(table.sliceOffset(1299, 51), (std::uint64_t{52} * 1300 - 1) * 65535);
    EXPECT_GT(table.sliceOffset(1299, 51), std::uint64_t{1} << 32);
}

TEST(SliceTableTest, EntriesBehindTheDataReadAsZeroAndAddNothing) {
    const GuardedBytes held({0x00, 0x10, 0x00, 0x20, 0x01});
    const SliceTable table(2, 3, 0, held.bits());
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
        const SliceTable table(4096, 4096, 0, held.bits());
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
        const SliceTable table(130, 3, 0, held.bits());
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
    const SliceTable noRows(3, 0, 3, Bitstream{});
    EXPECT_EQ(noRows.tableBytes(), 0u);
    const SliceTable noColumns(0, 5, 3, Bitstream{});
    EXPECT_EQ(noColumns.slicesPerRow(), 0u);
    EXPECT_EQ(noColumns.tableBytes(), 0u);
}
