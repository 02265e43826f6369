#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_scheduler_observer.h>

#include "HostFrames.h"

// What a host says about threads and stops.

namespace {

// Counts the threads that are inside an arena at once, those that join it included.
class ThreadsInside : public tbb::task_scheduler_observer {
public:
    explicit ThreadsInside(tbb::task_arena& arena) : tbb::task_scheduler_observer(arena) { observe(true); }
    ~ThreadsInside() override { observe(false); }
    void on_scheduler_entry(bool) override {
        const int now = ++m_inside;
        int most = m_most.load();
        while (most < now && !m_most.compare_exchange_weak(most, now)) {
        }
        ++m_entries;
    }
    void on_scheduler_exit(bool) override { --m_inside; }
    int most() const { return m_most; }
    int entries() const { return m_entries; }

private:
    std::atomic<int> m_inside{0};
    std::atomic<int> m_most{0};
    std::atomic<int> m_entries{0};
};

MadeFrame manySlices(std::uint32_t seed) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = 640;
    spec.vertical_size = 320;
    return smallFrame(spec, seed);
}

std::ptrdiff_t numThreadsOfProcess() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

} // namespace

TEST(HostControlTest, AnyLimitOnThreadsGivesTheSamePixels) {
    const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
    const MadeFrame frame = manySlices(1);
    const HostDecode reference = hostDecode(frame.bytes, usualOptions());
    ASSERT_EQ(reference.status, RAVELO_OK);
    for (const std::uint32_t maxThreads : {1u, 2u, 3u, 8u, 64u, 0xFFFFFFFFu}) {
        ravelo_decode_options options = usualOptions();
        options.max_threads = maxThreads;
        EXPECT_EQ(hostDecode(frame.bytes, options).pixels, reference.pixels) << maxThreads;
    }
}

// Each form in a new process, which has none of the threads that other tests have started.
class HostControlTestOfForms : public testing::TestWithParam<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(CodedAndRgba, HostControlTestOfForms, testing::Values(RAVELO_CODED, RAVELO_RGBA));

TEST_P(HostControlTestOfForms, OneThreadIsTheCallingOneAndSeveralAreNot) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const MadeFrame frame = manySlices(2);
    const auto decodeWith = [&](std::uint32_t maxThreads) {
        ravelo_decode_options options = usualOptions();
        options.pixel_form = GetParam();
        options.max_threads = maxThreads;
        tbb::task_arena arena(4);
        arena.execute([&] { EXPECT_EQ(hostDecode(frame.bytes, options).status, RAVELO_OK); });
        return numThreadsOfProcess();
    };
    EXPECT_EXIT(
        {
            const tbb::global_control four(tbb::global_control::max_allowed_parallelism, 4);
            const std::ptrdiff_t before = numThreadsOfProcess();
            const std::ptrdiff_t afterOne = decodeWith(1);
            const std::ptrdiff_t afterFour = decodeWith(4);
            std::fprintf(stderr, "%td, %td and %td threads", before, afterOne, afterFour);
            std::_Exit(afterOne == before && afterFour > before ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(HostControlTest, ADecodeRunsInTheArenaOfItsCaller) {
    const tbb::global_control four(tbb::global_control::max_allowed_parallelism, 4);
    const MadeFrame frame = manySlices(3);
    const HostDecode reference = hostDecode(frame.bytes, usualOptions());
    tbb::task_arena arena(3);
    ThreadsInside inside(arena);
    arena.execute([&] {
        for (int i = 0; i < 50; ++i)
            ASSERT_EQ(hostDecode(frame.bytes, usualOptions()).pixels, reference.pixels);
    });
    EXPECT_LE(inside.most(), 3);
    EXPECT_GE(inside.entries(), 1);
}

TEST(HostControlTest, ALimitNeverExceedsThatOfTheCallersArena) {
    const tbb::global_control four(tbb::global_control::max_allowed_parallelism, 4);
    const MadeFrame frame = manySlices(4);
    tbb::task_arena arena(1);
    ThreadsInside inside(arena);
    ravelo_decode_options options = usualOptions();
    options.max_threads = 4;
    arena.execute([&] {
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(hostDecode(frame.bytes, options).status, RAVELO_OK);
    });
    EXPECT_EQ(inside.most(), 1);
    EXPECT_EQ(inside.entries(), 1) << "the calling thread decodes without leaving its arena";
}

TEST(HostControlTest, FramesSideBySideInOneArenaKeepApart) {
    std::vector<MadeFrame> frames;
    std::vector<HostDecode> references;
    for (std::uint32_t i = 0; i < 8; ++i) {
        frames.push_back(manySlices(10 + i));
        references.push_back(hostDecode(frames.back().bytes, usualOptions()));
    }
    tbb::task_arena arena(4);
    std::atomic<int> numEqual{0};
    arena.execute([&] {
        tbb::parallel_for(0, 64, [&](int i) {
            ravelo_decode_options options = usualOptions();
            options.max_threads = static_cast<std::uint32_t>(i % 3);
            const auto frame = static_cast<std::size_t>(i) % frames.size();
            numEqual += hostDecode(frames[frame].bytes, options).pixels == references[frame].pixels ? 1 : 0;
        });
    });
    EXPECT_EQ(numEqual, 64);
}

TEST(HostControlTest, AFlagThatIsSetBeforeTheCallLeavesEveryPixel) {
    const MadeFrame frame = manySlices(5);
    std::int32_t stop = 0;
    ravelo_request_stop(&stop);
    EXPECT_EQ(stop, 1);
    ravelo_decode_options options = usualOptions();
    options.stop = &stop;
    const HostDecode decode = hostDecode(frame.bytes, options);
    EXPECT_EQ(decode.status, RAVELO_STOPPED);
    EXPECT_EQ(decode.text, "stopped by the caller");
    EXPECT_EQ(decode.pixels, std::vector<std::uint8_t>(decode.pixels.size(), kHostFill));
}

TEST(HostControlTest, AFlagThatIsNotSetChangesNothing) {
    const MadeFrame frame = manySlices(6);
    const std::int32_t stop = 0;
    ravelo_decode_options options = usualOptions();
    options.stop = &stop;
    const HostDecode decode = hostDecode(frame.bytes, options);
    EXPECT_EQ(decode.status, RAVELO_OK);
    EXPECT_EQ(decode.pixels, hostDecode(frame.bytes, usualOptions()).pixels);
    ravelo_request_stop(nullptr);
}

TEST(HostControlTest, AStopDuringTheDecodeLeavesWholeSlicesOnly) {
    const MadeFrame frame = manySlices(7);
    const HostDecode reference = hostDecode(frame.bytes, usualOptions());
    int numStopped = 0;
    for (int round = 0; round < 200; ++round) {
        std::int32_t stop = 0;
        ravelo_decode_options options = usualOptions();
        options.stop = &stop;
        std::thread stopper([&] {
            for (int i = 0; i < round * 50; ++i)
                std::atomic_signal_fence(std::memory_order_seq_cst);
            ravelo_request_stop(&stop);
        });
        const HostDecode decode = hostDecode(frame.bytes, options);
        stopper.join();
        ASSERT_TRUE(decode.status == RAVELO_STOPPED || decode.status == RAVELO_OK);
        numStopped += decode.status == RAVELO_STOPPED ? 1 : 0;
        if (decode.status == RAVELO_OK) {
            ASSERT_EQ(decode.pixels, reference.pixels) << "a decode that was not stopped is whole";
        }
        // Slices are 32 pixels wide: 16 rows of them are either decoded or as they were.
        for (std::size_t y = 0; y < 320; y += 16) {
            for (std::size_t x = 0; x < 640; x += 32) {
                const std::size_t at = y * decode.needs.safe_stride + 2 * x;
                const bool isDone = !std::equal(&decode.pixels[at], &decode.pixels[at] + 64,
                                                std::vector<std::uint8_t>(64, kHostFill).begin());
                for (std::size_t line = 0; isDone && line < 16; ++line) {
                    const std::size_t start = at + line * decode.needs.safe_stride;
                    ASSERT_TRUE(
                        std::equal(&decode.pixels[start], &decode.pixels[start] + 64, &reference.pixels[start]));
                }
            }
        }
    }
    RecordProperty("stopped", numStopped);
}
