#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// A part of a long job: work that may run at the same time as that of other parts, and a result that is delivered in
// order.
class OrderedTask {
public:
    virtual ~OrderedTask() = default;
    virtual void work() = 0;
    virtual void deliver() = 0; // called after work(), in the order in which the tasks were made
};

// Runs the tasks that `next` returns, until it returns null. At most `maxInFlight` tasks run at once. The exception of
// the first task in order ends the run and reaches the caller, after all tasks before it have been delivered; no task
// after it is. An exception of `next` counts as that of the task that it would have returned.
void runInOrder(std::size_t maxInFlight, std::function<std::unique_ptr<OrderedTask>()> const& next);

// Limits the threads of the process during the lifetime of the object; 0 means no limit.
class ThreadLimit {
public:
    explicit ThreadLimit(std::size_t maxThreads);
    ~ThreadLimit();

    // The current maximum number of threads.
    static std::size_t current();

private:
    struct Control;
    std::unique_ptr<Control> m_control;
};

// Objects that are costly to construct, used by one task after the other. A waiting thread may run another task, so an
// object belongs to a task and not to a thread.
template <typename Object>
class ObjectPool {
public:
    std::unique_ptr<Object> take() {
        const std::lock_guard lock(m_mutex);
        if (m_idle.empty())
            return std::make_unique<Object>();
        std::unique_ptr<Object> object = std::move(m_idle.back());
        m_idle.pop_back();
        return object;
    }

    void giveBack(std::unique_ptr<Object> object) {
        const std::lock_guard lock(m_mutex);
        m_idle.push_back(std::move(object));
    }

private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Object>> m_idle;
};
