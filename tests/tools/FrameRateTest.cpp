#include "FrameRate.h"

#include <gmock/gmock.h>

#include "CommandError.h"
#include "ToolsTestSupport.h"

using testing::HasSubstr;

namespace {

std::string rateOf(std::string const& text) {
    const FrameRate rate = parseFrameRate(text);
    return std::to_string(rate.numerator) + "/" + std::to_string(rate.denominator);
}

} // namespace

TEST(FrameRateTest, WholeNumbersAndFractionsAreTakenAsTheyAre) {
    EXPECT_EQ(rateOf("25"), "25/1");
    EXPECT_EQ(rateOf("24000/1001"), "24000/1001");
    EXPECT_EQ(rateOf("30000/1000"), "30000/1000");
    EXPECT_EQ(rateOf("1/60"), "1/60");
    EXPECT_EQ(rateOf("1000000/1"), "1000000/1");
}

TEST(FrameRateTest, DecimalsOfTelevisionBecomeTheirFractions) {
    EXPECT_EQ(rateOf("23.976"), "24000/1001");
    EXPECT_EQ(rateOf("23.98"), "24000/1001");
    EXPECT_EQ(rateOf("29.97"), "30000/1001");
    EXPECT_EQ(rateOf("59.94"), "60000/1001");
    EXPECT_EQ(rateOf("119.88"), "120000/1001");
}

TEST(FrameRateTest, OtherDecimalsAreTakenAsTheyAre) {
    EXPECT_EQ(rateOf("12.5"), "25/2");
    EXPECT_EQ(rateOf("25.00"), "25/1");
    EXPECT_EQ(rateOf("23.975"), "959/40");
    EXPECT_EQ(rateOf("0.5"), "1/2");
}

TEST(FrameRateTest, OtherTextsAreUsageErrors) {
    for (const char* text :
         {"",   "0",     "0/1",    "25/0", "-25",     "25/",        "/25",       "25/1/1", "fast", "25.",
          ".5", "2.5.5", "1.2345", "0.0",  "1000001", "4294967321", "1/1000001", "1e3",    " 25",  "25 "}) {
        try {
            parseFrameRate(text);
            ADD_FAILURE() << text;
        } catch (CommandError const& error) {
            EXPECT_EQ(error.exitCode(), ExitCode::Usage) << text;
        }
    }
}

TEST(FrameRateTest, ReachesTheHeaderOfAStream) {
    const std::string frame = vectorPath("valid422-1.rvl");
    EXPECT_THAT(runRavelo({"decode", frame, "-F", "y4m", "-o", "-", "--fps", "24000/1001"}).output,
                HasSubstr(" F24000:1001 "));
    EXPECT_THAT(runRavelo({"decode", frame, "-F", "y4m", "-o", "-"}).output, HasSubstr(" F25:1 "));
    EXPECT_EQ(runRavelo({"decode", frame, "-F", "y4m", "-o", "-", "--fps", "24/0"}).exitCode, 2);
}
