#pragma once

#include <cstdint>

// The parallel walk over a picture. It is the one place where threads begin, and a plain function, so that units built
// for other instructions bring in none of the task library's inline code.

using SliceGroupBody = void(void const* context, std::uint32_t row, std::uint32_t group);

// What may be done at once.
enum class SliceOrder {
    Any,           // all groups
    AlternateRows, // rows that are no neighbours, even ones before odd ones; the groups of a row in turn
    InTurn         // nothing: row after row, group after group
};

// Calls `body` once for every group of every row, on any threads, and returns when all are done. What an order does not
// leave open is the same for any number of threads. An exception from a body reaches the caller; groups that had not
// started are then skipped.
void forEachSliceGroup(std::uint32_t numRows, std::uint32_t groupsPerRow, SliceOrder order, SliceGroupBody* body,
                       void const* context);
