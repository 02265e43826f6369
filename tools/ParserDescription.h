#pragma once

#include <string>
#include <vector>

#include <CLI/App.hpp>

// What the parser knows of an option or a positional argument. Completions and manual pages are made from it alone, so
// that they cannot say anything else than --help.
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
    // Names of files come from the disk and not from a list.
    bool takesFiles() const;
};

struct CommandDescription {
    std::string name;
    std::string description;
    std::vector<OptionDescription> options; // positional arguments first
};

CommandDescription describeCommand(CLI::App const& command);

// The subcommands, in the order of --help.
std::vector<CommandDescription> describeSubcommands(CLI::App const& root);
