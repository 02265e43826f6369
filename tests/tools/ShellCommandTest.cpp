#include <sstream>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ToolsTestSupport.h"

using testing::HasSubstr;

namespace {

const std::vector<std::string> kCommands = {"info",    "decode", "encode",     "verify", "inspect",
                                            "compare", "bench",  "completion", "man"};

// The long options that --help of a command shows.
std::vector<std::string> longOptionsOf(std::string const& command) {
    std::istringstream help(runRavelo({command, "--help"}).output);
    std::vector<std::string> options;
    for (std::string word; help >> word;) {
        // An option may have several names.
        std::istringstream names(word);
        for (std::string name; std::getline(names, name, ',');)
            if (name.starts_with("--"))
                options.push_back(name);
    }
    return options;
}

std::string withTypedHyphens(std::string const& text) {
    std::string result;
    for (const char c : text) {
        if (c == '-')
            result.push_back('\\');
        result.push_back(c);
    }
    return result;
}

// The lines of the shell in the examples of a manual page.
std::vector<std::string> examplesOf(std::string const& page) {
    const auto begin = page.find(".SH EXAMPLES\n");
    std::istringstream lines(begin == std::string::npos ? "" : page.substr(begin, page.find(".SH EXIT") - begin));
    std::vector<std::string> examples;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("\\fB"))
            continue;
        std::erase(line, '\\');
        examples.push_back(line.substr(2, line.size() - 4)); // without fB and fR
    }
    return examples;
}

} // namespace

TEST(ShellCommandTest, HelpIsNoError) {
    const CommandResult result = runRavelo({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    for (std::string const& command : kCommands) {
        EXPECT_THAT(result.output, HasSubstr(fmt::format("  {} ", command)));
        EXPECT_EQ(runRavelo({command, "--help"}).exitCode, 0);
    }
}

TEST(ShellCommandTest, VersionIsTheProjects) {
    const CommandResult result = runRavelo({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "ravelo " RAVELO_COMMAND_VERSION "\n");
}

TEST(ShellCommandTest, ManualPagesHaveEveryOption) {
    for (std::string const& command : kCommands) {
        const CommandResult page = runRavelo({"man", command});
        ASSERT_EQ(page.exitCode, 0);
        EXPECT_THAT(page.output, testing::StartsWith(".TH RAVELO-"));
        for (std::string const& option : longOptionsOf(command))
            EXPECT_THAT(page.output, HasSubstr(fmt::format("\\fB{}\\fR", withTypedHyphens(option)))) << command;
    }
    EXPECT_EQ(runRavelo({"man"}).exitCode, 0);
    EXPECT_EQ(runRavelo({"man", "nothing"}).exitCode, 2);
}

TEST(ShellCommandTest, ExamplesOfTheManualPagesWork) {
    const TestFolder folder;
    writeTestFile(folder.path("picture.ppm"), smoothPpm(96, 64));
    for (const char* name : {"frame.rvl", "shot.0001.rvl", "shot.0002.rvl", "shot.0003.rvl"})
        encodeSmooth(folder, name, 96, 64);
    for (std::string const& command : kCommands) {
        const std::vector<std::string> examples = examplesOf(runRavelo({"man", command}).output);
        EXPECT_FALSE(examples.empty()) << command;
        for (std::string const& example : examples) {
            const CommandResult result = runShell(fmt::format(
                "set -o pipefail; ravelo() {{ \"$RAVELO\" \"$@\"; }}; cd {}; {}", folder.path(""), example));
            EXPECT_EQ(result.exitCode, 0) << example << '\n' << result.error;
        }
    }
    EXPECT_THAT(folder.files(), testing::IsSupersetOf({"small.png", "picture.0003.png", "report.html", "bytes.png"}));
}

TEST(ShellCommandTest, CompletionsHaveEveryOption) {
    for (const char* shell : {"bash", "zsh", "fish"}) {
        const CommandResult script = runRavelo({"completion", shell});
        ASSERT_EQ(script.exitCode, 0);
        for (std::string const& command : kCommands)
            for (std::string const& option : longOptionsOf(command))
                EXPECT_THAT(script.output,
                            HasSubstr(std::string(shell) == "fish" ? fmt::format("-l {}", option.substr(2)) : option))
                    << shell << ' ' << command;
    }
    EXPECT_EQ(runRavelo({"completion", "tcsh"}).exitCode, 2);
}

TEST(ShellCommandTest, BashCompletesCommandsOptionsAndValues) {
    const std::string load = "source <($RAVELO completion bash); complete_() { COMP_WORDS=(\"$@\"); "
                             "COMP_CWORD=$(($# - 1)); _ravelo; echo \"${COMPREPLY[@]}\"; }; ";
    EXPECT_EQ(runShell(load + "complete_ ravelo dec").output, "decode\n");
    EXPECT_EQ(runShell(load + "complete_ ravelo decode --miss").output, "--missing\n");
    EXPECT_EQ(runShell(load + "complete_ ravelo decode --size ''").output, "full half quarter eighth\n");
    EXPECT_EQ(runShell(load + "complete_ ravelo completion f").output, "fish\n");
}

TEST(UsageTest, WhatStandsInThePlaceOfASubcommandIsNamed) {
    const auto errorOf = [](std::vector<std::string> const& arguments) {
        const CommandResult result = runRavelo(arguments);
        EXPECT_EQ(result.exitCode, 2);
        return result.error;
    };
    EXPECT_EQ(errorOf({}), "ravelo: a subcommand is required; see ravelo --help\n");
    EXPECT_EQ(errorOf({"frobnicate", "a.rvl"}), "ravelo: frobnicate is not a subcommand; see ravelo --help\n");
    EXPECT_EQ(errorOf({"--frobnicate"}), "ravelo: --frobnicate is not an option; see ravelo --help\n");
}
