#include <exception>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include "Command.h"
#include "Interrupt.h"

namespace {

// Messages of other libraries may run over several lines; the first says what is wrong.
std::string firstLine(std::string const& text) {
    return text.substr(0, text.find('\n'));
}

// A file that is opened must not get the number of a stream that the caller has closed, or reports would go there. In
// the wrong direction, so that the use of such a stream is still an error.
void occupyClosedStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int report(ExitCode exitCode, std::string const& text) {
    fmt::print(stderr, "ravelo: {}\n", firstLine(text));
    return static_cast<int>(exitCode);
}

// What is wrong with the command line. For a missing subcommand the parser's own text leaves out what stands in its
// place.
std::string usageError(CLI::App const& app, CLI::ParseError const& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError) || !app.get_subcommands().empty())
        return error.what();
    const std::vector<std::string> unknown = app.remaining();
    if (unknown.empty())
        return "a subcommand is required";
    return fmt::format("{} is no {}", unknown.front(), unknown.front().front() == '-' ? "option" : "subcommand");
}

int runCommand(Invocation const& invocation) {
    try {
        return static_cast<int>(invocation.run());
    } catch (CommandError const& error) {
        return report(error.exitCode(), error.what());
    } catch (std::bad_alloc const&) {
        return report(ExitCode::Failed, "not enough memory");
    } catch (std::exception const& error) {
        return report(ExitCode::Failed, error.what());
    }
}

int parseAndRun(int numArguments, char** arguments) {
    CLI::App app("Encodes, decodes and examines frames of the Ravelo intra-frame video format.", "ravelo");
    app.set_version_flag("--version", "ravelo " RAVELO_COMMAND_VERSION);
    Invocation invocation;
    addAllCommands(app, invocation);
    try {
        app.parse(numArguments, arguments);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(error);
        return report(ExitCode::Usage, fmt::format("{}; see ravelo --help", usageError(app, error)));
    }
    return runCommand(invocation);
}

} // namespace

int main(int numArguments, char** arguments) {
    occupyClosedStreams();
    installInterruptHandler();
    try {
        return parseAndRun(numArguments, arguments);
    } catch (...) {
        // Not even the message could be printed.
        return static_cast<int>(ExitCode::Failed);
    }
}
