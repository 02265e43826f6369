// Two threads beside one.

#include <tbb/global_control.h>

#include <string>
#include <vector>

#include "Comparison.h"
#include "ComparisonParts.h"
#include "CostMeter.h"
#include "RoundValues.h"
#include "Statistics.h"

namespace {

// What a frame costs in a batch of frames back to back.
Cost costOfFrame(FrameDecode& decode, std::size_t numThreads) {
    constexpr unsigned int kWarmingFrames = 5;
    constexpr unsigned int kFrames = 20;
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, numThreads);
    // The second worker must be awake, on its own core, before the measurement begins.
    for (unsigned int i = 0; i < kWarmingFrames; ++i)
        decode.run();
    CostMeter meter;
    meter.start();
    for (unsigned int i = 0; i < kFrames; ++i)
        decode.run();
    const Cost cost = meter.stop();
    return {cost.nanoseconds / kFrames, cost.wallNanoseconds / kFrames, cost.clocks / kFrames, 0};
}

std::vector<std::string> measuredRow(std::string const& name, FrameDecode& decode, unsigned int numRounds) {
    std::vector<double> milliseconds[2];
    std::vector<double> processorRatios;
    RoundValues ratios;
    for (unsigned int round = 0; round < numRounds; ++round) {
        ratios.addRound([&] {
            const Cost one = costOfFrame(decode, 1);
            const Cost two = costOfFrame(decode, 2);
            milliseconds[0].push_back(one.wallNanoseconds * 1e-6);
            milliseconds[1].push_back(two.wallNanoseconds * 1e-6);
            processorRatios.push_back(two.nanoseconds / one.nanoseconds);
            return one.wallNanoseconds / two.wallNanoseconds;
        });
    }
    std::vector<std::string> row{name, fixed(median(milliseconds[0]), 1), fixed(median(milliseconds[1]), 1),
                                 fixed(median(processorRatios), 2)};
    ratios.appendCells(row, 2);
    return row;
}

} // namespace

void compareThreads(ComparisonOptions const& options) {
    std::vector<std::string> headings{"picture", "one thread, ms a frame", "two threads", "processor time, two to one"};
    appendRoundHeadings(headings, "ratio");
    MarkdownTable table(headings);
    for (std::string const& name : pictureNames(options, "422")) {
        if (name.find("2160p") == std::string::npos)
            continue;
        FrameDecode decode(frameNamed(options, name), DecodeRequest());
        table.addRow(measuredRow(name, decode, options.rules.numRounds));
    }
    print("Two threads: batches of 20 frames back to back, by the time that passes (4:2:2, 10 bits, " +
              decoderName(OptimizationTarget::AVX2) + "; quiet and busy is the calling thread's core)",
          table);
}
