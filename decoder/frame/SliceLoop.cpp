#include "SliceLoop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "HelperThreads.h"

namespace {

// What one thread has for its groups. It is aligned by hand: an aligned allocation of the C library leaves a gap before
// the block, the next one of the same size does not always fit into it, and memory would grow from frame to frame.
class ThreadMemory {
public:
    explicit ThreadMemory(std::size_t numBytes)
        : m_memory(numBytes < kTooMany ? new (std::nothrow) std::byte[numBytes + kSliceMemoryAlignment] : nullptr) {}

    void* get() const { // null if there is none
        const auto address = reinterpret_cast<std::uintptr_t>(m_memory.get());
        return address == 0 ? nullptr : m_memory.get() + (-address & (kSliceMemoryAlignment - 1));
    }

private:
    static constexpr std::size_t kTooMany = std::numeric_limits<std::size_t>::max() - kSliceMemoryAlignment;

    std::unique_ptr<std::byte[]> m_memory;
};

// The numbers from 0 to `count` - 1, which threads take in turn.
class Numbers {
public:
    using Unit = std::uint64_t;

    explicit Numbers(std::uint64_t count) : m_count(count) {}

    std::optional<Unit> take() {
        const Unit unit = m_next++;
        return unit < m_count ? std::optional<Unit>(unit) : std::nullopt;
    }
    void leaveNone() { m_next = m_count; }

private:
    const std::uint64_t m_count;
    std::atomic<std::uint64_t> m_next{0};
};

// Ranges of units, likewise.
class Ranges {
public:
    struct Unit {
        std::uint32_t first;
        std::uint32_t count;
    };

    Ranges(SliceRangeWalk const& walk, std::size_t numThreads) : m_walk(walk), m_numThreads(numThreads) {}

    std::optional<Unit> take() {
        std::uint32_t first = m_next.load();
        while (first < m_walk.numUnits) {
            const std::uint32_t count = unitsOfNextRange(m_walk, m_walk.numUnits - first, m_numThreads);
            if (m_next.compare_exchange_weak(first, first + count))
                return Unit{first, count};
        }
        return std::nullopt;
    }
    void leaveNone() { m_next = m_walk.numUnits; }

private:
    SliceRangeWalk const& m_walk;
    const std::size_t m_numThreads;
    std::atomic<std::uint32_t> m_next{0};
};

// Units of work that threads share, and the first error of a unit.
template <class Units, class Body>
class SharedUnits {
public:
    SharedUnits(Units& units, std::size_t bytesPerThread, Body const& body, void* memoryOfCaller)
        : m_units(units),
          m_body(body),
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
            while (const auto unit = m_units.take())
                m_body(memory, *unit);
        } catch (...) {
            m_units.leaveNone();
            if (!m_hasFailed.exchange(true))
                m_error = std::current_exception();
        }
    }

    Units& m_units;
    Body const& m_body;
    const std::size_t m_bytesPerThread;
    void* const m_memoryOfCaller;
    const std::thread::id m_caller;
    std::atomic<bool> m_hasFailed{false};
    std::exception_ptr m_error;
};

// The threads that may share `numUnits` units.
ThreadAllowance allowanceFor(std::uint64_t numUnits, std::uint32_t maxThreads) {
    ThreadAllowance allowance;
    if (numUnits > 1 && maxThreads != 1)
        allowance = allowanceOfCaller();
    if (maxThreads != 0)
        allowance.numThreads = std::min(allowance.numThreads, std::size_t{maxThreads});
    allowance.numThreads = std::min(allowance.numThreads, static_cast<std::size_t>(numUnits));
    return allowance;
}

// Calls `body` with every unit, on the threads of `allowance`.
template <class Units, class Body>
void forEachUnit(Units& units, ThreadAllowance const& allowance, std::size_t bytesPerThread, void* memory,
                 Body const& body) {
    if (allowance.numThreads <= 1) {
        while (const auto unit = units.take())
            body(memory, *unit);
        return;
    }
    SharedUnits<Units, Body> shared(units, bytesPerThread, body, memory);
    runWithHelpers(
        allowance, [](void* context) noexcept { static_cast<SharedUnits<Units, Body>*>(context)->work(); }, &shared);
    shared.rethrowError();
}

// Calls `body` with every number below `numUnits`.
template <class Body>
void forEachNumber(std::uint64_t numUnits, SliceWalk const& walk, void* memory, Body const& body) {
    Numbers numbers(numUnits);
    forEachUnit(numbers, allowanceFor(numUnits, walk.maxThreads), walk.bytesPerThread, memory, body);
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
        forEachNumber(std::uint64_t{walk.numRows} * walk.groupsPerRow, walk, memoryOfCaller.get(), callGroup);
        break;
    case SliceOrder::LastGroupFirst: {
        const std::uint32_t others = walk.groupsPerRow - 1;
        forEachNumber(walk.numRows, walk, memoryOfCaller.get(),
                      [&](void* memory, std::uint64_t row) { callGroup(memory, row * walk.groupsPerRow + others); });
        forEachNumber(std::uint64_t{walk.numRows} * others, walk, memoryOfCaller.get(),
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

std::uint32_t unitsOfNextRange(SliceRangeWalk const& walk, std::uint32_t numLeft, std::size_t numThreads) {
    std::uint64_t most = walk.mostUnits;
    if (numThreads > 1)
        most = std::min(most, std::max<std::uint64_t>(walk.leastUnits, numLeft / numThreads));
    const std::uint64_t numRanges = (numLeft + most - 1) / most;
    return static_cast<std::uint32_t>((numLeft + numRanges - 1) / numRanges);
}

void forEachSliceRange(SliceRangeWalk const& walk, SliceRangeBody* body, void const* context) {
    if (walk.numUnits == 0)
        return;
    const ThreadMemory memoryOfCaller(walk.bytesPerThread);
    if (memoryOfCaller.get() == nullptr)
        throw std::bad_alloc();
    const std::uint32_t mostRanges = (walk.numUnits + walk.leastUnits - 1) / walk.leastUnits;
    const ThreadAllowance allowance = allowanceFor(mostRanges, walk.maxThreads);
    Ranges ranges(walk, allowance.numThreads);
    forEachUnit(ranges, allowance, walk.bytesPerThread, memoryOfCaller.get(),
                [&](void* memory, Ranges::Unit const& range) { body(context, memory, range.first, range.count); });
}
