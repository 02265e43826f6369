#include "HostMonitor.h"

#include <algorithm>

namespace {

// A lock that cannot fail, for a few instructions.
class Hold {
public:
    explicit Hold(std::atomic_flag& busy) : m_busy(busy) {
        while (m_busy.test_and_set(std::memory_order_acquire))
            m_busy.wait(true, std::memory_order_relaxed);
    }
    ~Hold() {
        m_busy.clear(std::memory_order_release);
        m_busy.notify_one();
    }
    Hold(Hold const&) = delete;
    Hold& operator=(Hold const&) = delete;

private:
    std::atomic_flag& m_busy;
};

std::optional<HostFill> fillOf(ravelo_decode_options const& options, HostOutput const& output) {
    if (options.failed_slices == RAVELO_FAILED_UNTOUCHED)
        return std::nullopt;
    return HostFill(options.failed_slices == RAVELO_FAILED_BLACK ? 0 : options.mark_color, output);
}

} // namespace

bool HostMonitor::isNeeded(ravelo_decode_options const& options) {
    return options.stop != nullptr || options.damage != nullptr || options.failed_slices != RAVELO_FAILED_UNTOUCHED;
}

HostMonitor::HostMonitor(ravelo_decode_options const& options, HostOutput const& output)
    : m_stop(static_cast<const volatile std::int32_t*>(options.stop)),
      m_report(options.damage),
      m_region(output.region),
      m_fill(fillOf(options, output)),
      m_list(options.damage) {}

bool HostMonitor::wantsStop() noexcept {
    if (m_stop == nullptr || __atomic_load_n(m_stop, __ATOMIC_RELAXED) == 0)
        return false;
    m_hasStopped.store(true, std::memory_order_relaxed);
    return true;
}

void HostMonitor::sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept {
    const ravelo_damage damage = damageOf(failure, rectangle);
    if (m_fill.has_value())
        m_fill->fill({damage.x, damage.y, damage.width, damage.height}, damage.line_step);
    if (m_report == nullptr)
        return;
    m_failed.fetch_add(1, std::memory_order_relaxed);
    store(damage);
}

void HostMonitor::rowMissing(MissingRow const& row) noexcept {
    if (m_fill.has_value()) {
        const ravelo_damage first = damageOf(row.failure(0), row.rectangle(0));
        m_fill->fill({0, first.y, m_region.width, first.height}, first.line_step);
    }
    if (m_report == nullptr)
        return;
    m_failed.fetch_add(row.numSlices(), std::memory_order_relaxed);
    // Slices that follow one without room in the order of the frame have none either.
    for (std::uint32_t column = 0; column < row.numSlices(); ++column) {
        if (!store(damageOf(row.failure(column), row.rectangle(column))))
            return;
    }
}

// The part of a slice that is in the region. The rectangle's width may include columns beyond the picture.
ravelo_damage HostMonitor::damageOf(SliceFailure const& failure, PixelBuffer const& rectangle) const {
    ravelo_damage damage{};
    damage.picture = failure.picture;
    damage.row = failure.mbRow;
    damage.column = failure.slice_column;
    damage.component = failure.component;
    damage.byte_offset = failure.byteOffset;
    damage.line_step = failure.lineStep;

    const std::uint64_t firstColumn = std::max(failure.x, m_region.x);
    const std::uint64_t endColumn = std::min(failure.x + rectangle.width, std::uint64_t{m_region.x} + m_region.width);
    damage.x = static_cast<std::uint32_t>(firstColumn - m_region.x);
    if (firstColumn < endColumn)
        damage.width = static_cast<std::uint32_t>(endColumn - firstColumn);

    const std::uint64_t step = failure.lineStep;
    const std::uint64_t skipped = m_region.y > failure.y ? (m_region.y - failure.y + step - 1) / step : 0;
    const std::uint64_t firstLine = failure.y + skipped * step,
                        endOfRegion = std::uint64_t{m_region.y} + m_region.height;
    damage.y = static_cast<std::uint32_t>(firstLine - m_region.y);
    if (firstLine < endOfRegion && skipped < rectangle.height) {
        const std::uint64_t lines = (endOfRegion - firstLine + step - 1) / step;
        damage.height = static_cast<std::uint32_t>(std::min(rectangle.height - skipped, lines));
    }
    return damage;
}

bool HostMonitor::store(ravelo_damage const& damage) noexcept {
    if (m_report->capacity == 0)
        return false;
    const Hold hold(m_busy);
    return m_list.add(damage);
}

void HostMonitor::finishReport() {
    if (m_report == nullptr)
        return;
    m_list.sort();
    m_report->stored = m_list.size();
    m_report->failed = m_failed.load(std::memory_order_relaxed);
}
