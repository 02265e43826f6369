#include "JobSummary.h"

#include <fmt/format.h>

void JobSummary::addHole(std::string const& name, std::string const& treatment, std::string const& standIn) {
    const std::lock_guard lock(m_mutex);
    const std::string result = treatment == "skip"    ? "left out"
                               : treatment == "black" ? "black instead"
                                                      : fmt::format("{} instead", standIn);
    m_holes.push_back(fmt::format("{} does not exist; {}", name, result));
    m_holeList.push_back(
        {{"file", name}, {"treatment", treatment}, {"stand_in", treatment == "hold" ? Json(standIn) : Json(nullptr)}});
}

void JobSummary::addFailure(std::string const& name, CommandError const& error) {
    printMessage(error.what());
    const std::lock_guard lock(m_mutex);
    m_failedNames.push_back(name);
    m_failures.push_back({{"file", name}, {"error", error.what()}});
}

void JobSummary::addExisting(std::string const& name, std::string const& output) {
    const std::lock_guard lock(m_mutex);
    m_existing.push_back({{"file", name}, {"output", output}});
}

void JobSummary::print(Verbosity const& verbosity, std::size_t numDone) const {
    for (std::string const& hole : m_holes)
        warn(verbosity, hole);
    if (m_existing.size() != 0 && !verbosity.quiet)
        printNote(fmt::format("{} existed and {} left as {}", m_existing.size(),
                              m_existing.size() == 1 ? "was" : "were",
                              m_existing.size() == 1 ? "it was" : "they were"));
    if (m_failedNames.empty())
        return;
    printMessage(fmt::format("{} of {} failed: {}", m_failedNames.size(),
                             numDone + m_existing.size() + m_failedNames.size(), fmt::join(m_failedNames, ", ")));
}

void JobSummary::addTo(Json& report) const {
    report["holes"] = m_holeList;
    report["failures"] = m_failures;
    report["existing"] = m_existing;
}

ExitCode JobSummary::exitCodeOf(std::size_t numDone, ExitCode exitCode) const {
    if (m_failedNames.empty())
        return exitCode;
    if (numDone + m_existing.size() == 0)
        return ExitCode::Failed;
    return exitCode == ExitCode::Done ? ExitCode::Damaged : exitCode;
}
