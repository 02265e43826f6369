#include "PictureHeader.h"

#include <vector>

#include <gtest/gtest.h>

#include "GuardedBytes.h"

namespace {

std::vector<std::uint32_t> divisionOf(std::uint32_t widthInMb, std::uint32_t log2SliceSizeInMb) {
    const RowDivision division(widthInMb, log2SliceSizeInMb);
    std::vector<std::uint32_t> sizes;
    for (std::uint32_t column = 0; column < division.slicesPerRow(); ++column)
        sizes.push_back(division.sliceSizeInMb(column));
    return sizes;
}

using SliceSizes = std::vector<std::uint32_t>;

} // namespace

TEST(PictureHeaderTest, EveryFieldIsReadFromItsBits) {
    const GuardedBytes held({8 << 3 | 7, 0x89, 0xAB, 0xCD, 0xEF, 0xFF, 0xFF, 0xCF | 2 << 4});
    const PictureHeader header = PictureHeader::picture_header(held.bits());
    EXPECT_EQ(header.picture_header_size, 8u);
    EXPECT_EQ(header.picture_size, 0x89ABCDEFu);
    EXPECT_EQ(header.log2_slice_size_in_mb, 2u);
}

TEST(PictureHeaderTest, BytesThatAreMissingReadAsZero) {
    const GuardedBytes held({20 << 3, 0x01, 0x02});
    const PictureHeader header = PictureHeader::picture_header(held.bits());
    EXPECT_EQ(header.picture_header_size, 20u);
    EXPECT_EQ(header.picture_size, 0x01020000u);
    EXPECT_EQ(header.log2_slice_size_in_mb, 0u);
}

TEST(RowDivisionTest, AWidthOf120WithSlicesOfEightGivesFifteenFullSlices) {
    EXPECT_EQ(divisionOf(120, 3), SliceSizes(15, 8));
}

TEST(RowDivisionTest, AWidthOf45WithSlicesOfEightEndsInFourAndOne) {
    EXPECT_EQ(divisionOf(45, 3), (SliceSizes{8, 8, 8, 8, 8, 4, 1}));
}

TEST(RowDivisionTest, AWidthOf1WithSlicesOfEightIsOneSliceOfOne) {
    EXPECT_EQ(divisionOf(1, 3), SliceSizes{1});
}

TEST(RowDivisionTest, AWidthOf7WithSlicesOfFourGivesFourTwoOne) {
    EXPECT_EQ(divisionOf(7, 2), (SliceSizes{4, 2, 1}));
}

TEST(RowDivisionTest, SlicesOfOneGiveOneSlicePerMacroblock) {
    EXPECT_EQ(divisionOf(9, 0), SliceSizes(9, 1));
}

TEST(RowDivisionTest, AnyWidthIsDividedGreedilyInPowersOfTwo) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        for (std::uint32_t width = 0; width < 300; ++width) {
            SliceSizes expected;
            std::uint32_t left = width;
            for (std::uint32_t size = 1u << log2; left != 0; size /= 2) {
                expected.insert(expected.end(), left / size, size);
                left %= size;
            }
            ASSERT_EQ(divisionOf(width, log2), expected) << width << " " << log2;
        }
    }
    EXPECT_EQ(divisionOf(4096, 0), SliceSizes(4096, 1));
}

TEST(RowDivisionTest, FirstMbIsTheSumOfTheSlicesToTheLeft) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        for (std::uint32_t width = 1; width < 100; ++width) {
            const RowDivision division(width, log2);
            std::uint32_t mbs = 0;
            for (std::uint32_t column = 0; column < division.slicesPerRow(); ++column) {
                ASSERT_EQ(division.firstMb(column), mbs);
                mbs += division.sliceSizeInMb(column);
            }
            ASSERT_EQ(mbs, width);
        }
    }
}
