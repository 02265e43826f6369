#pragma once

#include <chrono>
#include <cstddef>
#include <string>

struct Verbosity {
    bool quiet = false;
    bool verbose = false;
};

// Prints one line on standard error, with control characters and line ends of the text escaped. Errors of the write are
// ignored.
void printMessage(std::string const& text); // after the name of the command
void printNote(std::string const& text);

// Prints a warning, unless the user asked for none.
void warn(Verbosity const& verbosity, std::string const& text);

// The progress of a job of several steps. On a terminal one line shows the rate and the time left and disappears at the
// end. Elsewhere long jobs print a line every few seconds. With `verbose` each step has a line.
class Progress {
public:
    // `total` is 0 if it is not known.
    Progress(std::string const& action, std::size_t total, Verbosity const& verbosity);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    void advance(std::string const& step);

private:
    using Clock = std::chrono::steady_clock;

    std::string status() const;

    std::string m_action;
    std::size_t m_total;
    Verbosity m_verbosity;
    bool m_onTerminal;
    bool m_lineShown = false;
    std::size_t m_done = 0;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastShown = Clock::now();
};
