#include "HelperThreads.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <type_traits>

namespace {

// Four times what a decode may need, for signal handlers of profilers.
constexpr std::size_t kStackBytes = 256 * 1024;

// How often a thread that waits offers its processor to others before it sleeps. To wake a thread takes about as long.
constexpr int kYieldsBeforeSleep = 100;

// One loop, in the calling thread's stack while it is under way. All but `numHelpers`, which is written under it too,
// is guarded by the mutex of the threads.
struct Loop {
    Loop(ThreadAllowance const& loopAllowance, LoopWork* loopWork, void* loopContext)
        : allowance(loopAllowance), work(loopWork), context(loopContext) {
        std::fegetenv(&environment);
    }

    ThreadAllowance allowance;
    LoopWork* work;
    void* context;
    std::fenv_t environment;
    bool isExhausted = false;
    std::atomic<std::size_t> numHelpers{0};
    std::condition_variable lastHelperLeft;
    Loop* next = nullptr;
};

// Waits for `condition` for about as long as it takes to wake a thread.
template <class Condition>
void yieldUntil(Condition const& condition) {
    for (int i = 0; i < kYieldsBeforeSleep && !condition(); ++i)
        std::this_thread::yield();
}

constexpr std::size_t rest(std::size_t limit, std::size_t number) {
    return limit > number ? limit - number : 0;
}

class HelperThreads {
public:
    constexpr HelperThreads() = default;

    void run(Loop& loop);

    // The life of a helper.
    [[noreturn]] void help();

private:
    using Lock = std::unique_lock<std::mutex>;

    // A thread that joins a loop wakes two more, so the number of threads doubles in each step.
    static constexpr std::size_t kWokenAtOnce = 2;

    void open(Loop& loop);
    void close(Loop& loop);
    void join(Loop& loop, Lock& lock);
    void awaitLoop(Lock& lock);

    std::size_t room(Loop const& loop) const;
    std::size_t numThreadsInArena(void const* arena) const;
    Loop* loopToJoin() const;
    std::size_t numMissing(Loop const& newest) const;
    std::size_t numToWake() const;
    std::size_t numIdleProcessors() const { return rest(m_numProcessors, m_numInLoops + m_numAwake); }
    void wake(std::size_t numHelpers);
    void startThreads(std::size_t numThreads);

    std::mutex m_mutex;
    pthread_cond_t m_loopHasRoom = PTHREAD_COND_INITIALIZER;
    std::atomic<std::uint32_t> m_numOpened{0}; // loops so far, wrapping; written under the mutex
    Loop* m_loops = nullptr;                   // under way
    std::size_t m_numThreads = 0;              // that have been started or are being started
    std::size_t m_numInLoops = 0;              // threads that work, callers included
    std::size_t m_numAwake = 0;                // threads that wait for a loop without sleeping
    std::size_t m_numAsleep = 0;
    std::size_t m_numProcessors = 1; // that the process may use; known when threads are started
};

// Neither built nor destroyed at run time: decodes may run before and after the constructors and destructors of other
// static objects.
constinit HelperThreads s_threads;
static_assert(std::is_trivially_destructible_v<HelperThreads>);

// A child has the thread that forked and no other, and the mutex as it was.
void forgetThreadsInChild() {
    new (&s_threads) HelperThreads;
}

bool forgetsThreadsInChildren() {
    static std::atomic<bool> s_isRegistered{false};
    if (!s_isRegistered)
        s_isRegistered = pthread_atfork(nullptr, nullptr, forgetThreadsInChild) == 0;
    return s_isRegistered;
}

// Signals that are sent to the process are for the host's threads. Those that a thread raises itself, and those of
// profilers, reach it.
sigset_t signalsOfTheHost() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF})
        sigdelset(&signals, signal);
    return signals;
}

void* helperMain(void*) {
    pthread_setname_np(pthread_self(), "ravelo-helper");
    s_threads.help();
}

// How to start a thread.
class ThreadAttributes {
public:
    ThreadAttributes() : m_isValid(pthread_attr_init(&m_attributes) == 0) {
        if (!m_isValid)
            return;
        const sigset_t blocked = signalsOfTheHost();
        m_isValid = pthread_attr_setdetachstate(&m_attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                    pthread_attr_setsigmask_np(&m_attributes, &blocked) == 0 &&
                    pthread_attr_setstacksize(&m_attributes, kStackBytes + bytesOfThreadLocals()) == 0;
    }
    ~ThreadAttributes() {
        if (m_isValid)
            pthread_attr_destroy(&m_attributes);
    }
    ThreadAttributes(ThreadAttributes const&) = delete;
    ThreadAttributes& operator=(ThreadAttributes const&) = delete;

    bool start() const {
        pthread_t thread;
        return m_isValid && pthread_create(&thread, &m_attributes, helperMain, nullptr) == 0;
    }

private:
    // The C library keeps the thread-local data of the host in the stack, however large it is. The call that says how
    // much is not in its headers; where it is missing, a thread may be refused.
    std::size_t bytesOfThreadLocals() const {
        using LeastStack = std::size_t(pthread_attr_t const*);
        auto* const leastStack = reinterpret_cast<LeastStack*>(dlsym(RTLD_DEFAULT, "__pthread_get_minstack"));
        return leastStack != nullptr ? leastStack(&m_attributes) : 0;
    }

    pthread_attr_t m_attributes;
    bool m_isValid;
};

void HelperThreads::run(Loop& loop) {
    open(loop);
    loop.work(loop.context);
    close(loop);
}

void HelperThreads::open(Loop& loop) {
    Lock lock(m_mutex);
    loop.next = m_loops;
    m_loops = &loop;
    ++m_numInLoops;
    m_numOpened.fetch_add(1, std::memory_order_relaxed);
    const std::size_t numStarted = numMissing(loop);
    m_numThreads += numStarted;
    const std::size_t numWoken = numToWake();
    lock.unlock();
    wake(numWoken);
    startThreads(numStarted);
}

void HelperThreads::close(Loop& loop) {
    Lock lock(m_mutex);
    Loop** link = &m_loops;
    while (*link != &loop)
        link = &(*link)->next;
    *link = loop.next;
    --m_numInLoops;
    wake(numToWake());
    if (loop.numHelpers == 0)
        return;
    lock.unlock();
    yieldUntil([&loop] { return loop.numHelpers == 0; });
    // The last helper may still hold on to the loop, so the mutex is taken in any case.
    lock.lock();
    loop.lastHelperLeft.wait(lock, [&loop] { return loop.numHelpers == 0; });
}

void HelperThreads::help() {
    Lock lock(m_mutex);
    for (;;) {
        Loop* const loop = loopToJoin();
        if (loop != nullptr)
            join(*loop, lock);
        else
            awaitLoop(lock);
    }
}

void HelperThreads::join(Loop& loop, Lock& lock) {
    ++loop.numHelpers;
    ++m_numInLoops;
    const std::size_t numWoken = numToWake();
    lock.unlock();
    wake(numWoken);
    std::fesetenv(&loop.environment);
    loop.work(loop.context);
    lock.lock();
    loop.isExhausted = true;
    --m_numInLoops;
    --loop.numHelpers;
    if (loop.numHelpers == 0)
        loop.lastHelperLeft.notify_one();
}

// A thread that has a processor to itself stays awake for a moment: in a sequence of frames the next one is near.
void HelperThreads::awaitLoop(Lock& lock) {
    if (numIdleProcessors() > 0) {
        const std::uint32_t numOpened = m_numOpened.load(std::memory_order_relaxed);
        ++m_numAwake;
        lock.unlock();
        yieldUntil([&] { return m_numOpened.load(std::memory_order_relaxed) != numOpened; });
        lock.lock();
        --m_numAwake;
        if (loopToJoin() != nullptr)
            return;
    }
    ++m_numAsleep;
    pthread_cond_wait(&m_loopHasRoom, m_mutex.native_handle());
    --m_numAsleep;
}

// How many helpers more a loop may have.
std::size_t HelperThreads::room(Loop const& loop) const {
    if (loop.isExhausted)
        return 0;
    ThreadAllowance const& allowance = loop.allowance;
    std::size_t numHelpers =
        std::min(rest(allowance.numThreads, 1 + loop.numHelpers), rest(allowance.numThreadsOfProcess, m_numInLoops));
    if (allowance.arena != nullptr)
        numHelpers = std::min(numHelpers, rest(allowance.numThreadsOfArena, numThreadsInArena(allowance.arena)));
    return numHelpers;
}

std::size_t HelperThreads::numThreadsInArena(void const* arena) const {
    std::size_t numThreads = 0;
    for (Loop const* loop = m_loops; loop != nullptr; loop = loop->next) {
        if (loop->allowance.arena == arena)
            numThreads += 1 + loop->numHelpers;
    }
    return numThreads;
}

// Of the loops with room, the one with the fewest helpers.
Loop* HelperThreads::loopToJoin() const {
    Loop* chosen = nullptr;
    for (Loop* loop = m_loops; loop != nullptr; loop = loop->next) {
        if (room(*loop) > 0 && (chosen == nullptr || loop->numHelpers < chosen->numHelpers))
            chosen = loop;
    }
    return chosen;
}

// The threads that would have to be started for every loop to have all the helpers that it may have.
std::size_t HelperThreads::numMissing(Loop const& newest) const {
    std::size_t numCallers = 0;
    std::size_t numHelpers = 0;
    for (Loop const* loop = m_loops; loop != nullptr; loop = loop->next) {
        ++numCallers;
        numHelpers += loop->allowance.numThreads - 1;
    }
    return rest(std::min(numHelpers, rest(newest.allowance.numThreadsOfProcess, numCallers)), m_numThreads);
}

// Threads that are awake come by themselves. More threads than processors would only take turns, and the loop would
// have to wait for the one that is not its turn.
std::size_t HelperThreads::numToWake() const {
    const std::size_t numUseful = std::min({m_numAsleep, kWokenAtOnce, numIdleProcessors()});
    if (numUseful == 0)
        return 0;
    std::size_t numHelpers = 0;
    for (Loop const* loop = m_loops; loop != nullptr; loop = loop->next)
        numHelpers += room(*loop);
    return std::min(numUseful, rest(numHelpers, m_numAwake));
}

void HelperThreads::wake(std::size_t numHelpers) {
    for (std::size_t i = 0; i < numHelpers; ++i)
        pthread_cond_signal(&m_loopHasRoom);
}

// Ends with the first refusal; the next loop asks again.
void HelperThreads::startThreads(std::size_t numThreads) {
    if (numThreads == 0)
        return;
    const std::size_t numProcessors = std::thread::hardware_concurrency();
    std::size_t numStarted = 0;
    if (forgetsThreadsInChildren()) {
        const ThreadAttributes attributes;
        while (numStarted < numThreads && attributes.start())
            ++numStarted;
    }
    const Lock lock(m_mutex);
    m_numThreads -= numThreads - numStarted;
    m_numProcessors = numProcessors;
}

} // namespace

void runWithHelpers(ThreadAllowance const& allowance, LoopWork* work, void* context) noexcept {
    Loop loop(allowance, work, context);
    s_threads.run(loop);
}
