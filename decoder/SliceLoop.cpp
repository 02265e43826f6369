#include "SliceLoop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include "ThreadProbe.h"

namespace {

// The task library cannot cope with a system that refuses what it needs: its set-up never ends after a failure, and a
// thread that is refused while work is handed out raises an error half way, or ends the process when it is a worker
// that starts the next. So both are tried out before it is given work.
class TaskLibrary {
public:
    // How many threads, the caller's included, a loop begun here would have.
    static std::size_t concurrency() {
        if (s_isBroken)
            return 1;
        try {
            return std::min(static_cast<std::size_t>(tbb::this_task_arena::max_concurrency()),
                            tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism));
        } catch (...) {
            s_isBroken = true;
            throw;
        }
    }

    static bool canStartWorkers(std::size_t numWorkers) {
        if (numWorkers <= s_numProven)
            return true;
        if (!canStartThreads(static_cast<unsigned>(numWorkers)))
            return false;
        s_numProven = numWorkers;
        return true;
    }

private:
    static inline std::atomic<bool> s_isBroken{false};
    // Workers stay, so a number that has once been started is there for later calls too.
    static inline std::atomic<std::size_t> s_numProven{0};
};

template <class Body>
void forEachInTurn(std::uint32_t numRows, std::uint32_t groupsPerRow, Body const& body) {
    for (std::uint32_t row = 0; row < numRows; ++row) {
        for (std::uint32_t group = 0; group < groupsPerRow; ++group)
            body(row, group);
    }
}

template <class Body>
void forEachInAnyOrder(std::uint32_t numRows, std::uint32_t groupsPerRow, Body const& body) {
    const std::size_t concurrency = TaskLibrary::concurrency();
    if (concurrency <= 1 || !TaskLibrary::canStartWorkers(concurrency - 1)) {
        forEachInTurn(numRows, groupsPerRow, body);
        return;
    }

    const auto isDone = std::make_unique<std::atomic<bool>[]>(std::size_t{numRows} * groupsPerRow);
    std::atomic<bool> hasBodyFailed{false};
    const auto call = [&](std::uint32_t row, std::uint32_t group) {
        try {
            body(row, group);
        } catch (...) {
            hasBodyFailed = true;
            throw;
        }
        isDone[std::size_t{row} * groupsPerRow + group].store(true, std::memory_order_relaxed);
    };
    try {
        tbb::parallel_for(std::uint32_t{0}, numRows, [&](std::uint32_t row) {
            tbb::parallel_for(std::uint32_t{0}, groupsPerRow, [&](std::uint32_t group) { call(row, group); });
        });
    } catch (std::bad_alloc const&) {
        throw;
    } catch (...) {
        if (hasBodyFailed)
            throw;
        // A worker was refused after all. What has not been done is done here.
        forEachInTurn(numRows, groupsPerRow, [&](std::uint32_t row, std::uint32_t group) {
            if (!isDone[std::size_t{row} * groupsPerRow + group].load(std::memory_order_relaxed))
                call(row, group);
        });
    }
}

} // namespace

void forEachSliceGroup(std::uint32_t numRows, std::uint32_t groupsPerRow, SliceOrder order, SliceGroupBody* body,
                       void const* context) {
    if (numRows == 0 || groupsPerRow == 0)
        return;
    const auto call = [&](std::uint32_t row, std::uint32_t group) { body(context, row, group); };
    switch (order) {
    case SliceOrder::Any:
        forEachInAnyOrder(numRows, groupsPerRow, call);
        break;
    case SliceOrder::AlternateRows:
        for (std::uint32_t parity = 0; parity < 2; ++parity) {
            const std::uint32_t rowsOfParity = numRows / 2 + (parity == 0 ? numRows % 2 : 0);
            forEachInAnyOrder(rowsOfParity, 1, [&](std::uint32_t index, std::uint32_t) {
                for (std::uint32_t group = 0; group < groupsPerRow; ++group)
                    call(2 * index + parity, group);
            });
        }
        break;
    case SliceOrder::InTurn:
        forEachInTurn(numRows, groupsPerRow, call);
        break;
    }
}
