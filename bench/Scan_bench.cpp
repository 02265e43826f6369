// The coefficient scan of all components of a frame: as the decoder does it, and by its definition.

#include <benchmark/benchmark.h>

#include <string>

#include "BenchFrames.h"
#include "FrameScan.h"
#include "LoopCost.h"
#include "MarkdownTable.h"

namespace {

using ScanFunction = void (FrameScan::*)();

void benchScan(benchmark::State& state, double bitsPerPixel, ScanFunction scanFunction) {
    FrameScan scan(benchFrame(1920, 1080, ChromaFormat::C422, bitsPerPixel));
    const auto numCoefficients = static_cast<double>(scan.numCoefficients());
    runLoop(state, "clocks/coefficient", numCoefficients, [&] { (scan.*scanFunction)(); });
    state.counters["bits/coefficient"] = static_cast<double>(scan.numBits()) / numCoefficients;
    // A coefficient takes three symbols: run, level and sign.
    state.counters["symbols"] = benchmark::Counter(3 * numCoefficients, benchmark::Counter::kIsIterationInvariantRate);
}

template <OptimizationTarget target>
void registerScans() {
    for (const double rate : {1.0, 3.5, 7.0}) {
        std::string ending = "/";
        ending.append(fixed(rate, 1)).append("bpp/").append(nameOf(target));
        benchmark::RegisterBenchmark(("Scan" + ending).c_str(), [=](benchmark::State& state) {
            benchScan(state, rate, &FrameScan::scanAll<target>);
        });
        benchmark::RegisterBenchmark(("PlainScan" + ending).c_str(), [=](benchmark::State& state) {
            benchScan(state, rate, &FrameScan::scanAllPlainly<target>);
        });
    }
}

const bool s_registered = [] {
    registerScans<OptimizationTarget::Baseline>();
    if (runnableTargets().size() > 1)
        registerScans<OptimizationTarget::AVX2>();
    return true;
}();

} // namespace
