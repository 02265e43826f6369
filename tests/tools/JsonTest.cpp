#include "Json.h"

#include <limits>
#include <vector>

#include <gtest/gtest.h>

TEST(JsonTest, ValuesKeepTheirKindsAndTheirLimits) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(Json().text(), "null");
    EXPECT_EQ(Json(nullptr).text(), "null");
    EXPECT_EQ(Json(true).text(), "true");
    EXPECT_EQ(Json(kLargest).text(), "18446744073709551615");
    EXPECT_EQ(Json(kSmallest).text(), "-9223372036854775808");
    EXPECT_EQ(Json(0.1).text(), "0.1");
    EXPECT_EQ(Json("text").text(), "\"text\"");
}

TEST(JsonTest, MembersKeepTheOrderInWhichTheyWereAdded) {
    Json json = {{"width", 16}, {"alpha", {{"bits", 8}, {"opaque", false}}}};
    json["height"] = 9;
    json["alpha"]["bits"] = 16;
    EXPECT_EQ(json.size(), 3u);
    EXPECT_EQ(json.text(), "{\n  \"width\": 16,\n  \"alpha\": {\n    \"bits\": 16,\n    \"opaque\": false\n  },\n"
                           "  \"height\": 9\n}");
}

TEST(JsonTest, AMemberOfANullMakesAnObject) {
    Json json;
    json["a"]["b"] = 1;
    EXPECT_EQ(json.line(), R"({"a":{"b":1}})");
}

TEST(JsonTest, ArraysHoldValuesOfAnyKind) {
    Json json = Json::list(std::vector<int>{1, 2});
    json.push_back("three");
    json.push_back({{"four", 4}});
    EXPECT_EQ(json.size(), 4u);
    EXPECT_EQ(json.line(), R"([1,2,"three",{"four":4}])");
    EXPECT_EQ(Json::array().text(), "[]");
    EXPECT_EQ(Json::object().text(), "{}");
}

TEST(JsonTest, BytesThatAreNotUtf8BecomeTheReplacementCharacter) {
    EXPECT_EQ(Json("a\xFFz").text(), "\"a\xEF\xBF\xBDz\"");
    EXPECT_EQ(Json("line\n\"quoted\"\x01").text(), R"("line\n\"quoted\"\u0001")");
}
