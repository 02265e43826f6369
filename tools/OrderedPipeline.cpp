#include "OrderedPipeline.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>

#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>

#include "Interrupt.h"

void runInOrder(std::size_t maxInFlight, std::function<std::unique_ptr<OrderedTask>()> const& next) {
    // A pipeline that ends early drops undelivered tasks, so this function owns them. They are delivered in the order
    // in which they were made.
    std::deque<std::unique_ptr<OrderedTask>> tasks;
    std::mutex mutex;
    using Token = OrderedTask*;
    const auto source = [&](tbb::flow_control& control) -> Token {
        throwIfInterrupted();
        std::unique_ptr<OrderedTask> task = next();
        if (!task) {
            control.stop();
            return nullptr;
        }
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(task));
        return tasks.back().get();
    };
    const auto work = [](Token task) {
        task->work();
        return task;
    };
    const auto sink = [&](Token task) {
        task->deliver();
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
