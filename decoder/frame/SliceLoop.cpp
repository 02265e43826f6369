#include "SliceLoop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "HelperThreads.h"

namespace {

// What one thread has for its groups.
class ThreadMemory {
public:
    explicit ThreadMemory(std::size_t numBytes)
        : m_memory(std::aligned_alloc(kSliceMemoryAlignment, roundedUp(numBytes)), std::free) {}

    void* get() const { return m_memory.get(); } // null if there is none

private:
    // At least one byte, since null means failure.
    static std::size_t roundedUp(std::size_t numBytes) {
        return (numBytes / kSliceMemoryAlignment + 1) * kSliceMemoryAlignment;
    }

    std::unique_ptr<void, void (*)(void*)> m_memory;
};

// Units of work that threads take one after the other, and the first error of a unit.
template <class Body>
class SharedUnits {
public:
    SharedUnits(std::uint64_t numUnits, std::size_t bytesPerThread, Body const& body, void* memoryOfCaller)
        : m_body(body),
          m_numUnits(numUnits),
          m_bytesPerThread(bytesPerThread),
          m_memoryOfCaller(memoryOfCaller),
          m_caller(std::this_thread::get_id()) {}

    void work() noexcept {
        if (std::this_thread::get_id() == m_caller) {
            workWith(m_memoryOfCaller);
            return;
        }
        const ThreadMemory memory(m_bytesPerThread);
        if (memory.get() != nullptr)
            workWith(memory.get());
    }

    // To be called when no thread works any more.
    void rethrowError() {
        if (m_error != nullptr)
            std::rethrow_exception(std::exchange(m_error, nullptr));
    }

private:
    // Takes units until none is left or one has failed.
    void workWith(void* memory) noexcept {
        try {
            for (std::uint64_t unit = m_next++; unit < m_numUnits; unit = m_next++)
                m_body(memory, unit);
        } catch (...) {
            m_next = m_numUnits;
            if (!m_hasFailed.exchange(true))
                m_error = std::current_exception();
        }
    }

    Body const& m_body;
    const std::uint64_t m_numUnits;
    const std::size_t m_bytesPerThread;
    void* const m_memoryOfCaller;
    const std::thread::id m_caller;
    std::atomic<std::uint64_t> m_next{0};
    std::atomic<bool> m_hasFailed{false};
    std::exception_ptr m_error;
};

// Calls `body` with every number below `numUnits`, on any threads.
template <class Body>
void forEachUnit(std::uint64_t numUnits, SliceWalk const& walk, void* memory, Body const& body) {
    ThreadAllowance allowance;
    if (numUnits > 1 && walk.maxThreads != 1)
        allowance = allowanceOfCaller();
    if (walk.maxThreads != 0)
        allowance.numThreads = std::min(allowance.numThreads, std::size_t{walk.maxThreads});
    allowance.numThreads = std::min(allowance.numThreads, static_cast<std::size_t>(numUnits));
    if (allowance.numThreads <= 1) {
        for (std::uint64_t unit = 0; unit < numUnits; ++unit)
            body(memory, unit);
        return;
    }
    SharedUnits<Body> units(numUnits, walk.bytesPerThread, body, memory);
    runWithHelpers(
        allowance, [](void* context) noexcept { static_cast<SharedUnits<Body>*>(context)->work(); }, &units);
    units.rethrowError();
}

} // namespace

void forEachSliceGroup(SliceWalk const& walk, SliceGroupBody* body, void const* context) {
    if (walk.numRows == 0 || walk.groupsPerRow == 0)
        return;
    const ThreadMemory memoryOfCaller(walk.bytesPerThread);
    if (memoryOfCaller.get() == nullptr)
        throw std::bad_alloc();
    const auto callGroupsOfRow = [&](void* memory, std::uint32_t row) {
        for (std::uint32_t group = 0; group < walk.groupsPerRow; ++group)
            body(context, memory, row, group);
    };
    const auto callGroup = [&](void* memory, std::uint64_t unit) {
        body(context, memory, static_cast<std::uint32_t>(unit / walk.groupsPerRow),
             static_cast<std::uint32_t>(unit % walk.groupsPerRow));
    };
    switch (walk.order) {
    case SliceOrder::Any:
        forEachUnit(std::uint64_t{walk.numRows} * walk.groupsPerRow, walk, memoryOfCaller.get(), callGroup);
        break;
    case SliceOrder::LastGroupFirst: {
        const std::uint32_t others = walk.groupsPerRow - 1;
        forEachUnit(walk.numRows, walk, memoryOfCaller.get(),
                    [&](void* memory, std::uint64_t row) { callGroup(memory, row * walk.groupsPerRow + others); });
        forEachUnit(std::uint64_t{walk.numRows} * others, walk, memoryOfCaller.get(),
                    [&](void* memory, std::uint64_t unit) {
                        callGroup(memory, unit / others * walk.groupsPerRow + unit % others);
                    });
        break;
    }
    case SliceOrder::InTurn:
        for (std::uint32_t row = 0; row < walk.numRows; ++row)
            callGroupsOfRow(memoryOfCaller.get(), row);
        break;
    case SliceOrder::InTurnUpwards:
        for (std::uint32_t row = walk.numRows; row-- > 0;)
            callGroupsOfRow(memoryOfCaller.get(), row);
        break;
    }
}
