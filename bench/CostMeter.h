#pragma once

#include <cstdint>

// What a piece of work cost this process in user mode.
struct Cost {
    double nanoseconds = 0;     // processor time of all threads, not the time that passed
    double wallNanoseconds = 0; // the time that passed
    double clocks = 0;          // core clocks of all threads
    double instructions = 0;    // 0 without a counter
};

// Measures the cost of what runs between start() and stop().
//
// Processor time leaves out the time in which other processes had the core, so results hold on a busy machine. Clocks
// come from the processor's own counters where the system allows it; otherwise they are the processor time times the
// core's frequency, measured at the same time.
class CostMeter {
public:
    // Threads that begin later are counted too; those that run already may not be.
    CostMeter();
    ~CostMeter();

    CostMeter(CostMeter const&) = delete;
    CostMeter& operator=(CostMeter const&) = delete;

    bool countsClocks() const { return m_clockCounter >= 0; }

    void start();
    Cost stop();

private:
    int m_clockCounter = -1; // file descriptors of the counters
    int m_instructionCounter = -1;
    double m_frequency = 0; // clocks a nanosecond
    double m_startTime = 0;
    double m_startWallTime = 0;
    std::uint64_t m_startClocks = 0;
    std::uint64_t m_startInstructions = 0;
};

// Core clocks a nanosecond at this moment, by a chain of dependent multiplications.
double coreFrequency();
