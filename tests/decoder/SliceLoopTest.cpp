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

// Counts the calls for each group, and throws in one of them.
struct Walk {
    Walk(std::uint32_t rows, std::uint32_t groups) : numRows(rows), groupsPerRow(groups), calls(rows * groups) {}

    void run(SliceGroupBody* body) { forEachSliceGroup(numRows, groupsPerRow, body, this); }
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
            Walk walk(numRows, groups);
            walk.run(countedBody);
            for (auto const& calls : walk.calls)
                ASSERT_EQ(calls, 1) << numRows << " rows of " << groups;
        }
    }
}

TEST(SliceLoopTest, OneThreadCallsEveryGroupOnceToo) {
    tbb::task_arena alone(1);
    Walk walk(7, 3);
    alone.execute([&] { walk.run(countedBody); });
    for (auto const& calls : walk.calls)
        EXPECT_EQ(calls, 1);
}

TEST(SliceLoopTest, NoRowsOrGroupsMeanNoCall) {
    SliceGroupBody* const body = [](void const*, std::uint32_t, std::uint32_t) { FAIL() << "called"; };
    forEachSliceGroup(0, 5, body, nullptr);
    forEachSliceGroup(5, 0, body, nullptr);
    forEachSliceGroup(0, 0, body, nullptr);
}

TEST(SliceLoopTest, AnErrorOfAGroupReachesTheCallerAndNoGroupIsCalledTwice) {
    for (int round = 0; round < 50; ++round) {
        Walk failing(40, 3);
        EXPECT_THROW(failing.run(throwingBody<std::runtime_error>), std::runtime_error);
        Walk withoutMemory(40, 3);
        EXPECT_THROW(withoutMemory.run(throwingBody<std::bad_alloc>), std::bad_alloc);
        for (std::size_t i = 0; i < failing.calls.size(); ++i) {
            ASSERT_LE(failing.calls[i], 1);
            ASSERT_LE(withoutMemory.calls[i], 1);
        }
    }
}

TEST(SliceLoopTest, GroupsRunOnSeveralThreadsAtOnce) {
    if (tbb::this_task_arena::max_concurrency() < 2)
        GTEST_SKIP() << "This machine has one processor.";
    Meeting meeting;
    Meeting* const place = &meeting;
    forEachSliceGroup(16, 4, meetingBody, &place);
    EXPECT_FALSE(meeting.hasFailed);
    EXPECT_GE(meeting.threads.size(), 2u);
}
