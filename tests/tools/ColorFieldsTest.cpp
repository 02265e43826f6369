#include "ColorFields.h"

#include <gtest/gtest.h>

#include "CommandError.h"

TEST(ColorFieldsTest, NamesAndNumbersMeanCodePoints) {
    EXPECT_EQ(colorCodeOf("--x", "709", primariesNames()), 1u);
    EXPECT_EQ(colorCodeOf("--x", "display-p3", primariesNames()), 12u);
    EXPECT_EQ(colorCodeOf("--x", "hlg", transferNames()), 18u);
    EXPECT_EQ(colorCodeOf("--x", "601", matrixNames()), 6u);
    EXPECT_EQ(colorCodeOf("--x", "6", matrixNames()), 6u);
    EXPECT_EQ(colorCodeOf("--x", "255", matrixNames()), 255u);
    EXPECT_EQ(colorCodeOf("--x", "", matrixNames()), 0u);
    for (const char* wrong : {"0", "256", "1 ", "-1", "pq", "99999999999"})
        EXPECT_THROW(colorCodeOf("--x", wrong, matrixNames()), CommandError) << wrong;
}

TEST(ColorFieldsTest, NamedPrimariesHaveChromaticities) {
    for (ColorName const& name : primariesNames()) {
        const std::optional<Chromaticities> points = chromaticitiesOf(name.code);
        ASSERT_EQ(points.has_value(), name.name != "unspecified") << name.name;
        if (!points)
            continue;
        // Every triangle of primaries encloses its white.
        const auto isLeftOf = [&](ColorPoint const& from, ColorPoint const& to) {
            return (to[0] - from[0]) * (points->white[1] - from[1]) > (to[1] - from[1]) * (points->white[0] - from[0]);
        };
        EXPECT_TRUE(isLeftOf(points->red, points->green)) << name.name;
        EXPECT_TRUE(isLeftOf(points->green, points->blue)) << name.name;
        EXPECT_TRUE(isLeftOf(points->blue, points->red)) << name.name;
    }
    EXPECT_FALSE(chromaticitiesOf(0));
}

TEST(ColorFieldsTest, CurvesThatAreNoPowerHaveNoGamma) {
    EXPECT_EQ(displayGammaOf(1), 2.4);
    EXPECT_EQ(displayGammaOf(13), 2.2);
    EXPECT_EQ(displayGammaOf(8), 1.0);
    for (const std::uint32_t code : {0u, 2u, 16u, 18u})
        EXPECT_FALSE(displayGammaOf(code)) << code;
}
