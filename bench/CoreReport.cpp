// What the probe of the core finds, without anything else at work in between.

#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Comparison.h"
#include "ComparisonParts.h"
#include "CoreProbe.h"
#include "CostMeter.h"
#include "RoundValues.h"
#include "Statistics.h"

void measureCore(ComparisonOptions const& options) {
    constexpr timespec kPause{0, 20'000'000};
    std::vector<double> frequencies;
    std::vector<double> probes;
    RoundCounts counts;
    for (unsigned int round = 0; round < options.rules.numRounds; ++round) {
        nanosleep(&kPause, nullptr);
        frequencies.push_back(coreFrequency());
        const double probe = coreProbe();
        probes.push_back(probe);
        counts.add(coreState(probe, probe));
    }
    MarkdownTable table({"GHz", "ideal, clocks", "probe", "lowest", "highest", "probes (quiet, busy)"});
    table.addRow({fixed(median(frequencies), 2), fixed(idealProbeClocks(), 2), fixed(median(probes), 2),
                  fixed(*std::min_element(probes.begin(), probes.end()), 2),
                  fixed(*std::max_element(probes.begin(), probes.end()), 2), counts.cell()});
    print("The core: five additions side by side, as a multiple of their ideal time", table);
}
