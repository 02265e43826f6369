#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include "BufferRequirements.h"
#include "DecodeRequest.h"
#include "Frame.h"
#include "HostileFrames.h"
#include "RaveloDecoderInterface.h"
#include "Sanitizers.h"

// Decodes on small stacks: what a decode needs, and that a stack which is too small faults at its guard page instead of
// writing beyond. Each case has its own process, so the first call of a process is tested too.

namespace {

constexpr std::size_t kPromisedBytes = 64 * 1024;

using Bytes = std::vector<std::uint8_t>;

// Memory that nothing may touch, above it a guard page, above that a stack.
class GuardedStack {
public:
    explicit GuardedStack(std::size_t stackBytes) : m_stackBytes(stackBytes) {
        m_base = static_cast<std::uint8_t*>(mmap(nullptr, kVictimBytes + kGuardBytes + kMaxStackBytes,
                                                 PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (m_base == MAP_FAILED || mprotect(m_base + kVictimBytes, kGuardBytes, PROT_NONE) != 0)
            throw std::bad_alloc();
        std::fill(m_base, m_base + kVictimBytes, kPaint);
        std::fill(stack(), stack() + kMaxStackBytes, kPaint);
    }
    ~GuardedStack() { munmap(m_base, kVictimBytes + kGuardBytes + kMaxStackBytes); }
    GuardedStack(GuardedStack const&) = delete;
    GuardedStack& operator=(GuardedStack const&) = delete;

    void run(std::function<void()> const& work) {
        s_work = &work;
        ucontext_t here, there;
        getcontext(&there);
        there.uc_stack.ss_sp = stack();
        there.uc_stack.ss_size = m_stackBytes;
        there.uc_link = &here;
        makecontext(
            &there, [] { (*s_work)(); }, 0);
        swapcontext(&here, &there);
    }

    std::size_t numBytesUsed() const {
        return m_stackBytes -
               static_cast<std::size_t>(
                   std::find_if(stack(), stack() + m_stackBytes, [](auto byte) { return byte != kPaint; }) - stack());
    }
    bool isVictimUntouched() const {
        return std::all_of(m_base, m_base + kVictimBytes, [](auto byte) { return byte == kPaint; });
    }
    bool isInGuard(void const* address) const {
        auto const* const byte = static_cast<std::uint8_t const*>(address);
        return byte >= m_base + kVictimBytes && byte < stack();
    }

private:
    static constexpr std::size_t kVictimBytes = 256 * 1024;
    static constexpr std::size_t kGuardBytes = 4096;
    static constexpr std::size_t kMaxStackBytes = 1024 * 1024;
    static constexpr std::uint8_t kPaint = 0x5C;

    std::uint8_t* stack() const { return m_base + kVictimBytes + kGuardBytes; }

    static inline std::function<void()> const* s_work = nullptr;
    std::uint8_t* m_base;
    std::size_t m_stackBytes;
};

struct StackCase {
    HostileFrame const* frame;
    DecodeRequest request;

    Bytes const& bytes() const { return frame->bytes(); }
};

// Every frame in every depth, coding and reduction, for both targets.
std::vector<StackCase> cases() {
    std::vector<StackCase> made;
    const auto add = [&made](HostileFrame const& frame, std::uint32_t reduction, std::uint32_t bitDepth) {
        for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
            if (target == OptimizationTarget::AVX2 && RaveloDecoderInterface::GetMaxOptType() == 0)
                continue;
            made.push_back({&frame, {reduction, ColorCoding_YCbCr, bitDepth, 0, target}});
            if (frame.spec.chroma_format == 3)
                made.push_back({&frame, {reduction, ColorCoding_RGBFull, bitDepth, 0, target}});
        }
    };
    for (HostileFrame const& frame : hostileFrames()) {
        for (const std::uint32_t bitDepth : kBitDepths)
            add(frame, 0, bitDepth);
        for (const std::uint32_t reduction : {1u, 2u, 3u})
            add(frame, reduction, 8);
    }
    return made;
}

// The largest output of a request; made before the small stack is entered.
Bytes roomFor(std::vector<StackCase> const& all) {
    std::uint64_t numBytes = 0;
    for (StackCase const& c : all) {
        Bytes const& frame = c.bytes();
        numBytes = std::max(
            numBytes,
            bufferRequirements({frame.data(), frame.size()}, c.request.bitDepth, c.request.downSampleFactor).bytes);
    }
    return Bytes(numBytes);
}

void decode(StackCase const& c, Bytes& output, std::uint32_t maxThreads) {
    const Bitstream bits{c.bytes().data(), c.bytes().size()};
    const BufferRequirements needs = bufferRequirements(bits, c.request.bitDepth, c.request.downSampleFactor);
    const Frame frame(bits, static_cast<ColorCoding>(c.request.colorCoding), c.request.bitDepth, output.data(),
                      static_cast<std::int64_t>(needs.safeStride), c.request.target, c.request.downSampleFactor,
                      nullptr, maxThreads);
}

// A request that is refused, whose exception is caught where the stack begins.
void refuse(StackCase const& c, Bytes& output) {
    try {
        const Frame frame({c.bytes().data(), c.bytes().size()}, ColorCoding_YCbCr, 12, output.data(), 1 << 20,
                          c.request.target, 0);
    } catch (std::runtime_error const&) {
        return;
    }
    std::_Exit(4);
}

enum ExitCode { kAsPromised = 0, kTooMuch = 1 };

[[noreturn]] void measureAndExit(std::uint32_t maxThreads) {
    const std::vector<StackCase> all = cases();
    Bytes output = roomFor(all);
    const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism, maxThreads);
    GuardedStack stack(kPromisedBytes);
    stack.run([&] {
        for (StackCase const& c : all)
            decode(c, output, maxThreads);
        refuse(all.front(), output);
    });
    std::cerr << "a decode with " << maxThreads << " threads used " << stack.numBytesUsed() << " bytes of stack\n";
    std::_Exit(stack.isVictimUntouched() ? kAsPromised : kTooMuch);
}

// What a thread of the C library leaves of 64 KiB is enough too.
[[noreturn]] void decodeInSmallThreadAndExit(std::uint32_t maxThreads) {
    static std::uint32_t s_maxThreads;
    s_maxThreads = maxThreads;
    static std::vector<StackCase> s_all;
    s_all = cases();
    static Bytes s_output;
    s_output = roomFor(s_all);
    const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism, maxThreads);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kPromisedBytes);
    pthread_t thread;
    const auto body = [](void*) -> void* {
        for (StackCase const& c : s_all)
            decode(c, s_output, s_maxThreads);
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, body, nullptr) != 0 || pthread_join(thread, nullptr) != 0)
        std::_Exit(kTooMuch);
    std::_Exit(kAsPromised);
}

GuardedStack* s_faultingStack = nullptr;

enum Outcome { kDecoded = 10, kFaultedAtTheGuard = 11, kWroteBeyond = 12, kFaultedElsewhere = 13 };

void onFault(int, siginfo_t* info, void*) {
    if (!s_faultingStack->isVictimUntouched())
        _exit(kWroteBeyond);
    _exit(s_faultingStack->isInGuard(info->si_addr) ? kFaultedAtTheGuard : kFaultedElsewhere);
}

// Decodes in a child on a stack of this size.
int outcomeOnStackOf(std::size_t stackBytes, StackCase const& c, Bytes& output) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        GuardedStack stack(stackBytes);
        s_faultingStack = &stack;
        static std::uint8_t s_signalStack[64 * 1024];
        stack_t signalStack = {};
        signalStack.ss_sp = s_signalStack;
        signalStack.ss_size = sizeof s_signalStack;
        sigaltstack(&signalStack, nullptr);
        struct sigaction action = {};
        action.sa_sigaction = onFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigaction(SIGSEGV, &action, nullptr);
        stack.run([&] {
            RaveloDecoderInterface::DecompressFrameFromBits(
                c.bytes().data(), c.bytes().size(), c.request.downSampleFactor,
                static_cast<ColorCoding>(c.request.colorCoding), c.request.bitDepth, output.data(), 1 << 14,
                c.request.target);
        });
        _exit(stack.isVictimUntouched() ? kDecoded : kWroteBeyond);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class SmallStacksTest : public testing::Test {
protected:
    SmallStacksTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

TEST_F(SmallStacksTest, ADecodeNeedsAtMost64KiBOfStack) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer makes stack frames several times larger";
    for (const std::uint32_t maxThreads : {1u, 8u}) {
        EXPECT_EXIT(measureAndExit(maxThreads), testing::ExitedWithCode(kAsPromised), "bytes of stack") << maxThreads;
        EXPECT_EXIT(decodeInSmallThreadAndExit(maxThreads), testing::ExitedWithCode(kAsPromised), "") << maxThreads;
    }
}

TEST_F(SmallStacksTest, AStackThatIsTooSmallFaultsAtItsGuardPage) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer makes stack frames several times larger";
    const tbb::global_control alone(tbb::global_control::max_allowed_parallelism, 1);
    int numDecoded = 0;
    int numFaults = 0;
    std::vector<StackCase> all = cases();
    Bytes output(1 << 22);
    // One request of each kind, on stacks from those that hold next to nothing to those that are enough.
    for (std::size_t i = 0; i < all.size(); i += all.size() / 12) {
        for (std::size_t stackBytes = 512; stackBytes <= 40 * 1024; stackBytes += 1536) {
            const int outcome = outcomeOnStackOf(stackBytes, all[i], output);
            EXPECT_TRUE(outcome == kDecoded || outcome == kFaultedAtTheGuard)
                << "request " << i << " on a stack of " << stackBytes << " bytes: " << outcome;
            numDecoded += outcome == kDecoded ? 1 : 0;
            numFaults += outcome == kFaultedAtTheGuard ? 1 : 0;
        }
    }
    EXPECT_GT(numDecoded, 0);
    EXPECT_GT(numFaults, 0);
    std::cout << numFaults << " stacks were too small, " << numDecoded << " were not\n";
}
