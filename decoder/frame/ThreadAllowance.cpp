#include "ThreadAllowance.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

namespace {

// The first question sets the task library up. A set-up that fails is never repeated: whoever asks afterwards, or at
// the same time, waits for ever. So one thread asks first, and nobody asks after a failure.
class TaskLibrary {
public:
    enum class State { Unknown, BeingAsked, Ready, Broken };

    static State state() {
        State state = State::Unknown;
        if (!s_state.compare_exchange_strong(state, State::BeingAsked))
            return state;
        try {
            numThreadsOfProcess();
        } catch (...) {
            s_state = State::Broken;
            throw;
        }
        s_state = State::Ready;
        return State::Ready;
    }

    static std::size_t numThreadsOfProcess() {
        return tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    }

private:
    static inline std::atomic<State> s_state{State::Unknown};
};

// The arena that the calling thread is in. Loops whose callers share an arena share its number of threads, so arenas
// must be distinguished, for which there is no other call.
class CallersArena : private tbb::task_arena {
public:
    CallersArena() : tbb::task_arena(tbb::task_arena::attach()) {}

    void const* identity() const { return my_arena.load(std::memory_order_relaxed); }
};

ThreadAllowance allowanceOfReadyLibrary() {
    ThreadAllowance allowance;
    allowance.numThreadsOfProcess = TaskLibrary::numThreadsOfProcess();
    allowance.numThreadsOfArena = static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
    allowance.numThreads = std::min(allowance.numThreadsOfProcess, allowance.numThreadsOfArena);
    if (allowance.numThreads > 1)
        allowance.arena = CallersArena().identity();
    return allowance;
}

// Without the task library there are no arenas and no controls.
ThreadAllowance allowanceOfProcessors() {
    ThreadAllowance allowance;
    allowance.numThreadsOfProcess = std::max(1u, std::thread::hardware_concurrency());
    allowance.numThreads = allowance.numThreadsOfProcess;
    return allowance;
}

} // namespace

ThreadAllowance allowanceOfCaller() {
    switch (TaskLibrary::state()) {
    case TaskLibrary::State::Ready:
        return allowanceOfReadyLibrary();
    case TaskLibrary::State::Broken:
        return allowanceOfProcessors();
    case TaskLibrary::State::Unknown:
    case TaskLibrary::State::BeingAsked:
        break;
    }
    return {};
}
