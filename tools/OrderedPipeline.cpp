#include "OrderedPipeline.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>

#include "Interrupt.h"

namespace {

struct TaskInFlight {
    std::unique_ptr<OrderedTask> task; // null where making the task has failed
    std::exception_ptr error;          // of its work
};

} // namespace

void runInOrder(std::size_t maxInFlight, std::function<std::unique_ptr<OrderedTask>()> const& next) {
    // A pipeline that ends early drops undelivered tasks, so this function owns them. They are delivered in the order
    // in which they were made. An error waits for its turn, or it would take with it what others have finished.
    std::deque<TaskInFlight> tasks;
    std::mutex mutex;
    std::atomic<bool> hasFailed = false;
    using Token = TaskInFlight*;
    const auto source = [&](tbb::flow_control& control) -> Token {
        throwIfInterrupted();
        TaskInFlight made;
        try {
            made.task = hasFailed ? nullptr : next();
        } catch (...) {
            made.error = std::current_exception();
            hasFailed = true;
        }
        if (!made.task && !made.error) {
            control.stop();
            return nullptr;
        }
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(made));
        return &tasks.back();
    };
    const auto work = [&](Token token) {
        try {
            if (!token->error)
                token->task->work();
        } catch (...) {
            token->error = std::current_exception();
            hasFailed = true;
        }
        return token;
    };
    const auto sink = [&](Token token) {
        if (token->error)
            std::rethrow_exception(token->error);
        token->task->deliver();
        const std::lock_guard lock(mutex);
        tasks.pop_front();
    };
    tbb::parallel_pipeline(std::max<std::size_t>(maxInFlight, 1),
                           tbb::make_filter<void, Token>(tbb::filter_mode::serial_in_order, source) &
                               tbb::make_filter<Token, Token>(tbb::filter_mode::parallel, work) &
                               tbb::make_filter<Token, void>(tbb::filter_mode::serial_in_order, sink));
}

struct ThreadLimit::Control {
    explicit Control(std::size_t maxThreads) : limit(tbb::global_control::max_allowed_parallelism, maxThreads) {}
    tbb::global_control limit;
};

ThreadLimit::ThreadLimit(std::size_t maxThreads)
    : m_control(maxThreads == 0 ? nullptr : std::make_unique<Control>(maxThreads)) {}

ThreadLimit::~ThreadLimit() = default;

std::size_t ThreadLimit::current() {
    return tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
}
