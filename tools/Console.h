#pragma once

#include <chrono>
#include <cstddef>
#include <string>

struct Verbosity {
    bool quiet = false;
    bool verbose = false;
};

// One line on standard error. Whatever the text holds, it stays one line without control characters; a standard error
// that cannot be written is nobody's loss.
void printMessage(std::string const& text); // with the name of the command in front
void printNote(std::string const& text);

// A message, unless the user asked for silence.
void warn(Verbosity const& verbosity, std::string const& text);

// How far a job of several steps is. On a terminal one line shows the rate and the time left, and goes away at the end.
// Elsewhere long jobs write a plain line every few seconds. With `verbose` each step has its own line.
class Progress {
public:
    // `total` is 0 when it is not known.
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
