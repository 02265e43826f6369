#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "CommandError.h"
#include "Console.h"
#include "Json.h"

// What a job over many files has to say at its end beside its results: holes and what was done about them, files that
// could not be processed, and outputs that existed. Tasks may report at the same time.
class JobSummary {
public:
    // `treatment` is that of --missing; `standIn` is the file that is used instead, or empty.
    void addHole(std::string const& name, std::string const& treatment, std::string const& standIn);

    // Prints the error at once.
    void addFailure(std::string const& name, CommandError const& error);

    void addExisting(std::string const& name, std::string const& output);

    std::size_t numFailures() const { return m_failedNames.size(); }
    std::size_t numExisting() const { return m_existing.size(); }

    // Lists holes and failures on standard error, and counts outputs that existed.
    void print(Verbosity const& verbosity, std::size_t numDone) const;

    // Adds the members "holes", "failures" and "existing".
    void addTo(Json& report) const;

    Json const& holes() const { return m_holeList; }

    // That of a job of which `numDone` results exist, by itself otherwise ending with `exitCode`.
    ExitCode exitCodeOf(std::size_t numDone, ExitCode exitCode) const;

private:
    std::mutex m_mutex;
    std::vector<std::string> m_holes; // a line each
    std::vector<std::string> m_failedNames;
    Json m_holeList = Json::array();
    Json m_failures = Json::array();
    Json m_existing = Json::array();
};
