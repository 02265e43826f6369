#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

// A piece of a long job: work that may run beside that of other pieces, and an end that waits for its turn.
class OrderedTask {
public:
    virtual ~OrderedTask() = default;
    virtual void work() = 0;
    virtual void deliver() = 0; // called after work(), in the order in which the tasks were made
};

// Runs the tasks that `next` makes, one after the other, until it makes none. At most `maxInFlight` tasks are under
// way. The first exception ends the run and reaches the caller; what was delivered before it stays delivered.
void runInOrder(std::size_t maxInFlight, std::function<std::unique_ptr<OrderedTask>()> const& next);

// Limits the threads of the process for as long as the object lives; 0 means no limit.
class ThreadLimit {
public:
    explicit ThreadLimit(std::size_t maxThreads);
    ~ThreadLimit();

    // The number of threads that share the work at present.
    static std::size_t current();

private:
    struct Control;
    std::unique_ptr<Control> m_control;
};

// Objects that are costly to make, used by one task after the other. Threads take each other's work while they wait, so
// an object belongs to a task and not to a thread.
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
