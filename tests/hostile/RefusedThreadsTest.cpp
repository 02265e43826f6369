#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include "BufferRequirements.h"
#include "Frame.h"
#include "FrameEncoder.h"
#include "HostileFrames.h"
#include "KernelChoice.h"
#include "LongForms.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"
#include "Sanitizers.h"

// A system that starts no more threads, or has no memory for them: frames are then decoded and encoded by the threads
// that are there. This executable replaces pthread_create and the questions that the task library answers, so it holds
// nothing else. Threads stay once they are started, so each case has its own process. The environment's
// RAVELO_HOSTILE=all repeats each case 200 times.

namespace {

std::atomic<long> s_numUntilRefusal{-1}; // threads that still start; below 0: all do
std::atomic<long> s_numRefused{0};
std::atomic<long> s_numStarted{0};
std::atomic<long> s_numQuestions{0}; // that the task library has been asked

template <class Function>
Function* nextFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) noexcept {
    using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Create* const next = nextFunction<Create>("pthread_create");
    long numLeft = s_numUntilRefusal;
    while (numLeft > 0 && !s_numUntilRefusal.compare_exchange_weak(numLeft, numLeft - 1)) {
    }
    if (numLeft == 0) {
        ++s_numRefused;
        return EAGAIN;
    }
    ++s_numStarted;
    return next(thread, attributes, routine, argument);
}

namespace tbb::detail::r1 {

std::size_t global_control_active_value(int parameter) {
    ++s_numQuestions;
    static auto* const next = nextFunction<std::size_t(int)>("_ZN3tbb6detail2r127global_control_active_valueEi");
    return next(parameter);
}

int max_concurrency(const d1::task_arena_base* arena) {
    ++s_numQuestions;
    static auto* const next =
        nextFunction<int(const d1::task_arena_base*)>("_ZN3tbb6detail2r115max_concurrencyEPKNS0_2d115task_arena_baseE");
    return next(arena);
}

} // namespace tbb::detail::r1

namespace {

using Bytes = std::vector<std::uint8_t>;

enum ExitCode { kAsPromised = 0, kOtherPixels = 1, kNothingRefused = 2, kNothingStarted = 3, kTooMany = 4, kHangs = 5 };

// A decode of a small frame stays in the calling thread, unless so many bytes follow that they might be slices.
void letThreadsShare(std::vector<std::uint8_t>& frame) {
    frame.resize(frame.size() + (std::size_t{1} << 18));
}

Bytes frameOf(std::uint32_t width, std::uint32_t height) {
    FrameSpec spec;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    Random random(width + height);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random)).bytes;
}

// A frame, what it decodes to, and room for that.
class Decode {
public:
    explicit Decode(Bytes frame)
        : m_frame(std::move(frame)),
          m_needs(bufferRequirements(bits(), 8, 0)),
          m_expected(m_needs.bytes, 0xA5),
          m_output(m_needs.bytes) {
        decodeInto(m_expected, 1);
    }

    bool isAsExpected(std::uint32_t maxThreads = 0) {
        std::fill(m_output.begin(), m_output.end(), 0xA5);
        decodeInto(m_output, maxThreads);
        return m_output == m_expected;
    }

private:
    Bitstream bits() const { return {m_frame.data(), m_frame.size()}; }

    void decodeInto(Bytes& output, std::uint32_t maxThreads) const {
        const Frame frame(bits(), ColorCoding_YCbCr, 8, output.data(), static_cast<std::int64_t>(m_needs.safeStride),
                          RaveloDecoderInterface::GetMaxOptType() != 0 ? OptimizationTarget::AVX2
                                                                       : OptimizationTarget::Baseline,
                          0, nullptr, maxThreads);
    }

    Bytes m_frame;
    BufferRequirements m_needs;
    Bytes m_expected;
    Bytes m_output;
};

void require(bool condition, ExitCode code) {
    if (!condition)
        std::_Exit(code);
}

// A process that hangs is ended. Time in which the whole process is stopped does not count, as it would for alarm().
void beginCase() {
    static std::atomic<int> s_numTicks{0};
    struct sigaction action = {};
    action.sa_handler = [](int) {
        if (++s_numTicks > (kHasSanitizer ? 1200 : 600))
            _exit(kHangs);
    };
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    const struct itimerval tenthOfASecond = {{0, 100'000}, {0, 100'000}};
    setitimer(ITIMER_REAL, &tenthOfASecond, nullptr);
}

class ThreadsAllowed {
public:
    explicit ThreadsAllowed(std::size_t numThreads)
        : m_limit(tbb::global_control::max_allowed_parallelism, numThreads) {}

private:
    tbb::global_control m_limit;
};

// Threads of the host, which exist before any is refused, and begin on request.
class HostThreads {
public:
    template <class Work>
    HostThreads(std::size_t numThreads, Work const& work) {
        for (std::size_t i = 0; i < numThreads; ++i) {
            m_threads.emplace_back([this, work, i] {
                m_begin.wait();
                work(i);
            });
        }
    }
    void run() {
        m_begin.count_down();
        for (std::thread& thread : m_threads)
            thread.join();
    }

private:
    std::latch m_begin{1};
    std::vector<std::thread> m_threads;
};

// All frames of the hostile cases, and one that asks for every thread.
std::vector<Decode> allDecodes() {
    std::vector<Decode> decodes;
    decodes.emplace_back(frameOf(1280, 480));
    for (HostileFrame const& frame : hostileFrames())
        decodes.emplace_back(frame.bytes());
    return decodes;
}

[[noreturn]] void decodeInOneArenaAndExit(int numAllowed, long numStarted) {
    beginCase();
    std::vector<Decode> decodes = allDecodes();
    const ThreadsAllowed allowed(static_cast<std::size_t>(numAllowed));
    tbb::task_arena arena(numAllowed);
    s_numUntilRefusal = numStarted;
    for (int round = 0; round < 3; ++round) {
        for (Decode& decode : decodes)
            arena.execute([&] { require(decode.isAsExpected(), kOtherPixels); });
    }
    require(s_numRefused > 0 || numStarted >= numAllowed - 1, kNothingRefused);
    std::_Exit(kAsPromised);
}

// The first decode has all the threads that it asks for; later ones ask for more.
[[noreturn]] void decodeInOneArenaAfterTheFirstAndExit(int numAllowed, long numStarted) {
    beginCase();
    Decode decode(frameOf(1280, 480));
    {
        const ThreadsAllowed allowed(static_cast<std::size_t>(numAllowed));
        tbb::task_arena(numAllowed).execute([&] { require(decode.isAsExpected(), kOtherPixels); });
    }
    require(s_numStarted > 0, kNothingStarted);
    const ThreadsAllowed allowed(static_cast<std::size_t>(2 * numAllowed));
    tbb::task_arena arena(2 * numAllowed);
    s_numUntilRefusal = numStarted;
    for (int round = 0; round < 20; ++round)
        arena.execute([&] { require(decode.isAsExpected(), kOtherPixels); });
    require(s_numRefused > 0 || numStarted >= numAllowed, kNothingRefused);
    std::_Exit(kAsPromised);
}

// Arenas of 2 to 13 threads, one after the other or all at once.
[[noreturn]] void decodeInManyArenasAndExit(long numStarted, bool isAfterFirst, bool isAtOnce) {
    beginCase();
    constexpr int kNumArenas = 12;
    const Bytes frame = frameOf(1280, 480);
    std::vector<Decode> decodes(kNumArenas, Decode(frame));
    const ThreadsAllowed allowed(16);
    std::vector<std::unique_ptr<tbb::task_arena>> arenas;
    for (int i = 0; i < kNumArenas; ++i)
        arenas.push_back(std::make_unique<tbb::task_arena>(i + 2));
    const auto decodeInArena = [&](std::size_t i) {
        for (int round = 0; round < 2; ++round)
            arenas[i]->execute([&] { require(decodes[i].isAsExpected(), kOtherPixels); });
    };
    if (isAfterFirst)
        decodeInArena(0);
    if (isAtOnce) {
        HostThreads hosts(kNumArenas, decodeInArena);
        s_numUntilRefusal = numStarted;
        hosts.run();
    } else {
        s_numUntilRefusal = numStarted;
        for (std::size_t i = 0; i < kNumArenas; ++i)
            decodeInArena(i);
        require(s_numRefused > 0 || numStarted >= kNumArenas - (isAfterFirst ? 1 : 0), kNothingRefused);
    }
    std::_Exit(kAsPromised);
}

// Four threads of the host, each of which allows its decodes two.
[[noreturn]] void decodeInFourHostThreadsAndExit(long numStarted) {
    beginCase();
    const Bytes frame = frameOf(1280, 480);
    std::vector<Decode> decodes(4, Decode(frame));
    const ThreadsAllowed allowed(8);
    require(decodes[0].isAsExpected(2), kOtherPixels);
    HostThreads hosts(4, [&](std::size_t i) {
        for (int round = 0; round < 25; ++round)
            require(decodes[i].isAsExpected(2), kOtherPixels);
    });
    s_numUntilRefusal = numStarted;
    hosts.run();
    std::_Exit(kAsPromised);
}

std::uint64_t bytesOfAddressSpace() {
    std::ifstream status("/proc/self/statm");
    std::uint64_t numPages = 0;
    status >> numPages;
    return numPages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

// A small frame, and then a larger one without the memory that it took to start threads.
[[noreturn]] void decodeWithoutMemoryAndExit(std::uint64_t bytesLeft) {
    beginCase();
    Decode small(frameOf(16, 16));
    Decode large(frameOf(1280, 480));
    const ThreadsAllowed allowed(8);
    tbb::task_arena arena(8);
    arena.execute([&] {
        require(small.isAsExpected(), kOtherPixels);
        const rlim_t limit = bytesOfAddressSpace() + bytesLeft;
        const struct rlimit addressSpace = {limit, limit};
        require(setrlimit(RLIMIT_AS, &addressSpace) == 0, kNothingRefused);
        for (int round = 0; round < 5; ++round)
            require(large.isAsExpected(), kOtherPixels);
    });
    std::_Exit(kAsPromised);
}

// A host whose own loops have started the workers of the task library.
[[noreturn]] void decodeBesideTheHostsOwnLoopsAndExit(long numStarted) {
    beginCase();
    Decode decode(frameOf(1280, 480));
    const ThreadsAllowed allowed(8);
    tbb::task_arena arena(8);
    std::latch allWorkersRun(8);
    const auto meet = [&](int) { allWorkersRun.arrive_and_wait(); };
    arena.execute([&] { tbb::parallel_for(0, 8, meet, tbb::static_partitioner()); });
    s_numUntilRefusal = numStarted;
    for (int round = 0; round < 20; ++round)
        arena.execute([&] { require(decode.isAsExpected(), kOtherPixels); });
    require(s_numRefused > 0 || numStarted >= 7, kNothingRefused);
    std::_Exit(kAsPromised);
}

// Encodes start their threads anew in each stage and each attempt at a rate.
[[noreturn]] void encodeWithFewThreadsAndExit(long numStarted) {
    beginCase();
    SourcePicture picture;
    picture.width = 320;
    picture.height = 200;
    picture.chromaFormat = ChromaFormat::C444;
    picture.alphaBits = 8;
    Random random(5);
    for (std::uint32_t i = 0; i < picture.width * picture.height; ++i) {
        const auto wave = static_cast<std::uint16_t>((i / 7 + i % 320) % 200);
        picture.y.push_back(static_cast<std::uint16_t>(wave + randomBelow(random, 8)));
        picture.cb.push_back(wave);
        picture.cr.push_back(static_cast<std::uint16_t>(255 - wave));
        picture.alpha.push_back(static_cast<std::uint16_t>(wave / 16));
    }
    for (const double rate : {0.0, 6.0}) {
        EncoderSettings settings;
        settings.bitsPerPixel = rate;
        s_numUntilRefusal = -1;
        const Bytes expected = encodeFrame(picture, settings).bytes;
        settings.maxThreads = 8;
        s_numUntilRefusal = numStarted;
        s_numRefused = 0;
        require(encodeFrame(picture, settings).bytes == expected, kOtherPixels);
        require(s_numRefused > 0, kNothingRefused);
    }
    require(s_numStarted == 2 * numStarted, kNothingStarted);
    std::_Exit(kAsPromised);
}

[[noreturn]] void askAgainAndExit() {
    beginCase();
    Decode decode(frameOf(1280, 480));
    const ThreadsAllowed allowed(8);
    tbb::task_arena arena(8);
    arena.execute([&] {
        s_numUntilRefusal = 0;
        for (int round = 0; round < 5; ++round) {
            require(decode.isAsExpected(), kOtherPixels);
            // One attempt in each decode.
            require(s_numRefused == round + 1, round < s_numRefused ? kTooMany : kNothingRefused);
        }
        s_numUntilRefusal = -1;
        require(decode.isAsExpected(), kOtherPixels);
        require(s_numStarted == 7, s_numStarted > 7 ? kTooMany : kNothingStarted);
        // Those that have been started serve all later decodes.
        for (int round = 0; round < 20; ++round)
            require(decode.isAsExpected(), kOtherPixels);
        require(s_numStarted == 7, kTooMany);
    });
    std::_Exit(kAsPromised);
}

// Frames of one group, and decodes that are allowed one thread, in a process that has not met the task library.
[[noreturn]] void decodeAloneAndExit() {
    beginCase();
    Decode small(frameOf(640, 16));
    // The bytes of this one could be slices of many more pixels than it has.
    Bytes withManyBytes = frameOf(16, 16);
    letThreadsShare(withManyBytes);
    Decode oneGroup(withManyBytes);
    Decode large(frameOf(1280, 480));
    for (int round = 0; round < 5; ++round) {
        for (Decode* decode : {&small, &oneGroup}) {
            require(decode->isAsExpected(), kOtherPixels);
            require(decode->isAsExpected(16), kOtherPixels);
        }
        require(large.isAsExpected(1), kOtherPixels);
    }
    require(s_numQuestions == 0 && s_numStarted == 0, kTooMany);
    require(large.isAsExpected(), kOtherPixels);
    require(s_numQuestions > 0, kNothingStarted);
    std::_Exit(kAsPromised);
}

[[noreturn]] void decodeWithFewThreadsAndExit() {
    beginCase();
    const ThreadsAllowed allowed(8);
    tbb::task_arena arena(8);
    Decode large(frameOf(1280, 480));
    {
        const ThreadsAllowed fewer(2);
        arena.execute([&] { require(large.isAsExpected(), kOtherPixels); });
    }
    require(s_numStarted == 1, s_numStarted < 1 ? kNothingStarted : kTooMany);
    arena.execute([&] { require(large.isAsExpected(2), kOtherPixels); });
    require(s_numStarted == 1, kTooMany);
    // Without lanes, which would take all slices at once.
    const SelectedVariant variant(kPlainVariant);
    for (const std::uint32_t numGroups : {2u, 3u, 5u}) {
        Bytes frame = frameOf(16, 16 * numGroups);
        letThreadsShare(frame);
        Decode decode(frame);
        arena.execute([&] { require(decode.isAsExpected(), kOtherPixels); });
        require(s_numStarted == long{numGroups} - 1, s_numStarted < long{numGroups} ? kNothingStarted : kTooMany);
    }
    std::_Exit(kAsPromised);
}

int numRepeats() {
    return longFormWanted() ? 200 : 1;
}

// Before the first decode and after it; the suite tries one of them for each number of threads.
std::vector<bool> timesOfRefusal(long numStarted) {
    if (longFormWanted())
        return {false, true};
    return {numStarted % 2 != 0};
}

// From the first thread that a decode of eight asks for to far beyond the last.
constexpr long kNumStarted[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

class RefusedThreadsTest : public testing::Test {
protected:
    RefusedThreadsTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

#define EXPECT_AS_PROMISED(call)                                                                                       \
    for (int repeat = 0; repeat < numRepeats(); ++repeat)                                                              \
    EXPECT_EXIT(call, testing::ExitedWithCode(kAsPromised), "") << "repeat " << repeat

TEST_F(RefusedThreadsTest, ThreadsThatAreRefusedCostNoPixel) {
    for (const long numStarted : kNumStarted)
        EXPECT_AS_PROMISED(decodeInOneArenaAndExit(8, numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, AThreadThatIsRefusedOutOfTwoCostsNoPixel) {
    for (const long numStarted : {0L, 1L})
        EXPECT_AS_PROMISED(decodeInOneArenaAndExit(2, numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, ThreadsThatAreRefusedAfterTheFirstDecodeCostNoPixel) {
    for (const long numStarted : kNumStarted)
        EXPECT_AS_PROMISED(decodeInOneArenaAfterTheFirstAndExit(8, numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, ArenasOneAfterTheOtherEndWhateverIsRefused) {
    for (const long numStarted : kNumStarted) {
        for (const bool isAfterFirst : timesOfRefusal(numStarted))
            EXPECT_AS_PROMISED(decodeInManyArenasAndExit(numStarted, isAfterFirst, false))
                << ", " << numStarted << " started";
    }
}

TEST_F(RefusedThreadsTest, ArenasAtOnceEndWhateverIsRefused) {
    for (const long numStarted : kNumStarted) {
        for (const bool isAfterFirst : timesOfRefusal(numStarted))
            EXPECT_AS_PROMISED(decodeInManyArenasAndExit(numStarted, isAfterFirst, true))
                << ", " << numStarted << " started";
    }
}

TEST_F(RefusedThreadsTest, FourHostThreadsWithTwoThreadsEachEndWhateverIsRefused) {
    for (const long numStarted : {0L, 1L, 2L, 3L})
        EXPECT_AS_PROMISED(decodeInFourHostThreadsAndExit(numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, MemoryThatIsTakenAwayAfterTheFirstDecodeCostsNoPixel) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer takes terabytes of addresses";
    for (const std::uint64_t megabytesLeft : {8u, 16u})
        EXPECT_AS_PROMISED(decodeWithoutMemoryAndExit(megabytesLeft << 20)) << ", " << megabytesLeft << " MiB left";
}

TEST_F(RefusedThreadsTest, ADecodeNeedsNoWorkerOfTheHostsOwnLoops) {
    for (const long numStarted : {0L, 1L, 6L, 7L})
        EXPECT_AS_PROMISED(decodeBesideTheHostsOwnLoopsAndExit(numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, AnEncodeGivesTheSameFrameWhateverIsRefused) {
    for (const long numStarted : {0L, 1L, 5L, 9L})
        EXPECT_AS_PROMISED(encodeWithFewThreadsAndExit(numStarted)) << ", " << numStarted << " started";
}

TEST_F(RefusedThreadsTest, TheNextDecodeAsksAgainForThreadsThatWereRefused) {
    EXPECT_AS_PROMISED(askAgainAndExit());
}

TEST_F(RefusedThreadsTest, OneGroupOrOneThreadAsksNeitherTheSystemNorTheTaskLibrary) {
    EXPECT_AS_PROMISED(decodeAloneAndExit());
}

TEST_F(RefusedThreadsTest, NoMoreThreadsAreAskedForThanAreAllowedOrThereAreGroups) {
    EXPECT_AS_PROMISED(decodeWithFewThreadsAndExit());
}
