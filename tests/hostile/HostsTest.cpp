#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include "BufferRequirements.h"
#include "FloatingPointControl.h"
#include "HostileFrames.h"
#include "LongForms.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"
#include "Sanitizers.h"

// What a host may do around the library: many threads, small stacks, forks, loading and unloading, long lives. The
// environment's RAVELO_HOSTILE=all asks for the long forms.

namespace {

using DecodeCall = int (*)(const std::uint8_t*, std::uint64_t, std::uint32_t, ColorCoding, std::uint32_t, void*,
                           std::int64_t, OptimizationTarget);

// A frame, valid or damaged, and a request for it.
struct HostCase {
    std::vector<std::uint8_t> frame;
    std::uint32_t downSampleFactor = 0;
    std::uint32_t bitDepth = 8;
    ColorCoding colorCoding = ColorCoding_YCbCr;
    OptimizationTarget target = OptimizationTarget::Baseline;
    std::int64_t stride = 0;
    std::uint64_t numBytes = 0;

    std::vector<std::uint8_t> decoded(DecodeCall call = RaveloDecoderInterface::DecompressFrameFromBits) const {
        std::vector<std::uint8_t> output(numBytes, 0xA5);
        if (call(frame.data(), frame.size(), downSampleFactor, colorCoding, bitDepth, output.data(), stride, target) !=
            1)
            throw std::logic_error("the decode call does not return 1");
        return output;
    }
};

HostCase hostCase(std::vector<std::uint8_t> frame, std::uint64_t number) {
    HostCase made;
    made.frame = std::move(frame);
    made.downSampleFactor = number % 3 == 0 ? number / 3 % 4 : 0;
    made.bitDepth = made.downSampleFactor != 0 ? 8 : kBitDepths[number / 5 % 4];
    made.target = number % 2 == 0 ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
    if (made.frame[20] >> 6 == 3)
        made.colorCoding = static_cast<ColorCoding>(number / 7 % 3);
    const BufferRequirements needs =
        bufferRequirements(Bitstream{made.frame.data(), made.frame.size()}, made.bitDepth, made.downSampleFactor);
    made.stride = static_cast<std::int64_t>(needs.safeStride);
    made.numBytes = needs.bytes;
    return made;
}

// A decode of a small frame stays in the calling thread, unless so many bytes follow that they might be slices.
void letThreadsShare(std::vector<std::uint8_t>& frame) {
    frame.resize(frame.size() + (std::size_t{1} << 18));
}

// Every frame as it is, cut short, and with damaged slices.
std::vector<HostCase> const& hostCases() {
    static const std::vector<HostCase> cases = [] {
        std::vector<HostCase> made;
        for (HostileFrame const& frame : hostileFrames()) {
            std::vector<std::uint8_t> cut = frame.bytes();
            cut.resize(std::max<std::size_t>(cut.size() * 2 / 3, 60));
            std::vector<std::uint8_t> damaged = frame.bytes();
            for (std::size_t i = frame.made.sliceOffsets[0] + 8; i < damaged.size(); i += 29)
                damaged[i] = static_cast<std::uint8_t>(damaged[i] ^ 0x21);
            std::vector<std::uint8_t> whole = frame.bytes();
            letThreadsShare(whole);
            letThreadsShare(damaged);
            for (std::vector<std::uint8_t> const& bytes : {whole, cut, damaged})
                made.push_back(hostCase(bytes, made.size()));
        }
        return made;
    }();
    return cases;
}

// What each case gives in one thread.
std::vector<std::vector<std::uint8_t>> const& expectedOutputs() {
    static const std::vector<std::vector<std::uint8_t>> outputs = [] {
        std::vector<std::vector<std::uint8_t>> made;
        tbb::task_arena(1).execute([&made] {
            for (HostCase const& host : hostCases())
                made.push_back(host.decoded());
        });
        return made;
    }();
    return outputs;
}

bool allCasesAreAsExpected(DecodeCall call = RaveloDecoderInterface::DecompressFrameFromBits) {
    for (std::size_t i = 0; i < hostCases().size(); ++i)
        if (hostCases()[i].decoded(call) != expectedOutputs()[i])
            return false;
    return true;
}

std::uint64_t residentKilobytes() {
    std::ifstream status("/proc/self/statm");
    std::uint64_t total = 0, resident = 0;
    status >> total >> resident;
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

// Sets the peak of the resident memory to what is resident now.
bool resetPeakOfResidentMemory() {
    std::ofstream file("/proc/self/clear_refs");
    file << "5" << std::flush;
    return file.good();
}

std::uint64_t peakKilobytes() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    std::uint64_t kilobytes = 0;
    status >> kilobytes;
    return kilobytes;
}

// Runs the work in a thread with a stack of this size.
void runWithStack(std::size_t stackBytes, std::function<void()> work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackBytes), 0);
    pthread_t thread;
    const auto body = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, body, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

} // namespace

TEST(HostsTest, SixtyFourThreadsGetWhatOneThreadGets) {
    constexpr std::size_t kNumThreads = 64;
    const auto seconds = std::chrono::seconds(longFormWanted() ? 600 : 3);
    expectedOutputs();
    const auto end = std::chrono::steady_clock::now() + seconds;
    std::atomic<std::uint64_t> numDecodes{0}, numWrong{0};
    const auto work = [&](std::size_t threadIndex) {
        for (std::size_t i = 7 * threadIndex; std::chrono::steady_clock::now() < end; ++i) {
            const std::size_t index = i % hostCases().size();
            if (hostCases()[index].decoded() != expectedOutputs()[index])
                ++numWrong;
            ++numDecodes;
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kNumThreads; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
    std::cout << numDecodes << " decodes in " << kNumThreads << " threads\n";
    EXPECT_GE(numDecodes, kNumThreads);
    EXPECT_EQ(numWrong, 0u);
}

TEST(HostsTest, ResidentMemoryStaysFlatOverManyFrames) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer keeps freed memory for a while";
    const std::uint64_t numFrames = longFormWanted() ? 1000000 : 20000;
    constexpr std::uint64_t kWarmUp = 3000;
    std::vector<std::uint8_t> output(1 << 20);
    std::uint64_t before = 0;
    for (std::uint64_t i = 0; i < numFrames; ++i) {
        if (i == kWarmUp)
            before = residentKilobytes();
        HostCase const& host = hostCases()[i % hostCases().size()];
        RaveloDecoderInterface::DecompressFrameFromBits(host.frame.data(), host.frame.size(), host.downSampleFactor,
                                                        host.colorCoding, host.bitDepth, output.data(), host.stride,
                                                        host.target);
    }
    const std::uint64_t after = residentKilobytes();
    std::cout << numFrames << " frames, resident " << before << " KB, then " << after << " KB\n";
    // The allocator and the task library may still take pages for threads that had not worked before; a leak of one
    // byte a frame would show in the long form.
    EXPECT_LE(after, before + 900);
}

TEST(HostsTest, SmallStacksAreEnough) {
    // A sanitizer makes stack frames several times larger.
    const std::size_t stackBytes = (kHasSanitizer ? 16 : 1) * 64 * 1024;
    expectedOutputs();
    bool isAsExpected = false;
    runWithStack(stackBytes, [&isAsExpected] { isAsExpected = allCasesAreAsExpected(); });
    EXPECT_TRUE(isAsExpected);
    isAsExpected = false;
    runWithStack(stackBytes, [&isAsExpected] {
        tbb::task_arena(1).execute([&isAsExpected] { isAsExpected = allCasesAreAsExpected(); });
    });
    EXPECT_TRUE(isAsExpected);
}

TEST(HostsTest, AChildDecodesAfterFork) {
    // Workers of the parent are not there in the child.
    ASSERT_TRUE(allCasesAreAsExpected());
    for (int i = 0; i < (longFormWanted() ? 100 : 5); ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(60);
            _exit(allCasesAreAsExpected() ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        ASSERT_TRUE(allCasesAreAsExpected());
    }
}

namespace {

// Everything about signals, floating point and the locale that a call could change.
struct ProcessState {
    std::array<struct sigaction, 65> actions{};
    sigset_t blocked{};
    int roundingMode = 0;
    FloatingPointControl floatingPoint;
    std::string locale;
    std::string cppLocale;

    static ProcessState now() {
        ProcessState state;
        for (int signal = 1; signal < 65; ++signal)
            sigaction(signal, nullptr, &state.actions[static_cast<std::size_t>(signal)]);
        pthread_sigmask(SIG_BLOCK, nullptr, &state.blocked);
        state.roundingMode = std::fegetround();
        state.floatingPoint = FloatingPointControl::now();
        state.locale = std::setlocale(LC_ALL, nullptr);
        state.cppLocale = std::locale().name();
        return state;
    }

    bool sameSignalsAs(ProcessState const& other) const {
        for (std::size_t i = 1; i < actions.size(); ++i) {
            const auto isBlocked = [i](sigset_t const& set) { return sigismember(&set, static_cast<int>(i)); };
            if (actions[i].sa_handler != other.actions[i].sa_handler ||
                actions[i].sa_flags != other.actions[i].sa_flags || isBlocked(blocked) != isBlocked(other.blocked))
                return false;
        }
        return true;
    }
};

} // namespace

TEST(HostsTest, RoundingModeLocaleAndSignalsStayAsTheHostHasThem) {
    expectedOutputs();
    for (const int roundingMode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(roundingMode);
        const ProcessState before = ProcessState::now();
        for (HostCase const& host : hostCases())
            host.decoded();
        const ProcessState after = ProcessState::now();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(after.roundingMode, roundingMode);
        EXPECT_TRUE(after.floatingPoint == before.floatingPoint);
        EXPECT_EQ(after.locale, before.locale);
        EXPECT_EQ(after.cppLocale, before.cppLocale);
        EXPECT_TRUE(after.sameSignalsAs(before));
    }
    EXPECT_TRUE(allCasesAreAsExpected());
}

TEST(HostsTest, EveryFrameIsTheSameForEveryNumberOfThreads) {
    const int numRepeats = longFormWanted() ? 1000 : 6;
    for (const int numThreads : {1, 2, 3, 4, 8, 16, 32}) {
        const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism,
                                          static_cast<std::size_t>(numThreads));
        tbb::task_arena arena(numThreads);
        arena.execute([&] {
            for (int i = 0; i < numRepeats; ++i)
                ASSERT_TRUE(allCasesAreAsExpected()) << numThreads << " threads, repeat " << i;
        });
    }
}

namespace {

// The decode call under the name that the compiler gives it.
constexpr const char* kDecodeSymbol =
    "_ZN22RaveloDecoderInterface23DecompressFrameFromBitsEPKhmj11ColorCodingjPvl18OptimizationTarget";

} // namespace

TEST(LoadingTest, TheLibraryLoadsDecodesAndGoesAgain) {
    expectedOutputs();
    const int numTimes = longFormWanted() ? 1000 : 20;
    std::uint64_t before = 0;
    for (int i = 0; i < numTimes; ++i) {
        void* const library = dlopen(RAVELO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        void* const symbol = dlsym(library, kDecodeSymbol);
        ASSERT_NE(symbol, nullptr) << dlerror();
        DecodeCall call = nullptr;
        std::memcpy(&call, &symbol, sizeof call);
        ASSERT_TRUE(allCasesAreAsExpected(call)) << "load " << i;
        ASSERT_EQ(dlclose(library), 0);
        if (i == 9)
            before = residentKilobytes();
    }
    if (!kHasSanitizer) {
        EXPECT_LE(residentKilobytes(), before + 1500);
    }
}

TEST(LoadingTest, TheLibraryImportsNothingThatEndsTheProcessOrPrints) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("nm -D --undefined-only " RAVELO_LIBRARY, "r"), pclose);
    ASSERT_NE(pipe, nullptr);
    std::size_t numSymbols = 0;
    char line[1024];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        ++numSymbols;
        std::string symbol = line;
        symbol = symbol.substr(symbol.find_last_of(' ') + 1);
        symbol = symbol.substr(0, symbol.find_first_of("@\n"));
        for (const char* refused :
             {"exit",  "_exit", "_Exit",  "quick_exit", "abort",     "printf",     "fprintf",   "vfprintf",
              "puts",  "fputs", "fwrite", "write",      "perror",    "_ZSt4cerr",  "_ZSt4cout", "_ZSt4clog",
              "raise", "kill",  "signal", "sigaction",  "setlocale", "fesetround", "getenv"})
            EXPECT_NE(symbol, refused);
    }
    EXPECT_GT(numSymbols, 5u);
}

namespace {

// A header alone, which declares a picture whose slices hold one macroblock each.
std::vector<std::uint8_t> headerAlone(std::uint32_t width, std::uint32_t height) {
    std::vector<std::uint8_t> bytes(100, 0);
    const auto put = [&bytes](std::size_t offset, std::uint32_t value) {
        bytes[offset] = static_cast<std::uint8_t>(value >> 8);
        bytes[offset + 1] = static_cast<std::uint8_t>(value);
    };
    put(8, 20);
    put(16, width);
    put(18, height);
    bytes[20] = 2 << 6;
    bytes[28] = 8 << 3;
    return bytes;
}

double threadSeconds() {
    struct timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The least processor time of a few decodes in this thread alone.
double secondsOf(std::vector<std::uint8_t> const& frame, void* pixels, std::int64_t stride, int numTimes) {
    double least = 1e9;
    tbb::task_arena(1).execute([&] {
        for (int i = 0; i < numTimes; ++i) {
            const double start = threadSeconds();
            RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), 0, ColorCoding_YCbCr, 8, pixels,
                                                            stride, OptimizationTarget::AVX2);
            least = std::min(least, threadSeconds() - start);
        }
    });
    return least;
}

} // namespace

// No slice has data, so nothing is written and the address of the output is never used. The rows past the end of the
// data are not visited; visiting the slices of one of these pictures would take seconds.
TEST(BoundsTest, AHundredBytesThatDeclareALargePictureTakeLittleTime) {
    std::uint8_t pixel = 0;
    for (auto const& [width, height] : {std::pair{65535u, 65535u}, std::pair{65535u, 512u}, std::pair{512u, 65535u}}) {
        const double seconds = secondsOf(headerAlone(width, height), &pixel, 1 << 20, 3);
        std::cout << width << 'x' << height << ": " << seconds * 1000 << " ms\n";
        if (!kHasSanitizer) {
            EXPECT_LT(seconds, 0.005) << width << 'x' << height;
        }
    }
}

TEST(BoundsTest, AHundredBytesThatDeclareALargePictureTakeLittleMemory) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer keeps freed memory for a while";
    std::uint8_t pixel = 0;
    expectedOutputs();
    ASSERT_TRUE(resetPeakOfResidentMemory());
    const std::uint64_t before = residentKilobytes();
    const double seconds = secondsOf(headerAlone(65535, 65535), &pixel, 1 << 20, 1);
    const std::uint64_t peak = peakKilobytes();
    std::cout << "65535x65535: " << seconds << " s in one thread, " << peak << " KB at most, " << before << " before\n";
    ASSERT_GT(peak, 0u);
    EXPECT_LT(peak, before + 1024);
}

namespace {

// A frame of dense slices. 4:4:4:4 has the largest.
MadeFrame denseFrame(FrameSpec& spec, Random& random) {
    spec.horizontal_size = 320;
    spec.vertical_size = 192;
    spec.chroma_format = 3;
    return makeFrame(spec, randomSlices(spec, Texture::Dense, random));
}

} // namespace

// Nothing but the declared pixels bounds the time of the C++ call.
TEST(BoundsTest, SlicesThatShareADenseOneTakeNoLongerThanThreeTimesADenseFrame) {
    FrameSpec spec;
    spec.alpha_channel_type = 2;
    Random random(78);
    const MadeFrame dense = denseFrame(spec, random);
    std::vector<std::uint8_t> shared = dense.bytes;
    std::fill(shared.begin() + static_cast<std::ptrdiff_t>(dense.sliceTableOffsets[0]),
              shared.begin() + static_cast<std::ptrdiff_t>(dense.sliceOffsets[0]), std::uint8_t{0});
    const std::int64_t stride = 320 * 4;
    std::vector<std::uint8_t> output(static_cast<std::size_t>(stride) * 192);
    const double valid = secondsOf(dense.bytes, output.data(), stride, 7);
    const double slowest = secondsOf(shared, output.data(), stride, 7);
    std::cout << "dense " << valid * 1000 << " ms, shared " << slowest * 1000 << " ms\n";
    EXPECT_LT(slowest, 3 * valid);
}

// Noise in the slices of a frame against dense coefficients in a frame of the same geometry.
TEST(BoundsTest, NoDamageTakesLongerThanThreeTimesADenseFrame) {
    FrameSpec spec;
    Random random(77);
    const MadeFrame dense = denseFrame(spec, random);
    const std::int64_t stride = 320 * 4;
    std::vector<std::uint8_t> output(static_cast<std::size_t>(stride) * 192);
    const double valid = secondsOf(dense.bytes, output.data(), stride, 7);
    double slowest = 0;
    for (int kind = 0; kind < 12; ++kind) {
        std::vector<std::uint8_t> frame = dense.bytes;
        for (std::size_t i = dense.sliceOffsets[0]; i < frame.size(); ++i) {
            const bool isHeader = std::any_of(dense.sliceOffsets.begin(), dense.sliceOffsets.end(),
                                              [i](std::size_t slice) { return i >= slice && i < slice + 6; });
            if (!isHeader && (kind % 3 != 0 || randomBelow(random, 50) == 0))
                frame[i] = static_cast<std::uint8_t>(kind % 3 == 2 ? 0xFF : random());
        }
        slowest = std::max(slowest, secondsOf(frame, output.data(), stride, 3));
    }
    std::cout << "dense " << valid * 1000 << " ms, slowest damage " << slowest * 1000 << " ms\n";
    EXPECT_LT(slowest, 3 * valid);
}
