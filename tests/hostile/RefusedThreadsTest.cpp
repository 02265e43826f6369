#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include "BufferRequirements.h"
#include "HostileFrames.h"
#include "RaveloDecoderInterface.h"

// A system that starts no more threads: frames are then decoded in the calling thread. This executable replaces
// pthread_create, so it holds nothing else. A process whose workers run already needs no more of them, so each case
// has a process of its own.

namespace {

std::atomic<long> s_numUntilRefusal{-1}; // threads that still start; below 0: all do
std::atomic<long> s_numRefused{0};

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const Create next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (s_numUntilRefusal.load() == 0) {
        ++s_numRefused;
        return EAGAIN;
    }
    if (s_numUntilRefusal.load() > 0)
        --s_numUntilRefusal;
    return next(thread, attributes, routine, argument);
}

namespace {

std::vector<std::uint8_t> decoded(HostileFrame const& frame) {
    const BufferRequirements needs = bufferRequirements({frame.bytes().data(), frame.bytes().size()}, 8, 0);
    std::vector<std::uint8_t> output(needs.bytes, 0xA5);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.bytes().data(), frame.bytes().size(), 0, ColorCoding_YCbCr, 8,
                                                    output.data(), static_cast<std::int64_t>(needs.safeStride),
                                                    OptimizationTarget::AVX2);
    return output;
}

enum ExitCode { kAllEqual = 0, kOtherPixels = 1, kNothingRefused = 2 };

// Decodes every frame in an arena of so many threads, of which the system starts `numStarted`.
[[noreturn]] void decodeAndExit(int concurrency, long numStarted) {
    std::vector<std::vector<std::uint8_t>> expected;
    tbb::task_arena alone(1);
    for (HostileFrame const& frame : hostileFrames())
        alone.execute([&] { expected.push_back(decoded(frame)); });

    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(concurrency));
    tbb::task_arena arena(concurrency);
    s_numUntilRefusal = numStarted;
    int code = kAllEqual;
    for (int round = 0; round < 3; ++round) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            arena.execute([&] {
                if (decoded(hostileFrames()[i]) != expected[i])
                    code = kOtherPixels;
            });
        }
    }
    if (code == kAllEqual && s_numRefused == 0)
        code = kNothingRefused;
    std::_Exit(code);
}

class RefusedThreadsTest : public testing::Test {
protected:
    RefusedThreadsTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

TEST_F(RefusedThreadsTest, TheCallingThreadDecodesWhenNoThreadStarts) {
    EXPECT_EXIT(decodeAndExit(2, 0), testing::ExitedWithCode(kAllEqual), "");
    EXPECT_EXIT(decodeAndExit(8, 0), testing::ExitedWithCode(kAllEqual), "");
}

TEST_F(RefusedThreadsTest, TheCallingThreadDecodesWhenTooFewThreadsStart) {
    for (long numStarted = 1; numStarted < 7; ++numStarted)
        EXPECT_EXIT(decodeAndExit(8, numStarted), testing::ExitedWithCode(kAllEqual), "");
}

// The first thread only tries whether the system starts one; the task library's own is refused.
TEST_F(RefusedThreadsTest, AThreadRefusedWhileWorkIsHandedOutCostsNoPixel) {
    EXPECT_EXIT(decodeAndExit(2, 1), testing::ExitedWithCode(kAllEqual), "");
}
