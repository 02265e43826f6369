#include "SliceThreads.h"

#include <atomic>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

TEST(SliceThreadsTest, EverySliceIsWorkedOnOnce) {
    for (const std::uint32_t maxThreads : {0u, 1u, 2u, 7u, 0xFFFFFFFFu}) {
        for (const std::size_t numSlices : {0, 1, 5, 300}) {
            std::vector<std::atomic<int>> counts(numSlices);
            forEachSlice(numSlices, maxThreads, [&](std::size_t slice) { ++counts[slice]; });
            EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), std::size_t{0}), numSlices) << maxThreads;
            for (std::atomic<int> const& count : counts)
                EXPECT_EQ(count, 1);
        }
    }
}

TEST(SliceThreadsTest, OneThreadMeansTheCallingOne) {
    std::set<std::thread::id> threads;
    forEachSlice(20, 1, [&](std::size_t) { threads.insert(std::this_thread::get_id()); });
    EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

TEST(SliceThreadsTest, AnExceptionEndsTheWorkAndIsThrown) {
    for (const std::uint32_t maxThreads : {1u, 4u}) {
        std::atomic<int> calls{0};
        const auto work = [&](std::size_t slice) {
            ++calls;
            if (slice == 3)
                throw std::runtime_error("three");
        };
        EXPECT_THROW(forEachSlice(1000000, maxThreads, work), std::runtime_error);
        EXPECT_LT(calls, 1000000);
    }
}
