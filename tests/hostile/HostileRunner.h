#pragma once

#include <atomic>
#include <bitset>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "GuardedMemory.h"
#include "HostileRequest.h"
#include "KernelChoice.h"

// What a run of many cases adds up to.
struct HostileTally {
    // Combinations of variant, target, reduction, depth, coding and writer: every one is to be met.
    static constexpr std::size_t kNumCombinations = 4 * 2 * 4 * 4 * 4 * 3;

    std::uint64_t numCases = 0;
    std::uint64_t numRefused = 0; // the calls that ended by one of the documented exceptions
    std::uint64_t numSkipped = 0; // cases whose picture has more macroblocks than a case may take
    double slowestSeconds = 0;
    std::string slowestCase;
    std::bitset<kNumCombinations> combinations;

    void add(HostileTally const& other);
};

// Passes frames to the decode call, with input and output next to unmapped pages, and checks what must be true for any
// bytes:
// the call returns 1 or throws the documented exception, and no byte is written where the contract does not allow it.
// Reads outside the input and writes far outside the output end the process; the case is then printed.
//
// One thread uses a runner at a time.
class HostileRunner {
public:
    HostileRunner();
    ~HostileRunner();
    HostileRunner(HostileRunner const&) = delete;
    HostileRunner& operator=(HostileRunner const&) = delete;

    // Runs one case. `what` names it in messages. Problems are collected as text.
    void run(std::span<const std::uint8_t> frame, HostileRequest const& wanted, std::int32_t variantIndex,
             const char* what);

    // Pictures of more macroblocks are counted as skipped.
    void setMaxMacroblocks(std::uint64_t count) { m_maxMacroblocks = count; }

    HostileTally const& tally() const { return m_tally; }
    std::vector<std::string> const& problems() const { return m_problems; }

private:
    struct Output;
    Output placedOutput(std::span<const std::uint8_t> frame, HostileRequest const& request) const;
    void fill(Output const& output);
    void check(Output const& output, std::string const& label);
    void decode(const std::uint8_t* data, std::uint64_t size, HostileRequest const& request, Output const& output,
                std::string const& label);
    void report(std::string const& text);

    GuardedMemory m_input;
    GuardedMemory m_output;
    std::uint64_t m_maxMacroblocks;
    HostileTally m_tally;
    std::vector<std::string> m_problems;
    int m_labelSlot;
};

// A family of cases: `numCases` of them, each run by `body` with its number.
using HostileCase = std::function<void(HostileRunner& runner, std::uint64_t number, Variant const& variant)>;

// Runs every case of a family on every kernel variant, or a fixed share of them. Fails the current test for each
// problem, and adds to the tally of the process.
//
// The environment's RAVELO_HOSTILE=all asks for all cases, on as many threads as there are processors; otherwise every
// `shortShare`-th case runs, on one thread.
void runFamily(const char* name, std::uint64_t numCases, std::uint64_t shortShare, HostileCase const& body);

// Of all families that ran in this process.
HostileTally const& processTally();

// Of a frame, as its header declares it.
std::uint64_t declaredMacroblocks(std::span<const std::uint8_t> frame);
