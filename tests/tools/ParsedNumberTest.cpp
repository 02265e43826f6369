#include "ParsedNumber.h"

#include <cstdint>
#include <string_view>

#include <gtest/gtest.h>

TEST(ParsedNumberTest, AWholeTextIsANumber) {
    EXPECT_EQ(parsedNumber<std::uint32_t>("0"), 0u);
    EXPECT_EQ(parsedNumber<std::uint32_t>("0042"), 42u);
    EXPECT_EQ(parsedNumber<std::int32_t>("-7"), -7);
    EXPECT_EQ(parsedNumber<double>("2.5"), 2.5);
}

TEST(ParsedNumberTest, TextBeforeOrAfterANumberMakesItNone) {
    for (std::string_view text : {"", " 1", "1 ", "+1", "1x", "x1", "-1", "1.0", "0x10"})
        EXPECT_FALSE(parsedNumber<std::uint32_t>(text)) << "\"" << text << "\"";
}

TEST(ParsedNumberTest, ANumberThatDoesNotFitIsNone) {
    EXPECT_EQ(parsedNumber<std::uint32_t>("4294967295"), 4294967295u);
    EXPECT_FALSE(parsedNumber<std::uint32_t>("4294967296"));
    EXPECT_FALSE(parsedNumber<std::uint64_t>("18446744073709551616"));
}

TEST(ParsedNumberTest, DigitsFollowTheBase) {
    EXPECT_EQ(parsedNumber<std::uint32_t>("ff00FF", 16), 0xFF00FFu);
    EXPECT_FALSE(parsedNumber<std::uint32_t>("g", 16));
}

TEST(ParsedNumberTest, ATextNeedNotEndInAZero) {
    EXPECT_EQ(parsedNumber<std::uint32_t>(std::string_view("1234").substr(1, 2)), 23u);
}
