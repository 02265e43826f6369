#pragma once

#include <cstdint>

#include <benchmark/benchmark.h>

#include "CostMeter.h"

// Runs the loop of a benchmark and reports the core clocks of each of `numUnits` units of work in an iteration, under a
// name such as "clocks/block", besides the units per second.
template <typename Work>
void runLoop(benchmark::State& state, const char* counterName, double numUnits, Work const& work) {
    CostMeter meter;
    meter.start();
    for (auto _ : state)
        work();
    const Cost cost = meter.stop();
    const double total = numUnits * static_cast<double>(state.iterations());
    state.counters[counterName] = cost.clocks / total;
    state.SetItemsProcessed(static_cast<std::int64_t>(total));
}
