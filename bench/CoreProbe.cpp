#include "CoreProbe.h"

#include <time.h>

#include <algorithm>
#include <cstdint>

#include "CostMeter.h"

namespace {

// Additions of every chain in a round of the loop, whose own instructions hardly count then.
constexpr int kAdditionsPerRound = 32;
// All runs have one length, so that what reading the clock adds is in the ideal as well.
constexpr int kRounds = 2000;

double threadNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Clocks for one addition of each of five chains. A chain makes one addition a clock at most, so that processors with
// more than five adders are bounded too. What is added is a register, since some processors compute additions of
// constants ahead. The shortest of a few runs is one that no interrupt lengthened.
double clocksPerStep() {
    constexpr int kRuns = 3;
    const double frequency = coreFrequency();
    const std::uint64_t step = 1;
    double shortest = 1e18;
    for (int run = 0; run < kRuns; ++run) {
        std::uint64_t sums[5] = {};
        const double start = threadNanoseconds();
        for (int round = 0; round < kRounds; ++round)
            asm volatile(".rept %c6\n\tadd %5, %0\n\tadd %5, %1\n\tadd %5, %2\n\tadd %5, %3\n\tadd %5, %4\n\t.endr"
                         : "+r"(sums[0]), "+r"(sums[1]), "+r"(sums[2]), "+r"(sums[3]), "+r"(sums[4])
                         : "r"(step), "i"(kAdditionsPerRound));
        shortest = std::min(shortest, threadNanoseconds() - start);
    }
    return shortest * frequency / (double{1} * kAdditionsPerRound * kRounds);
}

// The best of many runs also finds pauses of a neighbour.
double bestClocksPerStep() {
    constexpr int kAttempts = 50;
    double best = 1e18;
    for (int attempt = 0; attempt < kAttempts; ++attempt)
        best = std::min(best, clocksPerStep());
    // Up to the accuracy of the frequency, the chains run at a clock a step. No processor with AVX2 has fewer than four
    // adders: where the best is slower than with four, a neighbour never paused.
    constexpr double kClocksWithFiveAdders = 1.0;
    constexpr double kClocksWithFourAdders = 1.25;
    return best < 1.1 ? kClocksWithFiveAdders : std::min(best, kClocksWithFourAdders);
}

} // namespace

double idealProbeClocks() {
    static const double s_ideal = bestClocksPerStep();
    return s_ideal;
}

double coreProbe() {
    return clocksPerStep() / idealProbeClocks();
}

CoreState coreState(double before, double after) {
    constexpr double kMostOfQuiet = 1.2;
    constexpr double kLeastOfBusy = 1.5;
    if (std::max(before, after) < kMostOfQuiet)
        return CoreState::Quiet;
    return std::min(before, after) > kLeastOfBusy ? CoreState::Busy : CoreState::Between;
}
