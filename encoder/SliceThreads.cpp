#include "SliceThreads.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace {

class SliceQueue {
public:
    SliceQueue(std::size_t numSlices, std::function<void(std::size_t)> const& work)
        : m_numSlices(numSlices), m_work(work) {}

    void run() {
        try {
            for (std::size_t slice = m_next++; slice < m_numSlices; slice = m_next++)
                m_work(slice);
        } catch (...) {
            m_next = m_numSlices;
            const std::lock_guard lock(m_mutex);
            if (!m_exception)
                m_exception = std::current_exception();
        }
    }

    void rethrow() const {
        if (m_exception)
            std::rethrow_exception(m_exception);
    }

private:
    std::size_t m_numSlices;
    std::function<void(std::size_t)> const& m_work;
    std::atomic<std::size_t> m_next{0};
    std::mutex m_mutex;
    std::exception_ptr m_exception;
};

} // namespace

void forEachSlice(std::size_t numSlices, std::uint32_t maxThreads, std::function<void(std::size_t)> const& work) {
    SliceQueue queue(numSlices, work);
    std::vector<std::thread> helpers;
    const std::size_t numThreads = std::min<std::size_t>(maxThreads, numSlices);
    try {
        helpers.reserve(numThreads);
        for (std::size_t i = 1; i < numThreads; ++i)
            helpers.emplace_back([&queue] { queue.run(); });
    } catch (std::system_error const&) {
        // The threads that were started do the work of the others.
    } catch (std::bad_alloc const&) {
        // A thread without memory is a thread less.
    }
    queue.run();
    for (std::thread& helper : helpers)
        helper.join();
    queue.rethrow();
}
