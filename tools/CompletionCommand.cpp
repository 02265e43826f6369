#include "CompletionCommand.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Report.h"
#include "SharedOptions.h"

namespace {

struct CompletionOptions {
    std::string shell;
    CommandLine* commandLine = nullptr;
};

// All spellings of an option, with their dashes.
std::vector<std::string> spellingsOf(OptionDescription const& option) {
    std::vector<std::string> names;
    for (std::string const& name : option.shortNames)
        names.push_back(fmt::format("-{}", name));
    for (std::string const& name : option.longNames)
        names.push_back(fmt::format("--{}", name));
    return names;
}

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// Inside single quotes of a shell.
std::string quoted(std::string const& text) {
    return replaceAll(text, "'", "'\\''");
}

std::string bashWords(CommandDescription const& command) {
    std::string words;
    for (OptionDescription const& option : command.options)
        if (!option.isPositional())
            words += fmt::format("{} ", fmt::join(spellingsOf(option), " "));
    return words;
}

// The values that may follow each option with a fixed set of values, and the words of positional arguments.
std::string bashCommand(CommandDescription const& command) {
    std::string text = fmt::format("    {})\n        case \"$previous\" in\n", command.name);
    std::string positionalWords;
    for (OptionDescription const& option : command.options) {
        if (option.isPositional())
            positionalWords += fmt::format("{} ", fmt::join(option.choices, " "));
        else if (!option.choices.empty())
            text += fmt::format("        {}) words='{}' ;;\n", fmt::join(spellingsOf(option), "|"),
                                fmt::join(option.choices, " "));
    }
    text += fmt::format("        *) words='{}{}' ;;\n        esac\n        ;;\n", bashWords(command),
                        positionalWords == " " ? "" : positionalWords);
    return text;
}

std::string bashCompletion(std::vector<CommandDescription> const& commands) {
    std::string names;
    for (CommandDescription const& command : commands)
        names += command.name + " ";
    std::string text = "# bash completion for ravelo\n_ravelo() {\n"
                       "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} words=''\n"
                       "    COMPREPLY=()\n"
                       "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n";
    text += fmt::format("        COMPREPLY=($(compgen -W '{}--help --version' -- \"$current\"))\n"
                        "        return\n    fi\n    case \"${{COMP_WORDS[1]}}\" in\n",
                        names);
    for (CommandDescription const& command : commands)
        text += bashCommand(command);
    text += "    esac\n    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n}\n"
            "complete -o bashdefault -o default -F _ravelo ravelo\n";
    return text;
}

std::string zshValue(OptionDescription const& option) {
    if (!option.choices.empty())
        return fmt::format("({})", fmt::join(option.choices, " "));
    return option.takesFiles() ? "_files" : " ";
}

// Colons and brackets are special in the lists of zsh.
std::string zshText(std::string const& text) {
    std::string result = quoted(text);
    for (const char* special : {":", "[", "]"})
        result = replaceAll(result, special, std::string("\\") + special);
    return result;
}

std::string zshOption(OptionDescription const& option) {
    std::string text;
    if (option.isPositional())
        return fmt::format("            '{}:{}:{}' \\\n", option.takesMany ? "*" : "", zshText(option.positionalName),
                           zshValue(option));
    for (std::string const& name : spellingsOf(option)) {
        const std::string value = option.isFlag() ? "" : fmt::format(":{}:{}", option.valueName, zshValue(option));
        text += fmt::format("            '{}[{}]{}' \\\n", name, zshText(option.description), value);
    }
    return text;
}

std::string zshCompletion(std::vector<CommandDescription> const& commands) {
    std::string text = "#compdef ravelo\n_ravelo() {\n    local -a commands=(\n";
    for (CommandDescription const& command : commands)
        text += fmt::format("        '{}:{}'\n", command.name, zshText(command.description));
    text += "    )\n    if (( CURRENT == 2 )); then\n        _describe command commands\n        return\n    fi\n"
            "    case \"$words[2]\" in\n";
    for (CommandDescription const& command : commands) {
        text +=
            fmt::format("    {})\n        shift words\n        (( CURRENT-- ))\n        _arguments \\\n", command.name);
        for (OptionDescription const& option : command.options)
            text += zshOption(option);
        text += "            && return\n        ;;\n";
    }
    text += "    esac\n}\n_ravelo \"$@\"\n";
    return text;
}

std::string fishOption(std::string const& command, OptionDescription const& option) {
    std::string text = fmt::format("complete -c ravelo -n '__fish_seen_subcommand_from {}'", command);
    if (!option.isPositional()) {
        for (std::string const& name : option.shortNames)
            text += " -s " + name;
        for (std::string const& name : option.longNames)
            text += " -l " + name;
    }
    if (!option.choices.empty())
        text += fmt::format("{} -a '{}'", option.isPositional() ? " -f" : " -x", fmt::join(option.choices, " "));
    else if (!option.isFlag())
        text += option.takesFiles() ? " -r -F" : " -x";
    return text + fmt::format(" -d '{}'\n", quoted(option.description));
}

std::string fishCompletion(std::vector<CommandDescription> const& commands) {
    std::string text = "# fish completion for ravelo\n";
    for (CommandDescription const& command : commands)
        text += fmt::format("complete -c ravelo -f -n '__fish_use_subcommand' -a {} -d '{}'\n", command.name,
                            quoted(command.description));
    for (CommandDescription const& command : commands)
        for (OptionDescription const& option : command.options)
            if (!option.isPositional() || !option.choices.empty())
                text += fishOption(command.name, option);
    return text;
}

ExitCode runCompletion(CompletionOptions const& options) {
    const std::vector<CommandDescription> commands = options.commandLine->describeSubcommands();
    printReport(options.shell == "bash"  ? bashCompletion(commands)
                : options.shell == "zsh" ? zshCompletion(commands)
                                         : fishCompletion(commands));
    return ExitCode::Done;
}

void describeCompletion(Subcommand& command, CompletionOptions& options) {
    command.option("shell", options.shell, "the shell").value("SHELL").required().oneOf({"bash", "zsh", "fish"});
}

} // namespace

void addCompletionCommand(CommandLine& commandLine) {
    const auto options = std::make_shared<CompletionOptions>();
    options->commandLine = &commandLine;
    addCommand(commandLine, "completion", "Print the completion script of a shell", options, describeCompletion,
               runCompletion);
}
