#include "ChromaColumns.h"

#include <gtest/gtest.h>

using ChromaPlane = std::vector<std::uint16_t>;

TEST(ChromaColumnsTest, HalfColumnsWeighsNeighboursOneTwoOne) {
    EXPECT_EQ(halfColumns({0, 4, 8, 12}, 4, 1), (ChromaPlane{1, 8}));
}

TEST(ChromaColumnsTest, HalfColumnsOfOddWidthKeepsTheLastColumn) {
    EXPECT_EQ(halfColumns({10, 10, 50}, 3, 1), (ChromaPlane{10, 40}));
    EXPECT_EQ(halfColumns({7, 9}, 1, 2), (ChromaPlane{7, 9}));
}

TEST(ChromaColumnsTest, AllColumnsPutsMeansBetween) {
    EXPECT_EQ(allColumns({10, 20}, 4, 1), (ChromaPlane{10, 15, 20, 20}));
    EXPECT_EQ(allColumns({10, 20}, 3, 1), (ChromaPlane{10, 15, 20}));
}

TEST(ChromaColumnsTest, FlatPlanesStayFlatAtTheLargestCode) {
    const ChromaPlane flat(12, 65535);
    EXPECT_EQ(halfColumns(flat, 4, 3), ChromaPlane(6, 65535));
    EXPECT_EQ(allColumns(flat, 8, 3), ChromaPlane(24, 65535));
}
