#pragma once

#include <cstddef>
#include <cstdint>

// The parallel walk over a picture. It is the one place where threads begin, and a plain function, so that units built
// for other instructions contain none of what it needs for that.

// `memory` belongs to the thread for the length of the walk and holds what the last group left there.
using SliceGroupBody = void(void const* context, void* memory, std::uint32_t row, std::uint32_t group);

// What may be done at once. The groups of a row are numbered from the left.
enum class SliceOrder {
    Any,            // all groups
    LastGroupFirst, // the last groups of all rows, and after them all others
    InTurn,         // nothing: row after row from the top, group after group
    InTurnUpwards,  // the same from the bottom row
};

struct SliceWalk {
    std::uint32_t numRows = 0;
    std::uint32_t groupsPerRow = 0;
    SliceOrder order = SliceOrder::Any;
    std::uint32_t maxThreads = 0;   // the calling one included; 0: as many as its task arena has
    std::size_t bytesPerThread = 0; // of memory for the body, aligned to kSliceMemoryAlignment
};

constexpr std::size_t kSliceMemoryAlignment = 64;

// Calls `body` once for every group of every row, on any threads, and returns when all are done. What an order does not
// leave open is the same for any number of threads. The first exception from a body reaches the caller as it is;
// groups that have not been started then are skipped, and those that have been are completed.
//
// The memory of each thread is allocated once. Throws std::bad_alloc before any call when there is none for the calling
// thread; another thread without memory leaves the groups to the rest.
//
// No more threads are asked for than groups can be decoded at once. Where that is one, or `maxThreads` is 1, the task
// library is not even asked what the caller's arena has.
void forEachSliceGroup(SliceWalk const& walk, SliceGroupBody* body, void const* context);

// The same for units, slices or rows, that may all be decoded at once and are numbered consecutively: `body` gets
// ranges of them.
using SliceRangeBody = void(void const* context, void* memory, std::uint32_t first, std::uint32_t count);

struct SliceRangeWalk {
    std::uint32_t numUnits = 0;
    std::uint32_t mostUnits = 1;  // of a range
    std::uint32_t leastUnits = 1; // where several threads share the rest, it is cut into ranges of at most so many
    std::uint32_t maxThreads = 0; // as in SliceWalk
    std::size_t bytesPerThread = 0;
};

// Calls `body` for ranges that hold every unit once, with the promises of forEachSliceGroup. One thread takes them as
// large as it may, and of one size. Several take even parts of what is left and end with small ones, so that they end
// together; which units share a range depends on their number. bench/schedule_simulation.py compares ways to cut.
void forEachSliceRange(SliceRangeWalk const& walk, SliceRangeBody* body, void const* context);

// The units of the next range of `numLeft`, which are at least 1.
std::uint32_t unitsOfNextRange(SliceRangeWalk const& walk, std::uint32_t numLeft, std::size_t numThreads);
