#pragma once

// Whether the core works for the calling thread alone. Another hardware thread of it takes a part of its adders, loads
// and caches, and no clock of this process says so: on a rented machine that thread may be another customer's.

enum class CoreState {
    Quiet,
    Busy,
    Between, // or it has changed
};

// The time of five chains of additions side by side, as a multiple of the ideal: about 1 where the core works for this
// thread alone, 1.5 to 1.9 while another hardware thread of it works. Takes a tenth of a millisecond.
double coreProbe();

// The clocks in which the core at its best makes one addition of each chain: 1, or more where it has fewer adders than
// there are chains. The first call looks for the best of many short runs.
double idealProbeClocks();

// The state of the core during a piece of work, by the probe's results before and after it.
CoreState coreState(double before, double after);
