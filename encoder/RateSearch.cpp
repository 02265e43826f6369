#include "RateSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "SliceThreads.h"

namespace {

constexpr double kTolerance = 0.03;
constexpr std::uint32_t kFinestIndex = 1;
constexpr std::uint32_t kCoarsestIndex = 255;

// Marks of a bracket that has no measured end on that side.
constexpr std::uint32_t kNoFinerIndex = kFinestIndex - 1;
constexpr std::uint32_t kNoCoarserIndex = kCoarsestIndex + 1;

// A frame shrinks roughly with this power of the index. It only decides where the search looks first.
constexpr double kTypicalExponent = 0.7;
constexpr double kFirstGuess = 6;

class RateSearch {
public:
    explicit RateSearch(RateTarget const& target) : m_target(target) {}

    std::vector<std::uint8_t> result();

private:
    bool meetsTarget(double bytes) const {
        return std::abs(bytes - m_target.wantedBytes) <= kTolerance * m_target.wantedBytes;
    }
    std::vector<std::uint32_t> const& slicesAt(std::uint32_t index);
    std::uint32_t sliceBytes(std::size_t slice, std::uint32_t index) const;
    double bytesAt(std::uint32_t index);
    double logExcess(std::uint32_t index) { return std::log(bytesAt(index) / m_target.wantedBytes); }

    void bracket();
    std::uint32_t guess(std::uint32_t step);
    std::vector<std::uint8_t> mixture();
    void moveSingleSlices(std::vector<std::uint8_t>& indices);
    double bytesOf(std::vector<std::uint8_t> const& indices) const;
    [[noreturn]] void fail(double nearestBytes) const;

    RateTarget const& m_target;
    std::array<std::vector<std::uint32_t>, 256> m_slicesAt; // empty where not measured
    std::uint32_t m_finer = kNoFinerIndex;                  // the coarsest index known to give too much
    std::uint32_t m_coarser = kNoCoarserIndex;              // the finest index known to give no more than wanted
};

std::vector<std::uint32_t> const& RateSearch::slicesAt(std::uint32_t index) {
    std::vector<std::uint32_t>& sizes = m_slicesAt[index];
    if (sizes.empty()) {
        std::vector<std::uint32_t> measured(m_target.numSlices);
        forEachSlice(m_target.numSlices, m_target.maxThreads,
                     [&](std::size_t slice) { measured[slice] = m_target.sliceBytes(slice, index); });
        sizes = std::move(measured);
    }
    return sizes;
}

std::uint32_t RateSearch::sliceBytes(std::size_t slice, std::uint32_t index) const {
    return m_slicesAt[index].empty() ? m_target.sliceBytes(slice, index) : m_slicesAt[index][slice];
}

double RateSearch::bytesAt(std::uint32_t index) {
    std::vector<std::uint32_t> const& sizes = slicesAt(index);
    return static_cast<double>(std::accumulate(sizes.begin(), sizes.end(), m_target.fixedBytes));
}

double RateSearch::bytesOf(std::vector<std::uint8_t> const& indices) const {
    double bytes = static_cast<double>(m_target.fixedBytes);
    for (std::size_t slice = 0; slice < indices.size(); ++slice)
        bytes += sliceBytes(slice, indices[slice]);
    return bytes;
}

// The next index to measure, strictly inside the bracket.
std::uint32_t RateSearch::guess(std::uint32_t step) {
    const bool hasFiner = m_finer != kNoFinerIndex;
    const bool hasCoarser = m_coarser != kNoCoarserIndex;
    double next = kFirstGuess;
    if (hasFiner && hasCoarser) {
        // Every third step halves the bracket, which bounds the search where the sizes do not follow a power.
        const double above = logExcess(m_finer);
        const double share = step % 3 == 2 ? 0.5 : above / (above - logExcess(m_coarser));
        next = m_finer * std::pow(static_cast<double>(m_coarser) / m_finer, share);
    } else if (hasFiner) {
        next = m_finer * std::exp(logExcess(m_finer) / kTypicalExponent);
    } else if (hasCoarser) {
        next = m_coarser * std::exp(logExcess(m_coarser) / kTypicalExponent);
    }
    const double bounded = std::clamp(next, m_finer + 1.0, m_coarser - 1.0);
    return static_cast<std::uint32_t>(std::lround(bounded));
}

// Narrows the bracket to two neighbours, one that gives too much and one that does not.
void RateSearch::bracket() {
    for (std::uint32_t step = 0; m_finer + 1 < m_coarser; ++step) {
        const std::uint32_t index = guess(step);
        if (bytesAt(index) > m_target.wantedBytes)
            m_finer = index;
        else
            m_coarser = index;
    }
}

// All slices at the coarser index, except as many at the finer one as bring the frame closest to the target. Slices are
// chosen in steps of the golden ratio, so that no part of the picture is favoured.
std::vector<std::uint8_t> RateSearch::mixture() {
    const std::size_t n = m_target.numSlices;
    std::vector<std::uint8_t> indices(n, static_cast<std::uint8_t>(m_coarser));
    std::size_t leap = std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(n) * 0.618));
    while (std::gcd(leap, n) != 1)
        ++leap;
    std::vector<std::uint32_t> const& finer = slicesAt(m_finer);
    std::vector<std::uint32_t> const& coarser = slicesAt(m_coarser);
    double bytes = bytesAt(m_coarser);
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t slice = i * leap % n;
        const double next = bytes + finer[slice] - coarser[slice];
        if (std::abs(next - m_target.wantedBytes) >= std::abs(bytes - m_target.wantedBytes))
            continue;
        indices[slice] = static_cast<std::uint8_t>(m_finer);
        bytes = next;
    }
    return indices;
}

// In a picture of few slices a step of one slice may be larger than the tolerance. Then each slice in turn gets the
// index that brings the frame closest, as long as that is an improvement.
void RateSearch::moveSingleSlices(std::vector<std::uint8_t>& indices) {
    double bytes = bytesOf(indices);
    for (std::size_t slice = 0; slice < indices.size() && !meetsTarget(bytes); ++slice) {
        const double others = bytes - sliceBytes(slice, indices[slice]);
        for (std::uint32_t index = kFinestIndex; index <= kCoarsestIndex; ++index) {
            const double next = others + sliceBytes(slice, index);
            if (std::abs(next - m_target.wantedBytes) >= std::abs(bytes - m_target.wantedBytes))
                continue;
            indices[slice] = static_cast<std::uint8_t>(index);
            bytes = next;
        }
    }
}

void RateSearch::fail(double nearestBytes) const {
    std::ostringstream text;
    text << "no quantization_index gives " << 8 * m_target.wantedBytes / m_target.pixels
         << " bits per pixel within 3 %; the nearest is " << 8 * nearestBytes / m_target.pixels;
    throw std::runtime_error(text.str());
}

std::vector<std::uint8_t> RateSearch::result() {
    bracket();
    std::vector<std::uint8_t> indices;
    if (m_finer == kNoFinerIndex)
        indices.assign(m_target.numSlices, kFinestIndex);
    else if (m_coarser == kNoCoarserIndex)
        indices.assign(m_target.numSlices, kCoarsestIndex);
    else
        moveSingleSlices(indices = mixture());
    const double bytes = bytesOf(indices);
    if (!meetsTarget(bytes))
        fail(bytes);
    return indices;
}

} // namespace

std::vector<std::uint8_t> searchRate(RateTarget const& target) {
    return RateSearch(target).result();
}
