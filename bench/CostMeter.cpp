#include "CostMeter.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace {

double nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

int openCounter(std::uint64_t event) {
    perf_event_attr attributes{};
    attributes.size = sizeof attributes;
    attributes.type = PERF_TYPE_HARDWARE;
    attributes.config = event;
    attributes.exclude_kernel = 1;
    attributes.exclude_hv = 1;
    attributes.inherit = 1;
    return static_cast<int>(syscall(SYS_perf_event_open, &attributes, 0, -1, -1, 0));
}

std::uint64_t countOf(int counter) {
    std::uint64_t count = 0;
    if (counter < 0 || read(counter, &count, sizeof count) != static_cast<ssize_t>(sizeof count))
        return 0;
    return count;
}

} // namespace

double coreFrequency() {
    // A multiplication of 64-bit registers takes three clocks on all x86-64 processors of the last fifteen years, and
    // none of them computes a chain of them ahead, as some do with additions.
    constexpr int kMultiplicationsPerRound = 16;
    constexpr int kRounds = 500;
    constexpr double kClocks = 3.0 * kMultiplicationsPerRound * kRounds;
    // The clock itself takes up to half a microsecond to read on virtual machines, a fifteenth of the chain.
    double shortest = 1e18;
    double shortestReading = 1e18;
    for (int attempt = 0; attempt < 5; ++attempt) {
        std::uint64_t value = 3;
        const double beforeStart = nanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
        const double start = nanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
        shortestReading = std::min(shortestReading, start - beforeStart);
        for (int round = 0; round < kRounds; ++round)
            asm volatile(".rept 16\n\timul %0, %0\n\t.endr" : "+r"(value));
        shortest = std::min(shortest, nanosecondsOf(CLOCK_THREAD_CPUTIME_ID) - start);
    }
    return kClocks / (shortest - shortestReading);
}

CostMeter::CostMeter()
    : m_clockCounter(openCounter(PERF_COUNT_HW_CPU_CYCLES)),
      m_instructionCounter(openCounter(PERF_COUNT_HW_INSTRUCTIONS)) {}

CostMeter::~CostMeter() {
    if (m_clockCounter >= 0)
        close(m_clockCounter);
    if (m_instructionCounter >= 0)
        close(m_instructionCounter);
}

void CostMeter::start() {
    if (!countsClocks())
        m_frequency = coreFrequency();
    m_startClocks = countOf(m_clockCounter);
    m_startInstructions = countOf(m_instructionCounter);
    m_startWallTime = nanosecondsOf(CLOCK_MONOTONIC);
    m_startTime = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
}

Cost CostMeter::stop() {
    Cost cost;
    cost.nanoseconds = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID) - m_startTime;
    cost.wallNanoseconds = nanosecondsOf(CLOCK_MONOTONIC) - m_startWallTime;
    cost.instructions = static_cast<double>(countOf(m_instructionCounter) - m_startInstructions);
    if (countsClocks())
        cost.clocks = static_cast<double>(countOf(m_clockCounter) - m_startClocks);
    else
        cost.clocks = cost.nanoseconds * (m_frequency + coreFrequency()) / 2;
    return cost;
}
