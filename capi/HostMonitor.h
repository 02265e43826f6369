#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "DamageList.h"
#include "DecodeMonitor.h"
#include "HostFill.h"
#include "HostRequest.h"
#include "PixelBuffer.h"
#include "ravelo.h"

// Stops a decode, fills slices that failed and reports them, as the options of the host say.
class HostMonitor : public DecodeMonitor {
public:
    // True if one of the options needs a monitor.
    static bool isNeeded(ravelo_decode_options const& options);

    // The options and what they point at must outlive the monitor.
    HostMonitor(ravelo_decode_options const& options, HostOutput const& output);

    bool wantsStop() noexcept override;
    void sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept override;
    // Fills the row as one rectangle, and reports its slices as long as the report accepts them.
    void rowMissing(MissingRow const& row) noexcept override;

    bool hasStopped() const { return m_hasStopped.load(std::memory_order_relaxed); }
    // Sorts the reported slices and completes the report, if there is one. Called after the decode.
    void finishReport();

private:
    ravelo_damage damageOf(SliceFailure const& failure, PixelBuffer const& rectangle) const;
    // Returns false for a slice for which the report has no room.
    bool store(ravelo_damage const& damage) noexcept;

    const volatile std::int32_t* m_stop;
    ravelo_damage_report* m_report;
    PixelRectangle m_region;
    std::optional<HostFill> m_fill;
    std::atomic<bool> m_hasStopped{false};
    std::atomic<std::uint64_t> m_failed{0};
    std::atomic_flag m_busy; // held while the list changes
    DamageList m_list;
};
