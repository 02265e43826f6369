#include "ThreadProbe.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

bool canStartThreads(unsigned numThreads) {
    std::mutex mutex;
    std::condition_variable allTried;
    bool mayEnd = false;
    std::vector<std::thread> threads;
    threads.reserve(numThreads);
    const auto wait = [&] {
        std::unique_lock lock(mutex);
        allTried.wait(lock, [&] { return mayEnd; });
    };
    const auto end = [&] {
        {
            const std::lock_guard lock(mutex);
            mayEnd = true;
        }
        allTried.notify_all();
        for (std::thread& thread : threads)
            thread.join();
    };
    try {
        while (threads.size() < numThreads)
            threads.emplace_back(wait);
    } catch (std::system_error const&) {
        end();
        return false;
    } catch (...) {
        end();
        throw;
    }
    end();
    return true;
}
