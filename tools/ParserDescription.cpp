#include "ParserDescription.h"

#include <algorithm>
#include <array>
#include <sstream>

#include <CLI/Option.hpp>

namespace {

// The values in "SIZE:{full,half}", as the parser shows the set of values that it accepts.
std::vector<std::string> choicesOf(std::string const& typeName) {
    const std::size_t open = typeName.find('{');
    const std::size_t close = typeName.find('}', open);
    std::vector<std::string> choices;
    if (open == std::string::npos || close == std::string::npos)
        return choices;
    std::istringstream list(typeName.substr(open + 1, close - open - 1));
    for (std::string choice; std::getline(list, choice, ',');)
        choices.push_back(choice);
    return choices;
}

std::string upToColon(std::string const& text) {
    return text.substr(0, text.find(':'));
}

OptionDescription describeOption(CLI::Option const& option) {
    OptionDescription result;
    result.shortNames = option.get_snames();
    result.longNames = option.get_lnames();
    const bool isFlag = option.get_items_expected_max() == 0;
    const std::string typeName = isFlag ? "" : option.get_type_name();
    if (option.get_positional())
        result.positionalName = upToColon(typeName);
    else
        result.valueName = upToColon(typeName);
    result.choices = choicesOf(typeName);
    result.description = option.get_description();
    result.defaultValue = isFlag ? "" : option.get_default_str();
    result.isRequired = option.get_required();
    result.takesMany = option.get_items_expected_max() > 1;
    return result;
}

} // namespace

bool OptionDescription::takesFiles() const {
    constexpr std::array<const char*, 6> kFileNames = {"FRAME", "PICTURE", "OUT", "FILE", "FIRST", "SECOND"};
    std::string const& name = isPositional() ? positionalName : valueName;
    return std::find(kFileNames.begin(), kFileNames.end(), name) != kFileNames.end();
}

CommandDescription describeCommand(CLI::App const& command) {
    CommandDescription result;
    result.name = command.get_name();
    result.description = command.get_description();
    for (const CLI::Option* option : command.get_options())
        result.options.push_back(describeOption(*option));
    std::stable_partition(result.options.begin(), result.options.end(),
                          [](OptionDescription const& option) { return option.isPositional(); });
    return result;
}

std::vector<CommandDescription> describeSubcommands(CLI::App const& root) {
    std::vector<CommandDescription> commands;
    for (const CLI::App* command : root.get_subcommands([](const CLI::App*) { return true; }))
        commands.push_back(describeCommand(*command));
    return commands;
}
