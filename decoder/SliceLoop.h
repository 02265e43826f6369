#pragma once

#include <cstdint>

// The parallel walk over a picture. It is the one place where threads begin, and a plain function, so that units built
// for other instructions bring in none of the task library's inline code.

using SliceGroupBody = void(void const* context, std::uint32_t row, std::uint32_t group);

// Calls `body` once for every group of every row, on any threads and in any order, and returns when all are done. An
// exception from a body reaches the caller; groups that had not started are then skipped.
void forEachSliceGroup(std::uint32_t numRows, std::uint32_t groupsPerRow, SliceGroupBody* body, void const* context);
