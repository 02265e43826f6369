#include "Console.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include <fmt/format.h>

#include "Json.h"
#include "Printable.h"

namespace {

constexpr std::chrono::milliseconds kTerminalInterval{100};
constexpr std::chrono::seconds kPlainInterval{5};
constexpr const char* kClearLine = "\r\x1b[K";

// The stream is not buffered, so the text of one call is not mixed with that of other threads.
void printRaw(std::string const& text) {
    std::fputs(text.c_str(), stderr);
}

} // namespace

void printMessage(std::string const& text) {
    printNote("ravelo: " + text);
}

void printNote(std::string const& text) {
    printRaw(printable(text) + "\n");
}

void warn(Verbosity const& verbosity, std::string const& text) {
    if (!verbosity.quiet)
        printMessage("warning: " + text);
}

Progress::Progress(std::string const& action, std::size_t total, Verbosity const& verbosity)
    : m_action(action), m_total(total), m_verbosity(verbosity), m_onTerminal(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (m_lineShown)
        printRaw(kClearLine);
}

std::string Progress::statusText() const {
    const double seconds = std::max(std::chrono::duration<double>(Clock::now() - m_start).count(), 1e-6);
    const double rate = static_cast<double>(m_done) / seconds;
    if (m_total == 0)
        return fmt::format("{} {}, {:.1f} per second", m_action, m_done, rate);
    return fmt::format("{} {} of {}, {:.1f} per second, {:.0f} s left", m_action, m_done, m_total, rate,
                       static_cast<double>(m_total - m_done) / rate);
}

void Progress::printJsonLine(std::string const& file, std::string const& status) const {
    const Json line = {{"event", "frame"},
                       {"action", m_action},
                       {"file", file},
                       {"status", status},
                       {"done", m_done},
                       {"total", m_total == 0 ? Json(nullptr) : Json(m_total)},
                       {"seconds", std::chrono::duration<double>(Clock::now() - m_start).count()}};
    printRaw(line.line() + "\n");
}

void Progress::advance(std::string const& step, std::string const& file, std::string const& status) {
    ++m_done;
    if (m_verbosity.progress == "json")
        printJsonLine(file, status);
    if (m_verbosity.verbose) {
        printRaw(m_lineShown ? kClearLine : "");
        printNote(step);
    }
    if (m_verbosity.quiet || m_total == 1 || m_verbosity.progress == "json")
        return;
    const Clock::time_point now = Clock::now();
    if (m_onTerminal && now - m_lastShown >= kTerminalInterval) {
        printRaw(kClearLine + statusText());
        m_lineShown = true;
        m_lastShown = now;
    } else if (!m_onTerminal && now - m_lastShown >= kPlainInterval) {
        printNote(statusText());
        m_lastShown = now;
    }
}
