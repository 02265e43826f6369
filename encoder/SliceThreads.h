#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

// Calls `work` for 0 to `numSlices` - 1, each once, in the calling thread and at most `maxThreads` - 1 others. The
// first exception ends the calls and is thrown again. A thread that the system refuses, or memory for it, is done
// without.
void forEachSlice(std::size_t numSlices, std::uint32_t maxThreads, std::function<void(std::size_t)> const& work);
