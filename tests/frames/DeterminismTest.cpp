#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>

#include "DecodeMonitor.h"
#include "FlatFrames.h"
#include "Frame.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"

// The same output whatever the number of threads, however often, and whoever else decodes at the same time.

namespace {

struct Call {
    MadeFrame made;
    DecodeRequest request;
};

// A decode of a small frame stays in the calling thread, unless so many bytes follow that they might be slices.
void letThreadsShare(std::vector<std::uint8_t>& frame) {
    frame.resize(frame.size() + (std::size_t{1} << 18));
}

// Calls over every kind of frame, reduction and depth, with a buffer layout in which no two slices share a byte.
std::vector<Call> someCalls(std::uint32_t seed) {
    Random random = seeded(seed);
    std::vector<Call> calls;
    for (std::uint32_t i = 0; i < 12; ++i) {
        FrameSpec spec = randomSpec(random);
        spec.chroma_format = 2 + i % 2;
        spec.horizontal_size = 200 + randomBelow(random, 100);
        spec.vertical_size = 100 + randomBelow(random, 60);
        Call call{randomFrame(spec, random), {}};
        letThreadsShare(call.made.bytes);
        const std::uint32_t reduction = i % 4;
        const std::uint32_t depth = reduction != 0 ? 8 : i % 8 == 0 ? 16 : 10;
        const std::vector<OptimizationTarget> targets = runnableTargets();
        call.request = requestFor(call.made.bytes, reduction, depth, spec.chroma_format == 2 ? 0 : i % 3,
                                  targets[i / 2 % targets.size()]);
        calls.push_back(std::move(call));
    }
    return calls;
}

// Calls whose stride has no room for the columns beyond a reduced picture's right edge, which then overlap the pixels
// of other slices.
std::vector<Call> crampedCalls(std::uint32_t seed) {
    Random random = seeded(seed);
    std::vector<Call> calls;
    for (std::uint32_t i = 0; i < 48; ++i) {
        FrameSpec spec = randomSpec(random);
        spec.horizontal_size = i % 4 == 0 ? 1 + randomBelow(random, 20) : 150 + randomBelow(random, 100);
        spec.vertical_size = 100 + randomBelow(random, 60);
        Call call{randomFrame(spec, random), {}};
        letThreadsShare(call.made.bytes);
        const std::vector<OptimizationTarget> targets = runnableTargets();
        call.request = requestFor(call.made.bytes, 1 + i % 3, i % 7 == 0 ? 10 : 8, 0, targets[i / 3 % targets.size()]);
        call.request.lineStride = (i % 2 == 0 ? 1 : -1) * leastStride(call.made.bytes, call.request);
        calls.push_back(std::move(call));
    }
    return calls;
}

// Without a change of the transform's variant, which is the process's own.
std::vector<std::uint8_t> outputOf(Call const& call) {
    OutputBuffer output = bufferFor(call.made.bytes, call.request);
    RaveloDecoderInterface::DecompressFrameFromBits(
        call.made.bytes.data(), call.made.bytes.size(), call.request.downSampleFactor,
        static_cast<ColorCoding>(call.request.colorCoding), call.request.bitDepth, output.pixels(),
        call.request.lineStride, call.request.target);
    return output.bytes();
}

std::vector<std::uint8_t> outputWithThreads(Call const& call, int numThreads) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(numThreads));
    tbb::task_arena arena(numThreads);
    std::vector<std::uint8_t> output;
    arena.execute([&] { output = outputOf(call); });
    return output;
}

void expectSameOutputOfAllThreadCounts(std::vector<Call> const& calls) {
    for (Call const& call : calls) {
        const std::vector<std::uint8_t> expected = outputWithThreads(call, 1);
        for (const int numThreads : {2, 4, 16}) {
            for (int repeat = 0; repeat < 3; ++repeat)
                ASSERT_EQ(outputWithThreads(call, numThreads), expected) << describe(call.request);
        }
    }
}

} // namespace

TEST(DeterminismTest, OneTwoFourAndSixteenThreadsGiveTheSameOutput) {
    expectSameOutputOfAllThreadCounts(someCalls(6001));
}

TEST(DeterminismTest, SlicesThatWriteTheSameBytesDoSoInOneOrder) {
    expectSameOutputOfAllThreadCounts(crampedCalls(6004));
}

TEST(DeterminismTest, FiftyRepeatsGiveTheSameOutput) {
    for (Call const& call : someCalls(6002)) {
        const std::vector<std::uint8_t> expected = outputOf(call);
        for (int repeat = 0; repeat < 50; ++repeat)
            ASSERT_EQ(outputOf(call), expected) << describe(call.request) << " repeat " << repeat;
    }
}

TEST(DeterminismTest, FramesDecodedAtTheSameTimeDoNotDisturbEachOther) {
    const std::vector<Call> calls = someCalls(6003);
    std::vector<std::vector<std::uint8_t>> expected;
    for (Call const& call : calls)
        expected.push_back(outputOf(call));
    std::vector<std::size_t> numWrong(4, 0);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < numWrong.size(); ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = 0; i < 3 * calls.size(); ++i) {
                const std::size_t which = (i * (t + 1) + t) % calls.size();
                if (outputOf(calls[which]) != expected[which])
                    ++numWrong[t];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const std::size_t count : numWrong)
        EXPECT_EQ(count, 0u);
}

namespace {

// Lets so many slices begin.
class StopAfter : public DecodeMonitor {
public:
    explicit StopAfter(std::uint32_t numSlices) : m_numSlices(numSlices) {}
    bool wantsStop() noexcept override { return m_numAsked++ >= m_numSlices; }

private:
    std::uint32_t m_numSlices;
    std::atomic<std::uint32_t> m_numAsked{0};
};

std::vector<std::uint8_t> stoppedOutput(MadeFrame const& made, DecodeRequest const& request, std::uint32_t numSlices,
                                        std::uint32_t maxThreads) {
    OutputBuffer output = bufferFor(made.bytes, request);
    StopAfter monitor(numSlices);
    const Frame frame({made.bytes.data(), made.bytes.size()}, static_cast<ColorCoding>(request.colorCoding),
                      request.bitDepth, output.pixels(), request.lineStride, request.target, request.downSampleFactor,
                      &monitor, maxThreads);
    return output.bytes();
}

} // namespace

TEST(DeterminismTest, AStopLeavesWholeSlicesAndAsManyAsWereBegun) {
    const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
    FrameSpec spec;
    spec.horizontal_size = 160;
    spec.vertical_size = 128;
    spec.log2_slice_size_in_mb = 0;
    MadeFrame made = flatFrame(spec, 40, 20, -20);
    letThreadsShare(made.bytes);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> whole = stoppedOutput(made, request, 0xFFFFFFFF, 1);
    const std::vector<std::uint8_t> untouched = bufferFor(made.bytes, request).bytes();
    constexpr std::uint32_t kBytesOfSlice = 16 * 16 * 2;
    for (const std::uint32_t maxThreads : {1u, 2u, 8u}) {
        tbb::task_arena arena(8);
        for (const std::uint32_t numSlices : {0u, 1u, 5u, 6u, 7u, 33u, 79u, 80u}) {
            std::vector<std::uint8_t> stopped;
            arena.execute([&] { stopped = stoppedOutput(made, request, numSlices, maxThreads); });
            std::uint32_t numWritten = 0, numUnwritten = 0;
            for (std::size_t i = 0; i < whole.size(); ++i) {
                ASSERT_TRUE(stopped[i] == whole[i] || stopped[i] == untouched[i]);
                if (whole[i] != untouched[i])
                    ++(stopped[i] == whole[i] ? numWritten : numUnwritten);
            }
            // The fill of the buffer equals a pixel here and there.
            EXPECT_NEAR(numWritten, numSlices * kBytesOfSlice, 0.02 * kBytesOfSlice * 80) << maxThreads << " threads";
            EXPECT_EQ(numUnwritten == 0, numSlices == 80) << numSlices << " slices, " << maxThreads << " threads";
        }
    }
}

TEST(DeterminismTest, AStopBeforeTheFirstSliceLeavesEveryByteInEveryOrderOfSlices) {
    for (std::vector<Call> const& calls : {someCalls(6005), crampedCalls(6006)}) {
        for (Call const& call : calls)
            EXPECT_EQ(stoppedOutput(call.made, call.request, 0, 0), bufferFor(call.made.bytes, call.request).bytes())
                << describe(call.request);
    }
}
