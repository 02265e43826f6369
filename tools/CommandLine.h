#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "CommandError.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

// The command line of `ravelo`: what a subcommand needs to describe its options, without the headers of the parser,
// which take longer to compile than the rest of a subcommand.

// One option or positional argument: the name of its value in --help, and what it accepts. Calls can be chained.
class Argument {
public:
    explicit Argument(CLI::Option& option) : m_option(&option) {}

    Argument& value(std::string const& name);
    Argument& required();
    Argument& showDefault(); // the variable's current value
    Argument& oneOf(std::vector<std::string> const& choices);
    Argument& oneOf(std::initializer_list<int> choices);
    Argument& oneOf(std::span<const std::uint32_t> choices);
    Argument& between(std::uint64_t least, std::uint64_t most); // whole numbers
    Argument& within(double least, double most);
    Argument& separatedBy(char delimiter); // several values in one word
    Argument& excludes(Argument const& other);

private:
    CLI::Option* m_option;
};

// A subcommand, whose options store their values in variables of the caller. `names` is "-o,--output" for an option and
// "frames" for a positional argument.
class Subcommand {
public:
    explicit Subcommand(CLI::App& app) : m_app(&app) {}

    Argument flag(std::string const& names, bool& variable, std::string const& description);
    Argument option(std::string const& names, std::string& variable, std::string const& description);
    Argument option(std::string const& names, std::uint32_t& variable, std::string const& description);
    Argument option(std::string const& names, std::uint64_t& variable, std::string const& description);
    Argument option(std::string const& names, double& variable, std::string const& description);
    Argument option(std::string const& names, std::vector<std::string>& variable, std::string const& description);
    Argument option(std::string const& names, std::vector<std::uint64_t>& variable, std::string const& description);

private:
    CLI::App* m_app;
};

// An option or a positional argument as the parser describes it. Completions and manual pages are made from this, so
// that they always agree with --help.
struct OptionDescription {
    std::vector<std::string> shortNames; // without dashes
    std::vector<std::string> longNames;
    std::string positionalName; // as shown; empty for options
    std::string valueName;      // empty for flags
    std::vector<std::string> choices;
    std::string description;
    std::string defaultValue;
    bool isRequired = false;
    bool takesMany = false;

    bool isPositional() const { return !positionalName.empty(); }
    bool isFlag() const { return !isPositional() && valueName.empty(); }
    // True if the value is the name of a file, which shells complete themselves.
    bool takesFiles() const;
};

struct CommandDescription {
    std::string name;
    std::string description;
    std::vector<OptionDescription> options; // positional arguments first
};

class CommandLine {
public:
    CommandLine(std::string const& name, std::string const& description, std::string const& version);
    ~CommandLine();
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    // `describe` declares the options of the subcommand. It is called at most once, when they are needed: to declare
    // those of all subcommands would take a good part of the time that a short command runs.
    void add(std::string const& name, std::string const& description, std::function<void(Subcommand&)> describe,
             std::function<ExitCode()> run);

    // The run function of the subcommand in the arguments; empty after --help and --version, which print here. Throws
    // CommandError with ExitCode::Usage if the arguments are wrong.
    std::function<ExitCode()> parse(int numArguments, char** arguments);

    CommandDescription describe() const;
    std::vector<CommandDescription> describeSubcommands(); // in the order of --help

private:
    void describeOnce(std::size_t index);

    // A subcommand, and what declares its options; empty when that is done.
    struct Entry {
        CLI::App* app;
        std::function<void(Subcommand&)> describe;
    };

    std::unique_ptr<CLI::App> m_app;
    std::vector<Entry> m_entries;
    std::function<ExitCode()> m_chosen;
};
