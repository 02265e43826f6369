#pragma once

#include <functional>
#include <string>
#include <vector>

#include "CoreProbe.h"

// A value of each round of a measurement, such as the ratio of two costs, with the state of the core in that round.
//
// A neighbour on the core does not slow down all code alike, so the ratios of quiet and of busy rounds differ by more
// than the rounds of a state among each other.
class RoundValues {
public:
    // Runs a round, which returns its value, between two probes of the core.
    void addRound(std::function<double()> const& round);

    double median() const; // of all rounds, of which there must be one
    std::vector<CoreState> const& states() const { return m_states; }

    // The median of the rounds in a state as text, or "-" where there is none.
    std::string medianText(CoreState state, int numDigits) const;

    // The medians of all, of quiet and of busy rounds in one cell, such as "0.70 (0.69, -)".
    std::string cell(int numDigits) const;

    // The same in a cell each, and a cell with the numbers of these rounds. appendRoundHeadings() has the headings.
    void appendCells(std::vector<std::string>& row, int numDigits) const;

private:
    std::vector<double> valuesIn(CoreState state) const;

    std::vector<double> m_values;
    std::vector<CoreState> m_states; // of the same rounds
};

// How many rounds one or several measurements had, and how many of them in a state.
struct RoundCounts {
    static constexpr const char* kHeading = "rounds (quiet, busy)";

    unsigned int all = 0;
    unsigned int quiet = 0;
    unsigned int busy = 0;

    void add(CoreState state);
    void add(RoundValues const& values);
    std::string cell() const;
};

// The headings of what RoundValues::appendCells appends, the first of them `name`.
void appendRoundHeadings(std::vector<std::string>& headings, std::string const& name);
