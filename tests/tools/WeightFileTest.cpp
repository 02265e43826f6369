#include "WeightFile.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using testing::HasSubstr;

namespace {

std::string weightErrorOf(std::string const& content) {
    const TestFolder folder;
    writeTestFile(folder.path("w"), content);
    try {
        readWeights(folder.path("w"));
    } catch (CommandError const& error) {
        return error.what();
    }
    return "";
}

std::string numbers(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += std::to_string(i % 255 + 1) + (i % 3 == 0 ? ", " : i % 3 == 1 ? "\r\n" : "\t ");
    return text;
}

} // namespace

TEST(WeightFileTest, NumbersMayBeSeparatedInEveryWay) {
    const TestFolder folder;
    writeTestFile(folder.path("w"), " \n" + numbers(64));
    const WeightMatrix weights = readWeights(folder.path("w"));
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(weights[static_cast<std::size_t>(i)], i + 1);
}

TEST(WeightFileTest, AnythingButSixtyFourWeightsIsRefused) {
    EXPECT_THAT(weightErrorOf(""), HasSubstr("contains 0 weights; a matrix has 64"));
    EXPECT_THAT(weightErrorOf(numbers(63)), HasSubstr("contains 63 weights"));
    EXPECT_THAT(weightErrorOf(numbers(65)), HasSubstr("contains 65 weights"));
    EXPECT_THAT(weightErrorOf(numbers(63) + "0"), HasSubstr("weight 64 is 0; it can be 1 to 255"));
    EXPECT_THAT(weightErrorOf("256 " + numbers(63)), HasSubstr("weight 1 is 256"));
    EXPECT_THAT(weightErrorOf("4 4 -4"), HasSubstr("weight 3 is -4"));
    EXPECT_THAT(weightErrorOf("4x"), HasSubstr("weight 1 is 4x"));
    EXPECT_THAT(weightErrorOf("\x1b[2J"), HasSubstr("weight 1 is \\x1b[2J"));
    EXPECT_THAT(weightErrorOf(std::string(5000, ' ')), HasSubstr("larger than the limit"));
}
