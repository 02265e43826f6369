#include <sys/wait.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include "BufferRequirements.h"
#include "FailingAllocations.h"
#include "HostileFrames.h"
#include "HostileRequest.h"
#include "RaveloDecoderInterface.h"

// Every allocation of a decode fails once: the standard failure reaches the caller, nothing stays allocated, and the
// next call works.

namespace {

struct DecodeCase {
    HostileFrame const* frame;
    std::uint32_t downSampleFactor;
    std::uint32_t bitDepth;
    OptimizationTarget target;
};

std::vector<DecodeCase> decodeCases() {
    std::vector<DecodeCase> cases;
    std::uint32_t number = 0;
    for (HostileFrame const& frame : hostileFrames()) {
        for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
            const std::uint32_t reduction = number % 4;
            cases.push_back({&frame, reduction, reduction == 0 && number % 3 == 0 ? 16u : 8u, target});
            ++number;
        }
    }
    return cases;
}

std::uint64_t bytesOf(DecodeCase const& decode) {
    const Bitstream bits{decode.frame->bytes().data(), decode.frame->bytes().size()};
    return bufferRequirements(bits, decode.bitDepth, decode.downSampleFactor).bytes;
}

int decodeInto(DecodeCase const& decode, std::vector<std::uint8_t>& output) {
    const Bitstream bits{decode.frame->bytes().data(), decode.frame->bytes().size()};
    const BufferRequirements needs = bufferRequirements(bits, decode.bitDepth, decode.downSampleFactor);
    return RaveloDecoderInterface::DecompressFrameFromBits(bits.data, bits.size, decode.downSampleFactor,
                                                           ColorCoding_YCbCr, decode.bitDepth, output.data(),
                                                           static_cast<std::int64_t>(needs.safeStride), decode.target);
}

enum class Outcome { Decoded, Refused, OtherFailure };

// Runs a decode whose allocation number `failing` fails; with -1 none does.
Outcome decodeWithFailure(DecodeCase const& decode, std::vector<std::uint8_t>& output, long failing, long& numLeaked) {
    Outcome outcome = Outcome::Decoded;
    const long numLiveBefore = numLiveAllocations();
    planAllocationFailure(failing);
    try {
        decodeInto(decode, output);
    } catch (std::bad_alloc const&) {
        outcome = Outcome::Refused;
    } catch (...) {
        outcome = Outcome::OtherFailure;
    }
    endAllocationFailure();
    numLeaked = numLiveAllocations() - numLiveBefore;
    return outcome;
}

// Tries every failure of one case and returns how many there are.
long failEveryAllocation(DecodeCase const& decode) {
    std::vector<std::uint8_t> expected(bytesOf(decode), 0xA5);
    long numLeaked = 0;
    EXPECT_EQ(decodeWithFailure(decode, expected, -1, numLeaked), Outcome::Decoded);
    for (long failing = 0;; ++failing) {
        std::vector<std::uint8_t> output(expected.size(), 0xA5);
        const Outcome outcome = decodeWithFailure(decode, output, failing, numLeaked);
        EXPECT_EQ(numLeaked, 0) << decode.frame->name << ", allocation " << failing;
        if (!hasAllocationFailed())
            return failing;
        EXPECT_EQ(outcome, Outcome::Refused) << decode.frame->name << ", allocation " << failing;
        std::vector<std::uint8_t> next(expected.size(), 0xA5);
        EXPECT_EQ(decodeWithFailure(decode, next, -1, numLeaked), Outcome::Decoded);
        EXPECT_EQ(next, expected) << decode.frame->name << ", the call after allocation " << failing;
    }
}

// The task library sets itself up in the first call of a process. What it allocates then is not the decoder's, and
// would make the first case differ from the others.
void startTaskLibrary() {
    std::vector<std::uint8_t> output;
    for (int i = 0; i < 8; ++i) {
        for (DecodeCase const& decode : decodeCases()) {
            output.assign(bytesOf(decode), 0);
            decodeInto(decode, output);
        }
    }
}

enum ExitCode { kAsPromised = 0, kNothingFails = 1, kNotRefused = 2, kNextCallDiffers = 3, kLeaks = 4 };

std::string hashOf(std::vector<std::uint8_t> const& output) {
    return std::to_string(std::hash<std::string_view>()({reinterpret_cast<char const*>(output.data()), output.size()}));
}

constexpr char kExpectedHash[] = "RAVELO_EXPECTED_HASH";

// The first decode of a process, with an allocation that fails, and the calls after it. The hash of the right output
// comes from the environment, since finding it out here would be the process's first decode.
[[noreturn]] void failInFirstCallAndExit(long failing) {
    const DecodeCase decode = decodeCases().front();
    std::vector<std::uint8_t> output(bytesOf(decode), 0xA5);
    long numLeaked = 0;
    const Outcome outcome = decodeWithFailure(decode, output, failing, numLeaked);
    if (!hasAllocationFailed())
        std::_Exit(kNothingFails);
    if (outcome != Outcome::Refused)
        std::_Exit(kNotRefused);
    for (int call = 0; call < 4; ++call) {
        output.assign(output.size(), 0xA5);
        if (decodeWithFailure(decode, output, -1, numLeaked) != Outcome::Decoded ||
            hashOf(output) != std::getenv(kExpectedHash))
            std::_Exit(kNextCallDiffers);
        // What the set-up keeps, it keeps once.
        if (call > 1 && numLeaked != 0)
            std::_Exit(kLeaks);
    }
    std::_Exit(kAsPromised);
}

} // namespace

// Each failure has its own process, since only the first call of a process initialises what lasts.
TEST(FailingMemoryTest, AFailureInTheFirstCallOfAProcessSparesTheNext) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto isAsPromisedOrPastTheEnd = [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == kAsPromised || WEXITSTATUS(status) == kNothingFails);
    };
    if (std::getenv(kExpectedHash) == nullptr) {
        std::vector<std::uint8_t> expected(bytesOf(decodeCases().front()), 0xA5);
        decodeInto(decodeCases().front(), expected);
        setenv(kExpectedHash, hashOf(expected).c_str(), 1);
    }
    for (long failing = 0; failing < 24; ++failing) {
        SCOPED_TRACE("allocation " + std::to_string(failing));
        EXPECT_EXIT(failInFirstCallAndExit(failing), isAsPromisedOrPastTheEnd, "");
    }
    EXPECT_EXIT(failInFirstCallAndExit(0), testing::ExitedWithCode(kAsPromised), "");
}

TEST(FailingMemoryTest, EveryAllocationThatFailsReachesTheCallerAndLeaksNothing) {
    const std::vector<DecodeCase> cases = decodeCases();
    EXPECT_GE(cases.size(), 30u);
    long numFailures = 0;
    startTaskLibrary();
    tbb::task_arena alone(1);
    for (DecodeCase const& decode : cases) {
        alone.execute([&] {
            const long count = failEveryAllocation(decode);
            EXPECT_GT(count, 0) << "a decode without an allocation cannot show what its failure does";
            numFailures += count;
        });
    }
    std::cout << cases.size() << " frames and requests, " << numFailures << " failing allocations\n";
}

// With workers the order of allocations changes from run to run, so only what holds in every order is looked at.
TEST(FailingMemoryTest, FailuresInParallelLoopsReachTheCallerToo) {
    startTaskLibrary();
    long numRefused = 0;
    for (DecodeCase const& decode : decodeCases()) {
        std::vector<std::uint8_t> output(bytesOf(decode), 0xA5);
        for (long failing = 0; failing < 12; ++failing) {
            long numLeaked = 0;
            const Outcome outcome = decodeWithFailure(decode, output, failing, numLeaked);
            EXPECT_NE(outcome, Outcome::OtherFailure);
            EXPECT_EQ(outcome == Outcome::Refused, hasAllocationFailed());
            EXPECT_EQ(numLeaked, 0) << decode.frame->name << ", allocation " << failing;
            numRefused += outcome == Outcome::Refused ? 1 : 0;
        }
    }
    EXPECT_GT(numRefused, 0);
}
