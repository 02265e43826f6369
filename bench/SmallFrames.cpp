// What small frames cost, whose headers, tables and buffers take a larger part.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "BenchFrames.h"
#include "Comparison.h"
#include "ComparisonParts.h"
#include "CostMeter.h"
#include "RoundValues.h"
#include "Statistics.h"

namespace {

struct SmallSize {
    std::uint32_t width;
    std::uint32_t height;
    double bitsPerPixel; // 0 where the headers alone take more
};

constexpr SmallSize kSizes[] = {{16, 16, 0}, {320, 180, 3.5}, {640, 360, 3.5}};

std::vector<std::string> measuredRow(SmallSize const& size, ContestRules const& rules) {
    FrameDecode decode(benchFrame(size.width, size.height, ChromaFormat::C422, size.bitsPerPixel), DecodeRequest());
    // A round is long enough for the clock, and for the caches to fill.
    constexpr double kLeastPixels = 2e6;
    const unsigned int numDecodes =
        std::max(rules.numRepetitions, static_cast<unsigned int>(kLeastPixels / decode.numPixels()));
    decode.run();
    CostMeter meter;
    RoundValues microseconds;
    std::vector<double> clocks;
    for (unsigned int round = 0; round < rules.numRounds; ++round) {
        microseconds.addRound([&] {
            meter.start();
            for (unsigned int i = 0; i < numDecodes; ++i)
                decode.run();
            const Cost cost = meter.stop();
            clocks.push_back(cost.clocks / numDecodes);
            return cost.nanoseconds * 1e-3 / numDecodes;
        });
    }
    std::vector<std::string> row{std::to_string(size.width) + "x" + std::to_string(size.height),
                                 fixed(decode.bitsPerPixel(), 2), fixed(median(clocks) / decode.numPixels(), 1)};
    microseconds.appendCells(row, 1);
    return row;
}

} // namespace

void measureSmallFrames(ComparisonOptions const& options) {
    std::vector<std::string> headings{"size", "bits per pixel", "clocks per pixel"};
    appendRoundHeadings(headings, "microseconds a frame");
    MarkdownTable table(headings);
    for (SmallSize const& size : kSizes)
        table.addRow(measuredRow(size, options.rules));
    print("Small frames (4:2:2, 10 bits, " + decoderName(OptimizationTarget::AVX2) + ", one thread)", table);
}
