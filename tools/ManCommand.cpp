#include "ManCommand.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Report.h"
#include "SharedOptions.h"

namespace {

struct ManOptions {
    std::string command;
    CommandLine* commandLine = nullptr;
};

// Escapes hyphens that the user types, and the start of a line that would be a request of the formatter.
std::string roff(std::string const& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\')
            result += "\\e";
        else if (c == '-')
            result += "\\-";
        else
            result += c;
    }
    return result.starts_with('.') || result.starts_with('\'') ? fmt::format("\\&{}", result) : result;
}

std::string header(std::string const& title, std::string const& name, std::string const& description) {
    return fmt::format(".TH {} 1 \"\" \"RaveloOpt {}\" \"RaveloOpt\"\n.SH NAME\n{} \\- {}\n", title,
                       RAVELO_COMMAND_VERSION, roff(name), roff(description));
}

struct Example {
    const char* command;
    const char* purpose;
    const char* line;
};

// A test runs them in this order, in a folder with picture.ppm, frame.rvl and three frames of a sequence.
constexpr Example kExamples[] = {
    {"info", "The header of a frame:", "ravelo info frame.rvl"},
    {"info", "A line for each frame of a sequence:", "ravelo info --brief shot.####.rvl"},
    {"decode",
     "A picture of a quarter of the width and height:", "ravelo decode frame.rvl -o small.png --size quarter"},
    {"decode", "A sequence, of which some pictures may be there already:",
     "ravelo decode shot.####.rvl -o picture.####.png --skip-existing"},
    {"decode", "Pixels for another program:", "ravelo decode frame.rvl -F raw -o - | wc -c"},
    {"decode",
     "A list of hashes, with which later copies can be compared:", "ravelo decode shot.####.rvl -F xxh3 > hashes.txt"},
    {"encode", "A frame of four bits per pixel:", "ravelo encode picture.ppm -o picture.rvl --bpp 4"},
    {"encode",
     "A frame of high quality with all samples of chroma:", "ravelo encode picture.ppm -o full.rvl --q 1 --chroma 444"},
    {"verify", "All frames of a sequence, with a page for people:", "ravelo verify shot.####.rvl --html report.html"},
    {"verify", "Whether the pixels are those of a list of hashes:", "ravelo verify shot.####.rvl --list hashes.txt"},
    {"inspect", "How the bytes are distributed over the slices:", "ravelo inspect frame.rvl --totals"},
    {"inspect", "The same as a picture:", "ravelo inspect frame.rvl --picture bytes.png"},
    {"compare", "How much a picture has changed, and whether that is too much:",
     "ravelo compare picture.ppm picture.rvl --min-psnr 30"},
    {"bench", "The time of a decode with one thread and with two:", "ravelo bench frame.rvl --threads 1,2"},
    {"completion", "Completion in the shell that runs:", "source <(ravelo completion bash)"},
    {"man", "The page of a subcommand:", "ravelo man decode | man -l -"},
};

std::string examplesOf(std::string const& command) {
    std::string text = ".SH EXAMPLES\n";
    for (Example const& example : kExamples)
        if (command == example.command)
            text += fmt::format(".TP\n{}\n\\fB{}\\fR\n", example.purpose, roff(example.line));
    return text;
}

std::string exitCodes() {
    return ".SH EXIT STATUS\n"
           ".TP\n.B 0\nDone.\n"
           ".TP\n.B 1\nFailed: a file cannot be read or written, or an input is not of a known kind.\n"
           ".TP\n.B 2\nThe command line is wrong.\n"
           ".TP\n.B 3\nDone, but slices of a frame failed.\n"
           ".TP\n.B 4\nAn input exceeds a limit.\n"
           ".TP\n.B 5\nA comparison found more difference than allowed, or a hash differs.\n"
           ".TP\n.B 129, 130, 143\nInterrupted by SIGHUP, SIGINT or SIGTERM; unfinished files are removed.\n"
           ".TP\n.B 141\nStandard output was closed by its reader.\n";
}

std::string spelling(OptionDescription const& option) {
    std::vector<std::string> names;
    for (std::string const& name : option.shortNames)
        names.push_back(fmt::format("\\fB{}\\fR", roff(fmt::format("-{}", name))));
    for (std::string const& name : option.longNames)
        names.push_back(fmt::format("\\fB{}\\fR", roff(fmt::format("--{}", name))));
    std::string text = fmt::format("{}", fmt::join(names, ", "));
    if (!option.isFlag())
        text += fmt::format(" \\fI{}\\fR", roff(option.valueName));
    return text;
}

std::string optionText(OptionDescription const& option) {
    std::string text = ".TP\n";
    text += option.isPositional() ? fmt::format("\\fI{}\\fR", roff(option.positionalName)) : spelling(option);
    text += fmt::format("\n{}.\n", roff(option.description));
    if (!option.choices.empty())
        text += roff(fmt::format("One of {}.", fmt::join(option.choices, ", "))) + "\n";
    if (!option.defaultValue.empty())
        text += roff(fmt::format("The default is {}.", option.defaultValue)) + "\n";
    return text;
}

std::string commandPage(CommandDescription const& command) {
    std::string title = fmt::format("RAVELO-{}", command.name);
    std::transform(title.begin(), title.end(), title.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    std::string text = header(title, fmt::format("ravelo-{}", command.name), command.description);
    text += fmt::format(".SH SYNOPSIS\n\\fBravelo {}\\fR", command.name);
    for (OptionDescription const& option : command.options) {
        if (option.isPositional())
            text += fmt::format(" \\fI{}\\fR{}", option.positionalName, option.takesMany ? "..." : "");
        else if (option.isRequired)
            text += " " + spelling(option);
    }
    text += " [\\fIOPTIONS\\fR]\n.SH OPTIONS\n";
    for (OptionDescription const& option : command.options)
        text += optionText(option);
    return text + examplesOf(command.name) + exitCodes() + ".SH SEE ALSO\n.BR ravelo (1)\n";
}

std::string mainPage(CommandLine& commandLine) {
    const CommandDescription root = commandLine.describe();
    const std::vector<CommandDescription> commands = commandLine.describeSubcommands();
    std::string text = header("RAVELO", "ravelo", root.description);
    text += ".SH SYNOPSIS\n\\fBravelo\\fR \\fICOMMAND\\fR ...\n.SH COMMANDS\n";
    for (CommandDescription const& command : commands)
        text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", command.name, roff(command.description));
    text += ".SH OPTIONS\n";
    for (OptionDescription const& option : root.options)
        text += optionText(option);
    text += exitCodes() + ".SH SEE ALSO\n";
    for (std::size_t i = 0; i < commands.size(); ++i)
        text += fmt::format(".BR ravelo\\-{} (1){}\n", commands[i].name, i + 1 < commands.size() ? "," : "");
    return text;
}

ExitCode runMan(ManOptions const& options) {
    if (options.command.empty()) {
        printReport(mainPage(*options.commandLine));
        return ExitCode::Done;
    }
    for (CommandDescription const& command : options.commandLine->describeSubcommands()) {
        if (command.name == options.command) {
            printReport(commandPage(command));
            return ExitCode::Done;
        }
    }
    throw usageError("{} is not a command; see ravelo --help", options.command);
}

void describeMan(Subcommand& command, ManOptions& options) {
    command.option("command", options.command, "the command; without it, the page of ravelo itself").value("COMMAND");
}

} // namespace

void addManCommand(CommandLine& commandLine) {
    const auto options = std::make_shared<ManOptions>();
    options->commandLine = &commandLine;
    addCommand(commandLine, "man", "Print a manual page for man -l -", options, describeMan, runMan);
}
