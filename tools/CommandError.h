#pragma once

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>

// The exit codes of the command.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,
    Usage = 2,         // the command line is wrong
    Damaged = 3,       // done, but slices of a frame failed
    Limit = 4,         // an input is larger than the limits allow
    NotEqual = 5,      // a comparison found more difference than allowed, or a hash differs
    Interrupted = 130, // by SIGINT; main() makes it 128 + the number of the signal
    ClosedPipe = 141,  // standard output has been closed by its reader; no message
};

// An error that ends the command: one line for the user, and the exit code.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode exitCode, std::string const& text) : std::runtime_error(text), m_exitCode(exitCode) {}

    ExitCode exitCode() const { return m_exitCode; }

private:
    ExitCode m_exitCode;
};

template <typename... Args>
CommandError failure(fmt::format_string<Args...> text, Args&&... args) {
    return CommandError(ExitCode::Failed, fmt::format(text, std::forward<Args>(args)...));
}

template <typename... Args>
CommandError usageError(fmt::format_string<Args...> text, Args&&... args) {
    return CommandError(ExitCode::Usage, fmt::format(text, std::forward<Args>(args)...));
}

template <typename... Args>
CommandError limitExceeded(fmt::format_string<Args...> text, Args&&... args) {
    return CommandError(ExitCode::Limit, fmt::format(text, std::forward<Args>(args)...));
}

// Calls `work`. Errors of the libraries become a CommandError that starts with `name`; std::bad_alloc passes through.
template <typename Work>
void withName(std::string const& name, Work const& work) {
    try {
        work();
    } catch (CommandError const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        throw failure("{}: {}", name, error.what());
    }
}
