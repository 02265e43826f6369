#include "CommandLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <sstream>
#include <type_traits>
#include <utility>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <fmt/format.h>

#include "ParsedNumber.h"

Argument& Argument::value(std::string const& name) {
    m_option->type_name(name);
    return *this;
}

Argument& Argument::required() {
    m_option->required();
    return *this;
}

Argument& Argument::showDefault() {
    m_option->capture_default_str();
    return *this;
}

Argument& Argument::oneOf(std::vector<std::string> const& choices) {
    m_option->check(CLI::IsMember(choices));
    return *this;
}

Argument& Argument::oneOf(std::initializer_list<int> choices) {
    m_option->check(CLI::IsMember(choices));
    return *this;
}

Argument& Argument::oneOf(std::span<const std::uint32_t> choices) {
    m_option->check(CLI::IsMember(std::vector(choices.begin(), choices.end())));
    return *this;
}

namespace {

// The error in the text of a number, with the accepted range; empty if there is none. A valid number is rewritten in
// plain form, since the parser reads a leading zero as octal.
template <typename Number>
std::string checkNumber(std::string& text, Number least, Number most) {
    const std::optional<Number> number = parsedNumber<Number>(text);
    if (number >= least && number <= most) {
        text = fmt::format("{}", *number);
        return "";
    }
    const char* const textEnd = text.data() + text.size();
    double anyNumber = 0;
    const auto [anyEnd, anyError] = std::from_chars(text.data(), textEnd, anyNumber);
    const bool isWhole = std::floor(anyNumber) == anyNumber || !std::isfinite(anyNumber);
    const bool isNumber = anyError != std::errc::invalid_argument && anyEnd == textEnd;
    const char* const fault = isNumber && (std::is_floating_point_v<Number> || isWhole) ? "out of range"
                              : std::is_floating_point_v<Number>                        ? "not a number"
                                                                                        : "not a whole number";
    return fmt::format("{} is {} ({} to {})", text, fault, least, most);
}

template <typename Number>
CLI::Validator numberValidator(Number least, Number most) {
    return CLI::Validator([least, most](std::string& text) { return checkNumber(text, least, most); },
                          fmt::format("{} to {}", least, most));
}

} // namespace

Argument& Argument::between(std::uint64_t least, std::uint64_t most) {
    m_option->transform(numberValidator(least, most));
    return *this;
}

Argument& Argument::within(double least, double most) {
    m_option->transform(numberValidator(least, most));
    return *this;
}

Argument& Argument::separatedBy(char delimiter) {
    m_option->delimiter(delimiter);
    return *this;
}

Argument& Argument::excludes(Argument const& other) {
    m_option->excludes(other.m_option);
    return *this;
}

Argument Subcommand::flag(std::string const& names, bool& variable, std::string const& description) {
    return Argument(*m_app->add_flag(names, variable, description));
}

Argument Subcommand::option(std::string const& names, std::string& variable, std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

Argument Subcommand::option(std::string const& names, std::uint32_t& variable, std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

Argument Subcommand::option(std::string const& names, std::uint64_t& variable, std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

Argument Subcommand::option(std::string const& names, double& variable, std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

Argument Subcommand::option(std::string const& names, std::vector<std::string>& variable,
                            std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

Argument Subcommand::option(std::string const& names, std::vector<std::uint64_t>& variable,
                            std::string const& description) {
    return Argument(*m_app->add_option(names, variable, description));
}

bool OptionDescription::takesFiles() const {
    constexpr std::array<const char*, 6> kFileNames = {"FRAME", "PICTURE", "OUT", "FILE", "FIRST", "SECOND"};
    std::string const& name = isPositional() ? positionalName : valueName;
    return std::find(kFileNames.begin(), kFileNames.end(), name) != kFileNames.end();
}

namespace {

// The values in "SIZE:{full,half}", the parser's notation for a set of accepted values.
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

CommandDescription describeApp(CLI::App const& app) {
    CommandDescription result;
    result.name = app.get_name();
    result.description = app.get_description();
    for (const CLI::Option* option : app.get_options())
        result.options.push_back(describeOption(*option));
    std::stable_partition(result.options.begin(), result.options.end(),
                          [](OptionDescription const& option) { return option.isPositional(); });
    return result;
}

// The error in the arguments. If the subcommand is missing, the parser's own text does not name the word in its place.
std::string messageOf(CLI::App const& app, CLI::ParseError const& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError) || !app.get_subcommands().empty())
        return error.what();
    const std::vector<std::string> unknown = app.remaining();
    if (unknown.empty())
        return "a subcommand is required";
    return fmt::format("{} is not {}", unknown.front(),
                       unknown.front().starts_with('-') ? "an option" : "a subcommand");
}

} // namespace

CommandLine::CommandLine(std::string const& name, std::string const& description, std::string const& version)
    : m_app(std::make_unique<CLI::App>(description, name)) {
    m_app->set_version_flag("--version", version);
    m_app->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

void CommandLine::add(std::string const& name, std::string const& description,
                      std::function<void(Subcommand&)> describe, std::function<ExitCode()> run) {
    CLI::App* const subcommand = m_app->add_subcommand(name, description);
    // The parser calls this when it has seen the name, before it reads the words after it.
    subcommand->preparse_callback([this, index = m_entries.size()](std::size_t) { describeOnce(index); });
    subcommand->callback([this, run = std::move(run)] { m_chosen = run; });
    m_entries.push_back({subcommand, std::move(describe)});
}

void CommandLine::describeOnce(std::size_t index) {
    Entry& entry = m_entries[index];
    if (!entry.describe)
        return;
    Subcommand command(*entry.app);
    std::exchange(entry.describe, nullptr)(command);
}

std::function<ExitCode()> CommandLine::parse(int numArguments, char** arguments) {
    try {
        m_app->parse(numArguments, arguments);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
            throw usageError("{}; see ravelo --help", messageOf(*m_app, error));
        m_app->exit(error);
        return {};
    }
    return m_chosen;
}

CommandDescription CommandLine::describe() const {
    return describeApp(*m_app);
}

std::vector<CommandDescription> CommandLine::describeSubcommands() {
    std::vector<CommandDescription> commands;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        describeOnce(i);
        commands.push_back(describeApp(*m_entries[i].app));
    }
    return commands;
}
