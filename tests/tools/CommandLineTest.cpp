#include "CommandLine.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct WrongValue {
    std::vector<std::string> arguments;
    std::string message;
};

} // namespace

TEST(CommandLineTest, AWrongNumberIsRefusedWithTheOptionAndItsRange) {
    constexpr const char* kMaxPixels = "(0 to 18446744073709551615)";
    for (WrongValue const& wrong : std::vector<WrongValue>{
             {{"info", "x", "--max-pixels", "-1"}, fmt::format("--max-pixels: -1 is out of range {}", kMaxPixels)},
             {{"info", "x", "--max-pixels", "18446744073709551616"},
              "--max-pixels: 18446744073709551616 is out of range"},
             {{"info", "x", "--max-pixels", "1.5"},
              fmt::format("--max-pixels: 1.5 is not a whole number {}", kMaxPixels)},
             {{"info", "x", "--max-pixels", "10k"}, "--max-pixels: 10k is not a whole number"},
             {{"info", "x", "--max-pixels", "nan"}, "--max-pixels: nan is out of range"},
             {{"encode", "x", "-o", "y", "--bpp", "0"}, "--bpp: 0 is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "-1"}, "--bpp: -1 is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "64.5"}, "--bpp: 64.5 is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "nan"}, "--bpp: nan is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "inf"}, "--bpp: inf is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "1e999"}, "--bpp: 1e999 is out of range (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--bpp", "4x"}, "--bpp: 4x is not a number (0.05 to 64)"},
             {{"encode", "x", "-o", "y", "--q", "256"}, "--q: 256 is out of range (1 to 255)"},
             {{"encode", "x", "-o", "y", "--q", "-1"}, "--q: -1 is out of range (1 to 255)"},
             {{"encode", "x", "-o", "y", "--slice", "3"}, "--slice: 3 not in {1,2,4,8}"},
             {{"decode", "x", "--depth", "9"}, "--depth: 9 not in {8,10,15,16}"},
             {{"decode", "x", "--threads", "1025"}, "--threads: 1025 is out of range (0 to 1024)"},
             {{"decode", "x", "--in-flight", "-1"}, "--in-flight: -1 is out of range (0 to 1024)"},
             {{"decode", "x", "-o", "y.y4m", "--fps", "0"}, "--fps: 0 is not a rate"},
             {{"decode", "x", "-o", "y.y4m", "--fps", "nan"}, "--fps: nan is not a rate"},
             {{"bench", "x", "--threads", "1,-2"}, "--threads: -2 is out of range (0 to 1024)"},
             {{"bench", "x", "--in-flight", "0"}, "--in-flight: 0 is out of range (1 to 1024)"},
             {{"bench", "x", "--iterations", "0"}, "--iterations: 0 is out of range (1 to 1000000)"},
             {{"compare", "x", "y", "--min-psnr", "nan"}, "--min-psnr: nan is out of range (0 to 200)"},
             {{"compare", "x", "y", "--max-difference", "inf"}, "--max-difference: inf is out of range (0 to 256)"},
             {{"info", "x", "--frames", "5-1"}, "--frames: the range '5-1' ends before it starts"}}) {
        const CommandResult result = runRavelo(wrong.arguments);
        EXPECT_EQ(result.exitCode, 2) << wrong.message;
        expectOneLine(result.error);
        EXPECT_THAT(result.error, HasSubstr(wrong.message));
    }
}

TEST(CommandLineTest, NumbersMeanWhatTheyMeanToPeople) {
    std::uint64_t whole = 0;
    double real = 0;
    const auto parse = [&](std::vector<const char*> arguments) {
        CommandLine commandLine("test", "", "");
        const auto describe = [&](Subcommand& command) {
            command.option("--whole", whole, "").between(8, 100);
            command.option("--real", real, "").within(0.5, 2);
        };
        commandLine.add("run", "", describe, [] { return ExitCode::Done; });
        arguments.insert(arguments.begin(), {"test", "run"});
        commandLine.parse(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
    };
    parse({"--whole", "010", "--real", "1e0"});
    EXPECT_EQ(whole, 10u) << "not octal";
    EXPECT_EQ(real, 1);
    parse({"--whole", "8", "--real", "0.5"});
    EXPECT_EQ(whole, 8u);
    EXPECT_EQ(real, 0.5);
    parse({"--whole", "100", "--real", "2"});
    EXPECT_EQ(whole, 100u);
    EXPECT_EQ(real, 2);
    EXPECT_THROW(parse({"--whole", "7"}), CommandError);
    EXPECT_THROW(parse({"--whole", "101"}), CommandError);
    EXPECT_THROW(parse({"--real", "2.0000001"}), CommandError);
}

TEST(CommandLineTest, OptionsAreDeclaredOnceAndOnlyThoseOfTheChosenSubcommand) {
    std::vector<std::string> declared;
    CommandLine commandLine("test", "", "");
    for (const std::string name : {"first", "second"}) {
        const auto describe = [&declared, name](Subcommand& command) {
            declared.push_back(name);
            static bool variable = false;
            command.flag("--" + name, variable, "");
        };
        commandLine.add(name, "", describe, [] { return ExitCode::Done; });
    }
    std::vector<const char*> arguments = {"test", "second", "--second"};
    commandLine.parse(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
    EXPECT_THAT(declared, ElementsAre("second"));
    const std::vector<CommandDescription> commands = commandLine.describeSubcommands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_THAT(commands[0].options.back().longNames, ElementsAre("first"));
    EXPECT_THAT(declared, ElementsAre("second", "first"));
}
