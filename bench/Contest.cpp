#include "Contest.h"

#include <vector>

#include "CostMeter.h"
#include "Statistics.h"

namespace {

Cost costOf(CostMeter& meter, std::function<void()> const& work, unsigned int numRepetitions) {
    meter.start();
    for (unsigned int i = 0; i < numRepetitions; ++i)
        work();
    Cost cost = meter.stop();
    cost.nanoseconds /= numRepetitions;
    cost.clocks /= numRepetitions;
    return cost;
}

} // namespace

ContestResult contest(std::function<void()> const& first, std::function<void()> const& second,
                      ContestRules const& rules) {
    CostMeter meter;
    first();
    second();
    ContestResult result;
    std::vector<double> nanoseconds[2];
    std::vector<double> clocks[2];
    for (unsigned int round = 0; round < rules.numRounds; ++round) {
        result.ratios.addRound([&] {
            Cost costs[2];
            const bool firstBegins = round % 2 == 0;
            costs[firstBegins ? 0 : 1] = costOf(meter, firstBegins ? first : second, rules.numRepetitions);
            costs[firstBegins ? 1 : 0] = costOf(meter, firstBegins ? second : first, rules.numRepetitions);
            for (int i = 0; i < 2; ++i) {
                nanoseconds[i].push_back(costs[i].nanoseconds);
                clocks[i].push_back(costs[i].clocks);
            }
            return costs[0].nanoseconds / costs[1].nanoseconds;
        });
    }
    result.firstNanoseconds = median(nanoseconds[0]);
    result.secondNanoseconds = median(nanoseconds[1]);
    result.firstClocks = median(clocks[0]);
    result.secondClocks = median(clocks[1]);
    return result;
}
