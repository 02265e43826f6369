#include <exception>
#include <functional>
#include <new>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "CommandLine.h"
#include "Console.h"
#include "Interrupt.h"
#include "Subcommands.h"

namespace {

// An opened file must not get the number of a standard stream that the caller has closed, or reports would go there.
// The streams are opened in the wrong direction, so that using them is still an error.
void occupyClosedStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int report(ExitCode exitCode, std::string const& text) {
    if (exitCode != ExitCode::ClosedPipe)
        printMessage(text);
    return exitCode == ExitCode::Interrupted ? 128 + interruptSignal() : static_cast<int>(exitCode);
}

int parseAndRun(int numArguments, char** arguments) {
    try {
        CommandLine commandLine("ravelo",
                                "Encodes, decodes and examines frames of the Ravelo intra-frame video format.",
                                "ravelo " RAVELO_COMMAND_VERSION);
        addAllCommands(commandLine);
        const std::function<ExitCode()> run = commandLine.parse(numArguments, arguments);
        return static_cast<int>(run ? run() : ExitCode::Done);
    } catch (CommandError const& error) {
        return report(error.exitCode(), error.what());
    } catch (std::bad_alloc const&) {
        return report(ExitCode::Failed, "not enough memory");
    } catch (std::exception const& error) {
        return report(ExitCode::Failed, error.what());
    }
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
