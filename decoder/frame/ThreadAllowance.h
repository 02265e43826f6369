#pragma once

#include <cstddef>

// How many threads a loop may have, and with which other loops it shares them.
struct ThreadAllowance {
    std::size_t numThreads = 1;          // of the loop, the calling one included
    std::size_t numThreadsOfProcess = 1; // of all loops that are under way
    void const* arena = nullptr;         // the task arena of the caller, or null
    std::size_t numThreadsOfArena = 1;   // of all loops whose callers are in that arena
};

// What the arena and the controls of the task library allow the calling thread now. The task library is only asked: it
// starts no thread for it. Throws std::bad_alloc when the task library has no memory to set itself up, once in a
// process.
ThreadAllowance allowanceOfCaller();
