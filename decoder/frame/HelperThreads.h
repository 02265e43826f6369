#pragma once

#include "ThreadAllowance.h"

// The library's own threads. They are started when a loop has room for more than there are, wait between loops, and
// live as long as the process.
//
// A loop never depends on a helper: the calling thread does all the work that no helper takes. So a thread that the
// system refuses costs time and nothing else, and the next loop tries again.

using LoopWork = void(void* context) noexcept;

// Calls `work` in the calling thread and in helpers that join meanwhile, and returns when all of these calls have
// returned. `work` processes units until none is left; after it has returned in one thread, no other thread begins it.
// Helpers have the floating-point environment of the calling thread.
void runWithHelpers(ThreadAllowance const& allowance, LoopWork* work, void* context) noexcept;
