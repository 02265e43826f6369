#include "LaneGroup.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace {

class LaneGroup {
public:
    LaneGroup(ComponentScan* scans, unsigned int count) {
        for (unsigned int i = 0; i < count; ++i)
            sortOut(scans[0], scans[i]);
    }

    unsigned int numInLanes() const { return m_numInLanes; }

    void scan(LaneScanFunction& scanInLanes, OtherScans const& others) {
        for (unsigned int i = 0; i < m_numOthers; ++i)
            others.one(*m_others[i]);
        ComponentScan* sorted[kMaxLaneScans];
        longestFirst(sorted);
        scanInLanes({sorted, m_numInLanes, others.plainly, others.pairsPlainly});
        for (unsigned int i = 0; i < m_numCopied; ++i)
            m_copied[i].original->succeeded = m_copied[i].scan.succeeded;
    }

private:
    // A component with its range in memory of our own.
    struct Copied {
        ComponentScan scan;
        ComponentScan* original;
    };

    // The lanes load past the end of a range, and past the caller's data they must not. Only the last range of a frame
    // ends there, or a few of a frame that is cut off, so there is room for one of usual length.
    static constexpr unsigned int kMaxCopied = 3;
    static constexpr std::size_t kCopyBytes = 4096;

    void sortOut(ComponentScan const& first, ComponentScan& scan) {
        const bool isInReach = scan.range.size <= kMaxLaneRangeBytes && distance(first, scan) <= kMaxLaneDistance;
        if (isInReach && scan.bytesAfterRange >= kLaneOverread)
            m_inLanes[m_numInLanes++] = &scan;
        else if (isInReach && m_numCopied < kMaxCopied && scan.range.size + kLaneOverread <= kCopyBytes - m_bytesUsed)
            m_inLanes[m_numInLanes++] = &copyOf(scan);
        else
            m_others[m_numOthers++] = &scan;
    }

    static std::uint64_t distance(ComponentScan const& first, ComponentScan const& scan) {
        const auto a = reinterpret_cast<std::uintptr_t>(first.coefficients);
        const auto b = reinterpret_cast<std::uintptr_t>(scan.coefficients);
        return (a < b ? b - a : a - b) / sizeof(std::int16_t);
    }

    ComponentScan& copyOf(ComponentScan& scan) {
        std::uint8_t* bytes = m_copiedBytes + m_bytesUsed;
        const auto numBytes = static_cast<std::size_t>(scan.range.size);
        if (numBytes != 0)
            std::memcpy(bytes, scan.range.data, numBytes);
        std::memset(bytes + numBytes, 0, kLaneOverread);
        m_bytesUsed += numBytes + kLaneOverread;
        Copied& copied = m_copied[m_numCopied++];
        copied = {scan, &scan};
        copied.scan.range.data = bytes;
        return copied.scan;
    }

    // By a few classes of length, which is all that the lanes gain from.
    void longestFirst(ComponentScan** sorted) const {
        constexpr unsigned int kNumClasses = 64;
        std::uint64_t longest = 0;
        for (unsigned int i = 0; i < m_numInLanes; ++i)
            longest = std::max(longest, m_inLanes[i]->range.size);
        const auto bitsTooMany =
            static_cast<int>(std::bit_width(longest)) - static_cast<int>(std::bit_width(kNumClasses - 1));
        const int shift = std::max(0, bitsTooMany);
        unsigned int place[kNumClasses + 1] = {}; // where a class begins
        const auto classOf = [shift](ComponentScan const& scan) {
            return kNumClasses - 1 - (scan.range.size >> shift);
        };
        for (unsigned int i = 0; i < m_numInLanes; ++i)
            ++place[classOf(*m_inLanes[i]) + 1];
        for (unsigned int i = 0; i < kNumClasses; ++i)
            place[i + 1] += place[i];
        for (unsigned int i = 0; i < m_numInLanes; ++i)
            sorted[place[classOf(*m_inLanes[i])]++] = m_inLanes[i];
    }

    unsigned int m_numInLanes = 0;
    unsigned int m_numOthers = 0;
    unsigned int m_numCopied = 0;
    std::size_t m_bytesUsed = 0;
    ComponentScan* m_inLanes[kMaxLaneScans];
    ComponentScan* m_others[kMaxLaneScans];
    Copied m_copied[kMaxCopied];
    std::uint8_t m_copiedBytes[kCopyBytes];
};

} // namespace

bool scanGroupInLanes(LaneScanFunction& scanInLanes, OtherScans const& others, ComponentScan* scans,
                      unsigned int count) {
    if (count < kFewestLaneScans)
        return false;
    LaneGroup group(scans, count);
    if (group.numInLanes() < kFewestLaneScans)
        return false;
    group.scan(scanInLanes, others);
    return true;
}
