#pragma once

#include <functional>

// What two ways of doing the same cost, measured in turns.
struct ContestResult {
    double ratio = 0; // of the first's cost to the second's: the median over the rounds' own ratios
    double firstNanoseconds = 0;
    double secondNanoseconds = 0; // medians
    double firstClocks = 0;
    double secondClocks = 0;
};

// Runs both in turns, the first one first in even rounds and second in odd ones, after one run of each that does not
// count. Costs are processor time, so other processes on the machine disturb little, and a ratio is taken within a
// round, so a change of the core's frequency does not count either.
ContestResult contest(std::function<void()> const& first, std::function<void()> const& second, unsigned int numRounds);
