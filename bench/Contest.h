#pragma once

#include <functional>

#include "RoundValues.h"

// What two ways of doing the same cost, measured in turns.
struct ContestResult {
    RoundValues ratios; // of the first's cost to the second's, one of each round
    double firstNanoseconds = 0;
    double secondNanoseconds = 0; // medians
    double firstClocks = 0;
    double secondClocks = 0;
};

struct ContestRules {
    unsigned int numRounds = 15;
    unsigned int numRepetitions = 5; // of the work in each run: frames back to back
};

// Runs both in turns, the first one first in even rounds and second in odd ones, after one run of each that does not
// count. Results are those of one repetition. Costs are processor time, so other processes on the machine disturb less
// than they would otherwise, and a ratio is taken within a round, so a change of the core's frequency does not count.
ContestResult contest(std::function<void()> const& first, std::function<void()> const& second,
                      ContestRules const& rules);
