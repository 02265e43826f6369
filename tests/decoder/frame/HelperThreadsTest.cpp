#include "HelperThreads.h"

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

// A loop whose threads wait for each other, until as many have come as are expected or time is up.
class Meeting {
public:
    explicit Meeting(std::size_t numExpected) : m_numExpected(numExpected) {}

    // The most threads that were in the loop at once.
    std::size_t hold(ThreadAllowance const& allowance) {
        runWithHelpers(
            allowance, [](void* context) noexcept { static_cast<Meeting*>(context)->attend(); }, this);
        return m_mostPresent;
    }

private:
    void attend() {
        std::unique_lock lock(m_mutex);
        ++m_numPresent;
        m_mostPresent = std::max(m_mostPresent, m_numPresent);
        m_arrived.notify_all();
        // Long enough for a machine that is busy with other things.
        m_arrived.wait_for(lock, std::chrono::seconds(30), [this] { return m_mostPresent >= m_numExpected; });
        --m_numPresent;
    }

    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::size_t m_numExpected;
    std::size_t m_numPresent = 0;
    std::size_t m_mostPresent = 0;
};

// How many threads are in any of several loops, and the most that were at once.
struct Crowd {
    std::atomic<std::size_t> numPresent{0};
    std::atomic<std::size_t> mostPresent{0};

    void enter() {
        const std::size_t now = ++numPresent;
        for (std::size_t most = mostPresent; most < now && !mostPresent.compare_exchange_weak(most, now);) {
        }
    }
    void leave() { --numPresent; }
};

// A loop that lasts for a while.
struct Pause {
    std::atomic<std::size_t> numThreads{0};
    Crowd* crowd = nullptr; // of all loops, if anybody asks

    static void work(void* context) noexcept {
        Pause& pause = *static_cast<Pause*>(context);
        ++pause.numThreads;
        if (pause.crowd != nullptr)
            pause.crowd->enter();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        if (pause.crowd != nullptr)
            pause.crowd->leave();
    }
};

// How many threads each of these loops has, each begun by a thread of its own while the others last. A helper may go
// from one to the next; `crowd` counts it once.
std::vector<std::size_t> threadsOfLoopsAtOnce(std::vector<ThreadAllowance> const& allowances, Crowd& crowd) {
    std::vector<Pause> pauses(allowances.size());
    for (Pause& pause : pauses)
        pause.crowd = &crowd;
    std::vector<std::thread> callers;
    for (std::size_t i = 0; i < allowances.size(); ++i)
        callers.emplace_back([&, i] { runWithHelpers(allowances[i], Pause::work, &pauses[i]); });
    std::vector<std::size_t> numThreads;
    for (std::size_t i = 0; i < allowances.size(); ++i) {
        callers[i].join();
        numThreads.push_back(pauses[i].numThreads);
    }
    return numThreads;
}

ThreadAllowance allowance(std::size_t numThreads, std::size_t numThreadsOfProcess) {
    ThreadAllowance made;
    made.numThreads = numThreads;
    made.numThreadsOfProcess = numThreadsOfProcess;
    return made;
}

// What a helper finds in its thread.
struct Surroundings {
    std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> numHelpers{0};
    std::atomic<int> roundingMode{-1};
    std::atomic<bool> isTerminationBlocked{false};
    std::atomic<bool> isFaultBlocked{true};

    static void work(void* context) noexcept {
        Surroundings& seen = *static_cast<Surroundings*>(context);
        if (std::this_thread::get_id() == seen.caller) {
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (seen.numHelpers == 0 && std::chrono::steady_clock::now() < end)
                std::this_thread::yield();
            return;
        }
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        seen.isTerminationBlocked = sigismember(&blocked, SIGTERM) == 1;
        seen.isFaultBlocked = sigismember(&blocked, SIGSEGV) == 1;
        seen.roundingMode = std::fegetround();
        ++seen.numHelpers;
    }
};

// A loop whose calling thread returns as soon as a helper has come, which takes its time.
struct LateHelper {
    std::thread::id caller = std::this_thread::get_id();
    std::atomic<bool> hasCome{false};
    std::atomic<bool> hasLeft{false};

    static void work(void* context) noexcept {
        LateHelper& late = *static_cast<LateHelper*>(context);
        if (std::this_thread::get_id() == late.caller) {
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (!late.hasCome && std::chrono::steady_clock::now() < end)
                std::this_thread::yield();
            return;
        }
        late.hasCome = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        late.hasLeft = true;
    }
};

bool hasTwoProcessors() {
    return std::thread::hardware_concurrency() >= 2;
}

} // namespace

TEST(HelperThreadsTest, OneThreadIsTheCallingOne) {
    for (int round = 0; round < 100; ++round)
        EXPECT_EQ(Meeting(1).hold(allowance(1, 16)), 1u);
}

TEST(HelperThreadsTest, HelpersComeAndNeverMoreThanAreAllowed) {
    if (!hasTwoProcessors())
        GTEST_SKIP() << "This machine has one processor.";
    for (int round = 0; round < 50; ++round)
        EXPECT_EQ(Meeting(2).hold(allowance(2, 16)), 2u);
    for (int round = 0; round < 50; ++round) {
        const std::size_t numThreads = Meeting(2).hold(allowance(5, 16));
        EXPECT_GE(numThreads, 2u);
        EXPECT_LE(numThreads, 5u);
    }
}

TEST(HelperThreadsTest, TheCallReturnsAfterTheLastHelperHoweverLateItIs) {
    LateHelper late;
    runWithHelpers(allowance(2, 16), LateHelper::work, &late);
    EXPECT_TRUE(late.hasCome);
    EXPECT_TRUE(late.hasLeft);
}

TEST(HelperThreadsTest, AllLoopsOfTheProcessShareItsThreads) {
    for (int round = 0; round < 5; ++round) {
        // Callers need no leave; helpers come as long as there are fewer than four threads.
        Crowd three;
        threadsOfLoopsAtOnce({allowance(2, 4), allowance(4, 4), allowance(4, 4)}, three);
        EXPECT_GE(three.mostPresent, 1u);
        EXPECT_LE(three.mostPresent, 3u + 3u);
        // Where one thread is allowed, no helper comes.
        Crowd four;
        const std::vector<std::size_t> each =
            threadsOfLoopsAtOnce({allowance(4, 1), allowance(4, 1), allowance(4, 1), allowance(4, 1)}, four);
        EXPECT_EQ(each, (std::vector<std::size_t>{1, 1, 1, 1}));
    }
}

TEST(HelperThreadsTest, LoopsOfOneArenaShareItsThreadsAndLoopsOfOthersDoNot) {
    if (!hasTwoProcessors())
        GTEST_SKIP() << "This machine has one processor.";
    int arenas[2] = {};
    ThreadAllowance inFirst = allowance(2, 64);
    inFirst.arena = &arenas[0];
    inFirst.numThreadsOfArena = 2;
    // A caller that begins while the other's loop has no helper yet leaves no room for one.
    for (int round = 0; round < 20; ++round) {
        struct Outer {
            ThreadAllowance inner;
            std::size_t numInner = 0;
            std::atomic<bool> isDone{false};
        } outer{inFirst};
        inFirst.numThreads = 1;
        runWithHelpers(
            inFirst,
            [](void* context) noexcept {
                Outer& here = *static_cast<Outer*>(context);
                Pause pause;
                runWithHelpers(here.inner, Pause::work, &pause);
                here.numInner = pause.numThreads;
            },
            &outer);
        EXPECT_EQ(outer.numInner, 1u) << "two callers are all that an arena of two may have";
        inFirst.numThreads = 2;
    }
    ThreadAllowance inSecond = inFirst;
    inSecond.arena = &arenas[1];
    for (int round = 0; round < 20; ++round)
        EXPECT_EQ(Meeting(2).hold(round % 2 == 0 ? inFirst : inSecond), 2u);
}

TEST(HelperThreadsTest, HelpersRoundAsTheCallerDoesAndLeaveSignalsToTheHost) {
    if (!hasTwoProcessors())
        GTEST_SKIP() << "This machine has one processor.";
    for (const int roundingMode : {FE_UPWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        std::fesetround(roundingMode);
        Surroundings seen;
        runWithHelpers(allowance(2, 16), Surroundings::work, &seen);
        std::fesetround(FE_TONEAREST);
        ASSERT_GE(seen.numHelpers, 1);
        EXPECT_EQ(seen.roundingMode, roundingMode);
        EXPECT_TRUE(seen.isTerminationBlocked);
        EXPECT_FALSE(seen.isFaultBlocked);
    }
}

TEST(HelperThreadsTest, AChildOfAForkHasHelpersOfItsOwn) {
    if (!hasTwoProcessors())
        GTEST_SKIP() << "This machine has one processor.";
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(Meeting(2).hold(allowance(2, 16)), 2u);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(60);
            _exit(Meeting(2).hold(allowance(2, 16)) == 2 ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
}

TEST(HelperThreadsTest, LoopsFromManyThreadsAllEnd) {
    std::vector<std::thread> callers;
    std::atomic<std::size_t> numWrong{0};
    for (std::size_t i = 0; i < 16; ++i) {
        callers.emplace_back([&numWrong, i] {
            for (std::size_t round = 0; round < 500; ++round) {
                struct Sum {
                    std::atomic<std::uint64_t> next{0};
                    std::atomic<std::uint64_t> sum{0};
                    static void work(void* context) noexcept {
                        Sum& here = *static_cast<Sum*>(context);
                        for (std::uint64_t unit = here.next++; unit < 100; unit = here.next++)
                            here.sum += unit;
                    }
                } sum;
                runWithHelpers(allowance(1 + (i + round) % 5, 8), Sum::work, &sum);
                numWrong += sum.sum == 4950 ? 0 : 1;
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(numWrong, 0u);
}
