#include "ChromaResampling.h"

#include <gtest/gtest.h>

using Plane = std::vector<std::uint16_t>;

TEST(ChromaResamplingTest, FlatPlanesStayFlatAtTheLargestCode) {
    const Plane flat(12, 65535);
    EXPECT_EQ(allLines(flat, 4, 6, false), Plane(24, 65535));
    EXPECT_EQ(allLines(flat, 4, 6, true), Plane(24, 65535));
    EXPECT_EQ(coSitedColumns(flat, 4), flat);
}

TEST(ChromaResamplingTest, LinesOfAWholePictureLieAQuarterFromTheNearest) {
    // Chroma lines lie between two lines of luma: three quarters of the nearer and one quarter of the other.
    EXPECT_EQ(allLines({0, 16}, 1, 4, false), (Plane{0, 4, 12, 16}));
}

TEST(ChromaResamplingTest, OddHeightUsesItsLastChromaLine) {
    EXPECT_EQ(allLines({0, 16}, 1, 3, false), (Plane{0, 4, 12}));
}

TEST(ChromaResamplingTest, LinesOfAFieldComeFromThatFieldAlone) {
    // The even lines of chroma belong to the one field and the odd ones to the other.
    const Plane plane = {100, 200, 100, 200};
    EXPECT_EQ(allLines(plane, 1, 8, true), (Plane{100, 200, 100, 200, 100, 200, 100, 200}));
}

TEST(ChromaResamplingTest, LinesOfTheTwoFieldsLieAtTheirOwnPlaces) {
    // In its field, chroma line k of the first field lies a quarter of a line below line 2 * k, and that of the second
    // three quarters. So line 1 of the fields has 3/8 and 1/8 of the next chroma line.
    const Plane plane = {0, 0, 80, 80};
    const Plane lines = allLines(plane, 1, 8, true);
    EXPECT_EQ(lines[2], 30);
    EXPECT_EQ(lines[3], 10);
}

TEST(ChromaResamplingTest, CentredColumnsMoveAQuarterToTheLeft) {
    EXPECT_EQ(coSitedColumns({0, 40, 40, 80}, 2), (Plane{0, 30, 40, 70}));
}
