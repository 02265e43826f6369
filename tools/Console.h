#pragma once

#include <chrono>
#include <cstddef>
#include <string>

struct Verbosity {
    bool quiet = false;
    bool verbose = false;
    std::string progress = "text"; // or "json": a line of JSON for each finished frame, even when quiet
};

// Prints one line on standard error, with control characters and line ends of the text escaped. Errors of the write are
// ignored.
void printMessage(std::string const& text); // after the name of the command
void printNote(std::string const& text);

// Prints a warning, unless the user asked for none.
void warn(Verbosity const& verbosity, std::string const& text);

// The progress of a job of several steps. On a terminal one line shows the rate and the time left and disappears at the
// end. Elsewhere long jobs print a line every few seconds. With `verbose` each step has a line. As JSON, each step is a
// line for a program that supervises the job.
class Progress {
public:
    // `total` is 0 if it is not known.
    Progress(std::string const& action, std::size_t total, Verbosity const& verbosity);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    // `file` is what the step was about, and `status` how it ended: "done", "damaged", "failed" or "existing".
    void advance(std::string const& step, std::string const& file, std::string const& status = "done");

private:
    using Clock = std::chrono::steady_clock;

    std::string statusText() const;
    void printJsonLine(std::string const& file, std::string const& status) const;

    std::string m_action;
    std::size_t m_total;
    Verbosity m_verbosity;
    bool m_onTerminal;
    bool m_lineShown = false;
    std::size_t m_done = 0;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastShown = Clock::now();
};
