// What files and names from strangers can make the command do: take memory and time, and write to the terminal.

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

namespace {

constexpr std::uint64_t kMebibyte = 1 << 20;

const std::string kFrame = vectorPath("valid422-1.rvl");

} // namespace

TEST(HostileCommandTest, AFileWithoutEndThatIsNotAFrameIsRefusedAtOnce) {
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"info", "/dev/zero"},
                                                      {"decode", "/dev/zero", "-F", "null"},
                                                      {"verify", "/dev/zero"},
                                                      {"inspect", "/dev/zero"},
                                                      {"bench", "/dev/zero"},
                                                      {"compare", "/dev/zero", kFrame},
                                                      {"compare", kFrame, "/dev/zero"},
                                                      {"encode", "/dev/zero", "-o", "-"}}) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments[0];
        expectOneLine(result.error);
        expectMemoryBelow(40 * kMebibyte, result);
    }
}

TEST(HostileCommandTest, WhatFollowsAFrameWithoutEndIsNotRead) {
    for (const char* call :
         {"info -", "decode - -F null", "verify -", "inspect -", "bench --iterations 1 -", "compare - \"$FRAME\""}) {
        const CommandResult result =
            runShell(fmt::format("FRAME='{}'; cat \"$FRAME\" /dev/zero | $RAVELO {}", kFrame, call));
        EXPECT_EQ(result.exitCode, 0) << call << ": " << result.error;
        expectMemoryBelow(40 * kMebibyte, result);
    }
}
