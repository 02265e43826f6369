#include "SliceLoop.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

namespace {

constexpr SliceOrder kOrders[3] = {SliceOrder::Any, SliceOrder::AlternateRows, SliceOrder::InTurn};

// Counts the calls for each group, and throws in one of them.
struct Walk {
    Walk(std::uint32_t rows, std::uint32_t groups) : numRows(rows), groupsPerRow(groups), calls(rows * groups) {}

    void run(SliceGroupBody* body, SliceOrder order = SliceOrder::Any, std::uint32_t maxThreads = 0) {
        forEachSliceGroup({numRows, groupsPerRow, order, maxThreads}, body, this);
    }
    void count(std::uint32_t row, std::uint32_t group) const { ++calls[row * groupsPerRow + group]; }
    bool isMiddle(std::uint32_t row, std::uint32_t group) const {
        return row == numRows / 2 && group == groupsPerRow / 2;
    }

    std::uint32_t numRows;
    std::uint32_t groupsPerRow;
    mutable std::vector<std::atomic<int>> calls;
};

void countedBody(void const* context, std::uint32_t row, std::uint32_t group) {
    static_cast<Walk const*>(context)->count(row, group);
}

template <class Error>
void throwingBody(void const* context, std::uint32_t row, std::uint32_t group) {
    countedBody(context, row, group);
    if (!static_cast<Walk const*>(context)->isMiddle(row, group))
        return;
    if constexpr (std::is_constructible_v<Error, char const*>)
        throw Error("from a group");
    else
        throw Error();
}

// The calls in the order in which they began, and whether neighbouring rows were ever under way together.
struct Log {
    struct Entry {
        std::uint32_t row;
        std::uint32_t group;
        std::thread::id thread;
    };
    std::mutex mutex;
    std::vector<Entry> entries;
    std::multiset<std::uint32_t> rowsUnderWay;
    bool neighboursMet = false;
};

void loggingBody(void const* context, std::uint32_t row, std::uint32_t group) {
    Log& log = **static_cast<Log* const*>(context);
    {
        const std::lock_guard lock(log.mutex);
        log.entries.push_back({row, group, std::this_thread::get_id()});
        log.neighboursMet = log.neighboursMet || log.rowsUnderWay.contains(row + 1) ||
                            (row > 0 && log.rowsUnderWay.contains(row - 1)) || log.rowsUnderWay.contains(row);
        log.rowsUnderWay.insert(row);
    }
    std::this_thread::yield();
    const std::lock_guard lock(log.mutex);
    log.rowsUnderWay.erase(log.rowsUnderWay.find(row));
}

// A place where two threads meet, or give up.
struct Meeting {
    std::mutex mutex;
    std::condition_variable arrived;
    std::set<std::thread::id> threads;
    bool hasFailed = false;
};

void meetingBody(void const* context, std::uint32_t, std::uint32_t) {
    Meeting& meeting = **static_cast<Meeting* const*>(context);
    std::unique_lock lock(meeting.mutex);
    meeting.threads.insert(std::this_thread::get_id());
    meeting.arrived.notify_all();
    const auto canGoOn = [&meeting] { return meeting.threads.size() >= 2 || meeting.hasFailed; };
    // Long enough for a machine that is busy with other things.
    if (!meeting.arrived.wait_for(lock, std::chrono::seconds(30), canGoOn))
        meeting.hasFailed = true;
}

} // namespace

TEST(SliceLoopTest, EveryGroupOfEveryRowIsCalledOnce) {
    for (const std::uint32_t numRows : {1u, 2u, 7u, 68u}) {
        for (const std::uint32_t groups : {1u, 3u, 20u}) {
            for (const SliceOrder order : kOrders) {
                Walk walk(numRows, groups);
                walk.run(countedBody, order);
                for (auto const& calls : walk.calls)
                    ASSERT_EQ(calls, 1) << numRows << " rows of " << groups;
            }
        }
    }
}

TEST(SliceLoopTest, OneThreadCallsEveryGroupOnceToo) {
    tbb::task_arena alone(1);
    for (const SliceOrder order : kOrders) {
        Walk walk(7, 3);
        alone.execute([&] { walk.run(countedBody, order); });
        for (auto const& calls : walk.calls)
            EXPECT_EQ(calls, 1);
    }
}

TEST(SliceLoopTest, NoRowsOrGroupsMeanNoCall) {
    SliceGroupBody* const body = [](void const*, std::uint32_t, std::uint32_t) { FAIL() << "called"; };
    for (const SliceOrder order : kOrders) {
        forEachSliceGroup({0, 5, order}, body, nullptr);
        forEachSliceGroup({5, 0, order}, body, nullptr);
        forEachSliceGroup({0, 0, order}, body, nullptr);
    }
}

TEST(SliceLoopTest, AnErrorOfAGroupReachesTheCallerAndNoGroupIsCalledTwice) {
    for (int round = 0; round < 51; ++round) {
        const SliceOrder order = kOrders[round % 3];
        Walk failing(40, 3);
        EXPECT_THROW(failing.run(throwingBody<std::runtime_error>, order), std::runtime_error);
        Walk withoutMemory(40, 3);
        EXPECT_THROW(withoutMemory.run(throwingBody<std::bad_alloc>, order), std::bad_alloc);
        for (std::size_t i = 0; i < failing.calls.size(); ++i) {
            ASSERT_LE(failing.calls[i], 1);
            ASSERT_LE(withoutMemory.calls[i], 1);
        }
    }
}

TEST(SliceLoopTest, GroupsRunOnSeveralThreadsAtOnce) {
    if (tbb::this_task_arena::max_concurrency() < 2)
        GTEST_SKIP() << "This machine has one processor.";
    for (const SliceOrder order : {SliceOrder::Any, SliceOrder::AlternateRows}) {
        Meeting meeting;
        Meeting* const place = &meeting;
        forEachSliceGroup({16, 4, order}, meetingBody, &place);
        EXPECT_FALSE(meeting.hasFailed);
        EXPECT_GE(meeting.threads.size(), 2u);
    }
}

TEST(SliceLoopTest, AlternateRowsNeverHaveANeighbourBesideThemAndKeepTheirGroupsInTurn) {
    for (const int numThreads : {1, 2, 8}) {
        tbb::task_arena arena(numThreads);
        for (const std::uint32_t numRows : {1u, 2u, 9u, 40u}) {
            Log log;
            Log* const place = &log;
            arena.execute([&] { forEachSliceGroup({numRows, 3, SliceOrder::AlternateRows}, loggingBody, &place); });
            ASSERT_EQ(log.entries.size(), numRows * 3);
            EXPECT_FALSE(log.neighboursMet);
            const std::size_t numEvenCalls = (numRows + 1) / 2 * 3;
            std::vector<std::uint32_t> nextGroup(numRows, 0);
            for (std::size_t i = 0; i < log.entries.size(); ++i) {
                ASSERT_EQ(log.entries[i].row % 2, i < numEvenCalls ? 0u : 1u);
                ASSERT_EQ(log.entries[i].group, nextGroup[log.entries[i].row]++);
            }
        }
    }
}

TEST(SliceLoopTest, InTurnTheCallingThreadGoesFromGroupToGroup) {
    Log log;
    Log* const place = &log;
    forEachSliceGroup({5, 4, SliceOrder::InTurn}, loggingBody, &place);
    ASSERT_EQ(log.entries.size(), 20u);
    for (std::uint32_t i = 0; i < 20; ++i) {
        EXPECT_EQ(log.entries[i].row, i / 4);
        EXPECT_EQ(log.entries[i].group, i % 4);
        EXPECT_EQ(log.entries[i].thread, std::this_thread::get_id());
    }
}
