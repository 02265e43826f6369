#include "SliceLoop.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

namespace {

constexpr SliceOrder kOrders[] = {SliceOrder::Any, SliceOrder::LastGroupFirst, SliceOrder::InTurn,
                                  SliceOrder::InTurnUpwards};

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

void countedBody(void const* context, void*, std::uint32_t row, std::uint32_t group) {
    static_cast<Walk const*>(context)->count(row, group);
}

// An error of a host's own, with more to it than a text.
struct OddError : std::runtime_error {
    explicit OddError(int errorNumber) : std::runtime_error("the group is odd"), number(errorNumber) {}
    int number;
};

enum class Thrown { Runtime, Odd, NoMemory, Number };
constexpr Thrown kThrown[4] = {Thrown::Runtime, Thrown::Odd, Thrown::NoMemory, Thrown::Number};

[[noreturn]] void throwOne(Thrown thrown) {
    switch (thrown) {
    case Thrown::Runtime:
        throw std::runtime_error("from a group");
    case Thrown::Odd:
        throw OddError(77);
    case Thrown::NoMemory:
        throw std::bad_alloc();
    case Thrown::Number:
        break;
    }
    throw 42;
}

// The exact type of what `call` throws, and all that it says.
template <class Call>
std::string whatIsThrownBy(Call const& call) {
    try {
        call();
    } catch (OddError const& error) {
        return std::string(typeid(error).name()) + ": " + error.what() + ", " + std::to_string(error.number);
    } catch (std::exception const& error) {
        return std::string(typeid(error).name()) + ": " + error.what();
    } catch (int number) {
        return "int: " + std::to_string(number);
    }
    return "nothing";
}

// Throws in the middle group, or in the first that a helper takes, which the calling thread waits for.
struct FailingWalk : Walk {
    using Walk::Walk;

    Thrown thrown = Thrown::Runtime;
    bool failsInHelper = false;
    std::thread::id caller = std::this_thread::get_id();
    mutable std::atomic<bool> hasFailed{false};

    void call(std::uint32_t row, std::uint32_t group) const {
        count(row, group);
        if (!failsInHelper) {
            if (isMiddle(row, group))
                throwOne(thrown);
        } else if (std::this_thread::get_id() == caller) {
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (!hasFailed && std::chrono::steady_clock::now() < end)
                std::this_thread::yield();
        } else if (!hasFailed.exchange(true)) {
            throwOne(thrown);
        }
    }
};

void failingBody(void const* context, void*, std::uint32_t row, std::uint32_t group) {
    static_cast<FailingWalk const*>(static_cast<Walk const*>(context))->call(row, group);
}

// Allows eight threads.
class EightThreads {
public:
    template <class Work>
    void run(Work const& work) const {
        m_arena.execute(work);
    }

private:
    tbb::global_control m_allowed{tbb::global_control::max_allowed_parallelism, 8};
    mutable tbb::task_arena m_arena{8};
};

// The calls in the order in which they began, and whether neighbouring rows were ever under way together.
struct Log {
    struct Entry {
        std::uint32_t row;
        std::uint32_t group;
        std::thread::id thread;
    };
    std::mutex mutex;
    std::vector<Entry> entries;
    std::uint32_t lastGroup = 0;
    int numLastUnderWay = 0;
    bool lastMetOthers = false;
};

void loggingBody(void const* context, void*, std::uint32_t row, std::uint32_t group) {
    Log& log = **static_cast<Log* const*>(context);
    {
        const std::lock_guard lock(log.mutex);
        log.entries.push_back({row, group, std::this_thread::get_id()});
        if (group == log.lastGroup)
            ++log.numLastUnderWay;
        else
            log.lastMetOthers = log.lastMetOthers || log.numLastUnderWay != 0;
    }
    // Long enough for another thread to begin a group, if it may.
    std::this_thread::sleep_for(std::chrono::microseconds(300));
    const std::lock_guard lock(log.mutex);
    if (group == log.lastGroup)
        --log.numLastUnderWay;
}

// A place where two threads meet, or give up.
struct Rendezvous {
    std::mutex mutex;
    std::condition_variable arrived;
    std::set<std::thread::id> threads;
    bool hasFailed = false;
};

void meetingBody(void const* context, void*, std::uint32_t, std::uint32_t) {
    Rendezvous& meeting = **static_cast<Rendezvous* const*>(context);
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
    SliceGroupBody* const body = [](void const*, void*, std::uint32_t, std::uint32_t) { FAIL() << "called"; };
    for (const SliceOrder order : kOrders) {
        forEachSliceGroup({0, 5, order}, body, nullptr);
        forEachSliceGroup({5, 0, order}, body, nullptr);
        forEachSliceGroup({0, 0, order}, body, nullptr);
    }
}

TEST(SliceLoopTest, AnErrorOfAGroupReachesTheCallerWithItsTypeAndText) {
    const EightThreads eight;
    for (int round = 0; round < 20; ++round) {
        for (const Thrown thrown : kThrown) {
            const std::string expected = whatIsThrownBy([thrown] { throwOne(thrown); });
            for (const SliceOrder order : kOrders) {
                for (const std::uint32_t maxThreads : {0u, 1u}) {
                    FailingWalk walk(40, 3);
                    walk.thrown = thrown;
                    EXPECT_EQ(whatIsThrownBy([&] { eight.run([&] { walk.run(failingBody, order, maxThreads); }); }),
                              expected);
                    for (auto const& calls : walk.calls)
                        ASSERT_LE(calls, 1);
                }
            }
        }
    }
}

TEST(SliceLoopTest, AnErrorInAnotherThreadReachesTheCallerWithItsTypeAndText) {
    if (std::thread::hardware_concurrency() < 2)
        GTEST_SKIP() << "This machine has one processor.";
    const EightThreads eight;
    for (const Thrown thrown : kThrown) {
        const std::string expected = whatIsThrownBy([thrown] { throwOne(thrown); });
        for (const SliceOrder order : {SliceOrder::Any, SliceOrder::LastGroupFirst}) {
            FailingWalk walk(40, 3);
            walk.thrown = thrown;
            walk.failsInHelper = true;
            EXPECT_EQ(whatIsThrownBy([&] { eight.run([&] { walk.run(failingBody, order); }); }), expected);
            EXPECT_TRUE(walk.hasFailed);
        }
    }
}

TEST(SliceLoopTest, AfterAnErrorNoGroupIsBegunAndThoseThatWereBegunAreCompleted) {
    struct SlowWalk : Walk {
        using Walk::Walk;
        mutable std::atomic<int> numCompleted{0};
    };
    const auto body = [](void const* context, void*, std::uint32_t row, std::uint32_t group) {
        SlowWalk const& walk = *static_cast<SlowWalk const*>(static_cast<Walk const*>(context));
        walk.count(row, group);
        if (row == 1 && group == 0)
            throw std::runtime_error("from a group");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++walk.numCompleted;
    };
    const EightThreads eight;
    for (const SliceOrder order : kOrders) {
        for (const std::uint32_t maxThreads : {0u, 1u}) {
            SlowWalk walk(200, 3);
            eight.run([&] { EXPECT_THROW(walk.run(body, order, maxThreads), std::runtime_error); });
            int numBegun = 0;
            for (auto const& calls : walk.calls)
                numBegun += calls;
            EXPECT_EQ(walk.numCompleted, numBegun - 1);
            // Those before group 0 of row 1: in the order of the rows, after the last groups of all, or after those
            // below.
            const int numBefore = order == SliceOrder::LastGroupFirst  ? 200 + 2
                                  : order == SliceOrder::InTurnUpwards ? 198 * 3
                                                                       : 3;
            if (maxThreads == 1 || order == SliceOrder::InTurn || order == SliceOrder::InTurnUpwards) {
                EXPECT_EQ(numBegun, numBefore + 1);
            } else {
                // Without a stop all 600 would be begun.
                EXPECT_LT(numBegun, numBefore + 200);
            }
        }
    }
}

TEST(SliceLoopTest, EachThreadHasMemoryOfItsOwnForTheWholeWalk) {
    struct Owners {
        std::mutex mutex;
        std::map<void*, std::thread::id> ofMemory;
        std::map<std::thread::id, void*> ofThread;
        bool isMisaligned = false;
        bool isShared = false;
    };
    static constexpr std::size_t kBytes = 100'001;
    const auto body = [](void const* context, void* memory, std::uint32_t row, std::uint32_t) {
        Owners& owners = **static_cast<Owners* const*>(context);
        std::memset(memory, static_cast<int>(row), kBytes);
        const std::thread::id self = std::this_thread::get_id();
        const std::lock_guard lock(owners.mutex);
        owners.isMisaligned = owners.isMisaligned || std::bit_cast<std::uintptr_t>(memory) % kSliceMemoryAlignment != 0;
        const bool isForeign = owners.ofMemory.try_emplace(memory, self).first->second != self;
        const bool isAnother = owners.ofThread.try_emplace(self, memory).first->second != memory;
        owners.isShared = owners.isShared || isForeign || isAnother;
    };
    const EightThreads eight;
    for (int round = 0; round < 50; ++round) {
        // One loop each: where there are two, a helper may have other memory in the second.
        for (const SliceOrder order : {SliceOrder::Any, SliceOrder::InTurn}) {
            Owners owners;
            Owners* const place = &owners;
            eight.run([&] { forEachSliceGroup({20, 3, order, 0, kBytes}, body, &place); });
            EXPECT_FALSE(owners.isMisaligned);
            EXPECT_FALSE(owners.isShared);
        }
    }
}

// AddressSanitizer needs allocator_may_return_null=1, as the test preset sets it, to refuse instead of ending the
// process.
TEST(SliceLoopTest, WithoutMemoryForTheCallerNoGroupIsBegun) {
    for (const SliceOrder order : kOrders) {
        Walk walk(4, 2);
        constexpr std::size_t kTooMuch = std::numeric_limits<std::size_t>::max() / 4;
        EXPECT_THROW(forEachSliceGroup({4, 2, order, 0, kTooMuch}, countedBody, &walk), std::bad_alloc);
        for (auto const& calls : walk.calls)
            EXPECT_EQ(calls, 0);
    }
}

TEST(SliceLoopTest, OneThreadThatIsAllowedIsTheCallingOne) {
    const EightThreads eight;
    for (const SliceOrder order : kOrders) {
        Log log;
        Log* const place = &log;
        eight.run([&] { forEachSliceGroup({10, 3, order, 1}, loggingBody, &place); });
        for (Log::Entry const& entry : log.entries)
            EXPECT_EQ(entry.thread, std::this_thread::get_id());
    }
}

TEST(SliceLoopTest, GroupsRunOnSeveralThreadsAtOnce) {
    if (tbb::this_task_arena::max_concurrency() < 2)
        GTEST_SKIP() << "This machine has one processor.";
    for (const SliceOrder order : {SliceOrder::Any, SliceOrder::LastGroupFirst}) {
        Rendezvous meeting;
        Rendezvous* const place = &meeting;
        forEachSliceGroup({16, 4, order}, meetingBody, &place);
        EXPECT_FALSE(meeting.hasFailed);
        EXPECT_GE(meeting.threads.size(), 2u);
    }
}

TEST(SliceLoopTest, TheLastGroupsOfAllRowsAreDoneBeforeAnyOther) {
    const EightThreads eight;
    for (const std::uint32_t maxThreads : {1u, 2u, 8u}) {
        for (const std::uint32_t numRows : {1u, 2u, 9u, 40u}) {
            for (const std::uint32_t groupsPerRow : {1u, 2u, 3u}) {
                Log log;
                log.lastGroup = groupsPerRow - 1;
                Log* const place = &log;
                eight.run([&] {
                    forEachSliceGroup({numRows, groupsPerRow, SliceOrder::LastGroupFirst, maxThreads}, loggingBody,
                                      &place);
                });
                ASSERT_EQ(log.entries.size(), numRows * groupsPerRow);
                std::set<std::pair<std::uint32_t, std::uint32_t>> called;
                for (std::size_t i = 0; i < log.entries.size(); ++i) {
                    ASSERT_EQ(log.entries[i].group == groupsPerRow - 1, i < numRows);
                    called.emplace(log.entries[i].row, log.entries[i].group);
                }
                EXPECT_EQ(called.size(), log.entries.size());
                EXPECT_FALSE(log.lastMetOthers);
            }
        }
    }
}

TEST(SliceLoopTest, InTurnTheCallingThreadGoesFromGroupToGroup) {
    const EightThreads eight;
    for (const SliceOrder order : {SliceOrder::InTurn, SliceOrder::InTurnUpwards}) {
        Log log;
        Log* const place = &log;
        eight.run([&] { forEachSliceGroup({5, 4, order}, loggingBody, &place); });
        ASSERT_EQ(log.entries.size(), 20u);
        for (std::uint32_t i = 0; i < 20; ++i) {
            EXPECT_EQ(log.entries[i].row, order == SliceOrder::InTurn ? i / 4 : 4 - i / 4);
            EXPECT_EQ(log.entries[i].group, i % 4);
            EXPECT_EQ(log.entries[i].thread, std::this_thread::get_id());
        }
    }
}

namespace {

// The ranges of a walk, and how often each slice was called.
struct Ranges {
    explicit Ranges(std::uint32_t numSlices) : calls(numSlices) {}

    static void body(void const* context, void*, std::uint32_t first, std::uint32_t count) {
        Ranges& ranges = **static_cast<Ranges* const*>(context);
        for (std::uint32_t i = first; i < first + count; ++i)
            ++ranges.calls.at(i);
        const std::lock_guard lock(ranges.mutex);
        ranges.counts.push_back(count);
        ranges.threads.insert(std::this_thread::get_id());
    }

    void run(SliceRangeWalk walk) {
        walk.numUnits = static_cast<std::uint32_t>(calls.size());
        Ranges* const place = this;
        forEachSliceRange(walk, body, &place);
    }

    std::mutex mutex;
    std::vector<std::atomic<int>> calls;
    std::vector<std::uint32_t> counts;
    std::set<std::thread::id> threads;
};

} // namespace

TEST(SliceRangeTest, EverySliceIsInOneRange) {
    const EightThreads eight;
    for (const std::uint32_t numSlices : {0u, 1u, 4u, 5u, 29u, 30u, 31u, 36u, 1020u}) {
        for (const std::uint32_t mostSlices : {1u, 5u, 30u}) {
            for (const std::uint32_t maxThreads : {0u, 1u, 2u}) {
                Ranges ranges(numSlices);
                eight.run([&] { ranges.run({0, mostSlices, std::min(mostSlices, 5u), maxThreads}); });
                for (auto const& calls : ranges.calls)
                    ASSERT_EQ(calls, 1);
                for (const std::uint32_t count : ranges.counts)
                    ASSERT_LE(count, mostSlices);
            }
        }
    }
}

TEST(SliceRangeTest, ThreadsThatTakeRangesAtOnceTakeDifferentOnes) {
    constexpr std::uint32_t kSlices = 400'000;
    std::vector<std::atomic<int>> calls(kSlices);
    std::vector<std::atomic<int>>* const place = &calls;
    const auto body = [](void const* context, void*, std::uint32_t first, std::uint32_t count) {
        auto& called = **static_cast<std::vector<std::atomic<int>>* const*>(context);
        for (std::uint32_t i = first; i < first + count; ++i)
            ++called[i];
    };
    const EightThreads eight;
    eight.run([&] { forEachSliceRange({kSlices, 2, 2, 0, 0}, body, &place); });
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](auto const& number) { return number == 1; }));
}

TEST(SliceRangeTest, OneThreadTakesRangesOfOneSizeInTheirOrder) {
    Ranges ranges(100);
    ranges.run({0, 30, 5, 1});
    EXPECT_EQ(ranges.counts, (std::vector<std::uint32_t>{25, 25, 25, 25}));
    EXPECT_EQ(ranges.threads, std::set{std::this_thread::get_id()});
    Ranges uneven(61);
    uneven.run({0, 30, 5, 1});
    EXPECT_EQ(uneven.counts, (std::vector<std::uint32_t>{21, 20, 20}));
}

TEST(SliceRangeTest, SeveralThreadsEndWithSmallRanges) {
    const SliceRangeWalk walk{1000, 30, 5, 0, 0};
    for (const std::size_t numThreads : {2u, 8u, 64u}) {
        std::uint32_t before = walk.mostUnits;
        for (std::uint32_t left = walk.numUnits; left != 0;) {
            const std::uint32_t count = unitsOfNextRange(walk, left, numThreads);
            ASSERT_GE(count, std::min(left, 3u)) << left << " left"; // half of two ranges of the smallest size
            ASSERT_LE(count, before) << left << " left";
            if (left < numThreads * walk.leastUnits) {
                ASSERT_LE(count, walk.leastUnits);
            }
            before = std::max(count, walk.leastUnits);
            left -= count;
        }
    }
}

TEST(SliceRangeTest, AnErrorOfARangeReachesTheCallerAndEndsTheLoop) {
    struct Failing {
        std::atomic<int> numBegun{0};
        std::atomic<int> numCompleted{0};
    };
    const auto body = [](void const* context, void*, std::uint32_t first, std::uint32_t) {
        Failing& failing = **static_cast<Failing* const*>(context);
        ++failing.numBegun;
        if (first == 100)
            throw OddError(78);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++failing.numCompleted;
    };
    const EightThreads eight;
    for (const std::uint32_t maxThreads : {0u, 1u}) {
        Failing failing;
        Failing* const place = &failing;
        const SliceRangeWalk walk{3000, 5, 5, maxThreads};
        eight.run([&] {
            EXPECT_EQ(whatIsThrownBy([&] { forEachSliceRange(walk, body, &place); }),
                      whatIsThrownBy([] { throw OddError(78); }));
        });
        EXPECT_EQ(failing.numCompleted, failing.numBegun - 1);
        // Without a stop all 600 would be begun.
        EXPECT_LT(failing.numBegun, maxThreads == 1 ? 22 : 200);
    }
}

TEST(SliceRangeTest, WithoutMemoryForTheCallerNoRangeIsBegun) {
    Ranges ranges(40);
    constexpr std::size_t kTooMuch = std::numeric_limits<std::size_t>::max() / 4;
    EXPECT_THROW(ranges.run({0, 30, 5, 0, kTooMuch}), std::bad_alloc);
    EXPECT_TRUE(ranges.counts.empty());
}
