#include "SliceLoop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <utility>

#include "HelperThreads.h"

namespace {

// Units of work that threads take one after the other, and the first error of a unit.
template <class Body>
class SharedUnits {
public:
    SharedUnits(std::uint64_t numUnits, Body const& body) : m_body(body), m_numUnits(numUnits) {}

    // Takes units until none is left or one has failed.
    void work() noexcept {
        try {
            for (std::uint64_t unit = m_next++; unit < m_numUnits; unit = m_next++)
                m_body(unit);
        } catch (...) {
            m_next = m_numUnits;
            if (!m_hasFailed.exchange(true))
                m_error = std::current_exception();
        }
    }

    // To be called when no thread works any more.
    void rethrowError() {
        if (m_error != nullptr)
            std::rethrow_exception(std::exchange(m_error, nullptr));
    }

private:
    Body const& m_body;
    const std::uint64_t m_numUnits;
    std::atomic<std::uint64_t> m_next{0};
    std::atomic<bool> m_hasFailed{false};
    std::exception_ptr m_error;
};

// Calls `body` with every number below `numUnits`, on any threads.
template <class Body>
void forEachUnit(std::uint64_t numUnits, std::uint32_t maxThreads, Body const& body) {
    ThreadAllowance allowance;
    if (numUnits > 1 && maxThreads != 1)
        allowance = allowanceOfCaller();
    if (maxThreads != 0)
        allowance.numThreads = std::min(allowance.numThreads, std::size_t{maxThreads});
    allowance.numThreads = std::min(allowance.numThreads, static_cast<std::size_t>(numUnits));
    if (allowance.numThreads <= 1) {
        for (std::uint64_t unit = 0; unit < numUnits; ++unit)
            body(unit);
        return;
    }
    SharedUnits<Body> units(numUnits, body);
    runWithHelpers(
        allowance, [](void* context) noexcept { static_cast<SharedUnits<Body>*>(context)->work(); }, &units);
    units.rethrowError();
}

} // namespace

void forEachSliceGroup(SliceWalk const& walk, SliceGroupBody* body, void const* context) {
    const auto callGroupsOfRow = [&](std::uint32_t row) {
        for (std::uint32_t group = 0; group < walk.groupsPerRow; ++group)
            body(context, row, group);
    };
    switch (walk.order) {
    case SliceOrder::Any:
        forEachUnit(std::uint64_t{walk.numRows} * walk.groupsPerRow, walk.maxThreads, [&](std::uint64_t unit) {
            body(context, static_cast<std::uint32_t>(unit / walk.groupsPerRow),
                 static_cast<std::uint32_t>(unit % walk.groupsPerRow));
        });
        break;
    case SliceOrder::AlternateRows:
        for (std::uint32_t parity = 0; parity < 2; ++parity) {
            const std::uint32_t rowsOfParity = walk.numRows / 2 + (parity == 0 ? walk.numRows % 2 : 0);
            forEachUnit(rowsOfParity, walk.maxThreads,
                        [&](std::uint64_t index) { callGroupsOfRow(2 * static_cast<std::uint32_t>(index) + parity); });
        }
        break;
    case SliceOrder::InTurn:
        for (std::uint32_t row = 0; row < walk.numRows; ++row)
            callGroupsOfRow(row);
        break;
    }
}
