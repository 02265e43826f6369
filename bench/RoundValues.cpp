#include "RoundValues.h"

#include "MarkdownTable.h"
#include "Statistics.h"

void RoundValues::addRound(std::function<double()> const& round) {
    const double before = coreProbe();
    m_values.push_back(round());
    m_states.push_back(coreState(before, coreProbe()));
}

double RoundValues::median() const {
    return ::median(m_values);
}

std::vector<double> RoundValues::valuesIn(CoreState state) const {
    std::vector<double> values;
    for (std::size_t i = 0; i < m_values.size(); ++i)
        if (m_states[i] == state)
            values.push_back(m_values[i]);
    return values;
}

std::string RoundValues::medianText(CoreState state, int numDigits) const {
    const std::vector<double> values = valuesIn(state);
    return values.empty() ? "-" : fixed(::median(values), numDigits);
}

std::string RoundValues::cell(int numDigits) const {
    return fixed(median(), numDigits) + " (" + medianText(CoreState::Quiet, numDigits) + ", " +
           medianText(CoreState::Busy, numDigits) + ")";
}

void RoundValues::appendCells(std::vector<std::string>& row, int numDigits) const {
    row.push_back(fixed(median(), numDigits));
    row.push_back(medianText(CoreState::Quiet, numDigits));
    row.push_back(medianText(CoreState::Busy, numDigits));
    RoundCounts counts;
    counts.add(*this);
    row.push_back(counts.cell());
}

void RoundCounts::add(CoreState state) {
    ++all;
    quiet += state == CoreState::Quiet;
    busy += state == CoreState::Busy;
}

void RoundCounts::add(RoundValues const& values) {
    for (const CoreState state : values.states())
        add(state);
}

std::string RoundCounts::cell() const {
    return std::to_string(all) + " (" + std::to_string(quiet) + ", " + std::to_string(busy) + ")";
}

void appendRoundHeadings(std::vector<std::string>& headings, std::string const& name) {
    headings.insert(headings.end(), {name, "quiet", "busy", RoundCounts::kHeading});
}
