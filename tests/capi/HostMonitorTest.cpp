#include "HostMonitor.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// The monitor by itself, with threads that report failed slices at once, as those of a decode do now and then. Without
// the lock of the report records are lost or mixed up, and ThreadSanitizer reports a race from the first two on.

namespace {

constexpr std::uint32_t kSide = 64;
constexpr std::int64_t kStride = 2 * kSide;

struct Reporting {
    explicit Reporting(std::size_t capacity) : slices(capacity) {
        report.struct_size = sizeof report;
        report.slices = slices.data();
        report.capacity = capacity;
        options.struct_size = sizeof options;
        options.damage = &report;
        form.width = kSide;
        form.height = kSide;
        form.frameHeight = kSide;
        form.samplesPerPixel = 2;
        form.bitDepth = 8;
    }

    // Threads that report `perThread` slices each, and then the end of the decode. Slice `row` of thread `column`.
    void run(std::uint32_t numThreads, std::uint32_t perThread) {
        HostOutput output;
        output.pixels.planes[0] = {pixels.data(), kStride};
        output.region = {0, 0, kSide, kSide};
        output.form = form;
        HostMonitor monitor(options, output);
        PixelBuffer rectangle = form;
        rectangle.width = rectangle.height = 16;
        rectangle.pixels = pixels.data();
        rectangle.lineStride = kStride;
        std::atomic<std::uint32_t> numReady{0};
        std::vector<std::thread> threads;
        for (std::uint32_t column = 0; column < numThreads; ++column) {
            threads.emplace_back([&, column] {
                // Relaxed, so that nothing but the monitor orders what the threads do.
                numReady.fetch_add(1, std::memory_order_relaxed);
                while (numReady.load(std::memory_order_relaxed) < numThreads)
                    std::this_thread::yield();
                for (std::uint32_t row = 0; row < perThread; ++row)
                    monitor.sliceFailed({0, row, column, row, 0}, rectangle);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        monitor.finishReport();
    }

    std::vector<ravelo_damage> slices;
    ravelo_damage_report report{};
    ravelo_decode_options options{};
    PixelBuffer form;
    std::array<std::uint8_t, kStride * kSide> pixels{};
};

constexpr std::uint32_t kThreads = 4;
constexpr std::uint32_t kPerThread = 100'000;

} // namespace

TEST(HostMonitorTest, SlicesThatFailAtOnceAreAllReportedInOrder) {
    Reporting reporting(std::size_t{kThreads} * kPerThread);
    reporting.run(kThreads, kPerThread);
    EXPECT_EQ(reporting.report.failed, kThreads * kPerThread);
    ASSERT_EQ(reporting.report.stored, kThreads * kPerThread);
    for (std::uint32_t i = 0; i < kThreads * kPerThread; ++i) {
        ASSERT_EQ(reporting.slices[i].row, i / kThreads);
        ASSERT_EQ(reporting.slices[i].column, i % kThreads);
        ASSERT_EQ(reporting.slices[i].byte_offset, i / kThreads);
    }
}

TEST(HostMonitorTest, WithoutRoomForAllTheFirstSlicesOfTheFrameStay) {
    constexpr std::uint32_t kRoom = 1'000;
    Reporting reporting(kRoom);
    reporting.run(kThreads, kPerThread);
    EXPECT_EQ(reporting.report.failed, kThreads * kPerThread);
    ASSERT_EQ(reporting.report.stored, kRoom);
    for (std::uint32_t i = 0; i < kRoom; ++i) {
        ASSERT_EQ(reporting.slices[i].row, i / kThreads);
        ASSERT_EQ(reporting.slices[i].column, i % kThreads);
    }
}
