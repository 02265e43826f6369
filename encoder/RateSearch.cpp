#include "RateSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "SliceThreads.h"

namespace {

constexpr double kTolerance = 0.03;
constexpr std::uint32_t kFinestIndex = 1;
constexpr std::uint32_t kCoarsestIndex = 255;

// A frame shrinks roughly with this power of the index. It only decides where the search looks first.
constexpr double kTypicalExponent = 0.7;
constexpr double kFirstGuess = 6;

// Of a frame of many slices, a part of them shows where to look first. The part need not be closer to the target than
// it is to the whole.
constexpr std::size_t kSlicesOfOneSampled = 8;
constexpr std::size_t kFewestSampledSlices = 16;
constexpr double kToleranceOfSample = 0.01;

// The indices that may still meet the target: those between one that gives too much and one that does not.
class Bracket {
public:
    explicit Bracket(double wantedBytes) : m_wantedBytes(wantedBytes) {}

    bool hasFiner() const { return m_finer != kNoFinerIndex; }
    bool hasCoarser() const { return m_coarser != kNoCoarserIndex; }
    std::uint32_t finer() const { return m_finer; }     // the coarsest index known to give too much
    std::uint32_t coarser() const { return m_coarser; } // the finest index known to give no more than wanted

    // Measures indices until one is within the tolerance, which is the result, or the ends are neighbours.
    template <class BytesAt>
    std::optional<std::uint32_t> narrow(double firstGuess, double tolerance, BytesAt const& bytesAt) {
        for (std::uint32_t step = 0; m_finer + 1 < m_coarser; ++step) {
            const std::uint32_t index = guess(step, firstGuess);
            const double bytes = bytesAt(index);
            const bool isTooMuch = bytes > m_wantedBytes;
            (isTooMuch ? m_finer : m_coarser) = index;
            (isTooMuch ? m_finerExcess : m_coarserExcess) = std::log(bytes / m_wantedBytes);
            if (std::abs(bytes - m_wantedBytes) <= tolerance * m_wantedBytes)
                return index;
        }
        return std::nullopt;
    }

    // An end that was measured.
    std::uint32_t nearest() const {
        if (!hasFiner() || !hasCoarser())
            return hasFiner() ? m_finer : m_coarser;
        return m_finerExcess < -m_coarserExcess ? m_finer : m_coarser;
    }

private:
    static constexpr std::uint32_t kNoFinerIndex = kFinestIndex - 1;
    static constexpr std::uint32_t kNoCoarserIndex = kCoarsestIndex + 1;

    std::uint32_t guess(std::uint32_t step, double firstGuess) const;

    double m_wantedBytes;
    std::uint32_t m_finer = kNoFinerIndex;
    std::uint32_t m_coarser = kNoCoarserIndex;
    double m_finerExcess = 0; // the logarithm of what it gives, by what is wanted
    double m_coarserExcess = 0;
};

// The next index to measure, strictly inside the bracket.
std::uint32_t Bracket::guess(std::uint32_t step, double firstGuess) const {
    double next = firstGuess;
    if (hasFiner() && hasCoarser()) {
        // Every third step halves the bracket, which bounds the search where the sizes do not follow a power.
        const double share = step % 3 == 2 ? 0.5 : m_finerExcess / (m_finerExcess - m_coarserExcess);
        next = m_finer * std::pow(static_cast<double>(m_coarser) / m_finer, share);
    } else if (hasFiner()) {
        next = m_finer * std::exp(m_finerExcess / kTypicalExponent);
    } else if (hasCoarser()) {
        next = m_coarser * std::exp(m_coarserExcess / kTypicalExponent);
    }
    const double bounded = std::clamp(next, m_finer + 1.0, m_coarser - 1.0);
    return static_cast<std::uint32_t>(std::lround(bounded));
}

class RateSearch {
public:
    explicit RateSearch(RateTarget const& target) : m_target(target) {}

    std::vector<std::uint8_t> result();

private:
    bool meetsTarget(double bytes) const {
        return std::abs(bytes - m_target.wantedBytes) <= kTolerance * m_target.wantedBytes;
    }
    std::vector<std::uint32_t> measured(std::vector<std::size_t> const& slices, std::uint32_t index) const;
    std::vector<std::uint32_t> const& slicesAt(std::uint32_t index);
    std::uint32_t sliceBytes(std::size_t slice, std::uint32_t index) const;
    double bytesAt(std::uint32_t index);

    double firstGuess() const;
    std::vector<std::uint8_t> mixture(Bracket const& bracket);
    void moveSingleSlices(std::vector<std::uint8_t>& indices);
    double bytesOf(std::vector<std::uint8_t> const& indices) const;
    [[noreturn]] void fail(double nearestBytes) const;

    RateTarget const& m_target;
    std::array<std::vector<std::uint32_t>, 256> m_slicesAt; // empty where not measured
};

// All slices, in steps of the golden ratio, so that the first ones of the list are spread over the picture.
std::vector<std::size_t> spreadSlices(std::size_t n) {
    std::size_t leap = std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(n) * 0.618));
    while (std::gcd(leap, n) != 1)
        ++leap;
    std::vector<std::size_t> slices(n);
    for (std::size_t i = 0; i < n; ++i)
        slices[i] = i * leap % n;
    return slices;
}

std::vector<std::uint32_t> RateSearch::measured(std::vector<std::size_t> const& slices, std::uint32_t index) const {
    std::vector<std::uint32_t> sizes(slices.size());
    forEachSlice(slices.size(), m_target.maxThreads,
                 [&](std::size_t i) { sizes[i] = m_target.sliceBytes(slices[i], index); });
    return sizes;
}

std::vector<std::uint32_t> const& RateSearch::slicesAt(std::uint32_t index) {
    std::vector<std::uint32_t>& sizes = m_slicesAt[index];
    if (sizes.empty()) {
        std::vector<std::size_t> all(m_target.numSlices);
        std::iota(all.begin(), all.end(), std::size_t{0});
        sizes = measured(all, index);
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

// The index at which a part of the slices, which stands for all, comes closest to the target.
double RateSearch::firstGuess() const {
    std::vector<std::size_t> slices = spreadSlices(m_target.numSlices);
    slices.resize(slices.size() / kSlicesOfOneSampled);
    if (slices.size() < kFewestSampledSlices)
        return kFirstGuess;
    const double share = static_cast<double>(slices.size()) / static_cast<double>(m_target.numSlices);
    Bracket bracket(m_target.wantedBytes);
    bracket.narrow(kFirstGuess, kToleranceOfSample, [&](std::uint32_t index) {
        const std::vector<std::uint32_t> sizes = measured(slices, index);
        const double bytes = static_cast<double>(std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0}));
        return static_cast<double>(m_target.fixedBytes) + bytes / share;
    });
    return bracket.nearest();
}

// All slices at the coarser index, except as many at the finer one as bring the frame closest to the target. No part of
// the picture is favoured.
std::vector<std::uint8_t> RateSearch::mixture(Bracket const& bracket) {
    std::vector<std::uint8_t> indices(m_target.numSlices, static_cast<std::uint8_t>(bracket.coarser()));
    std::vector<std::uint32_t> const& finer = slicesAt(bracket.finer());
    std::vector<std::uint32_t> const& coarser = slicesAt(bracket.coarser());
    double bytes = bytesAt(bracket.coarser());
    for (const std::size_t slice : spreadSlices(m_target.numSlices)) {
        const double next = bytes + finer[slice] - coarser[slice];
        if (std::abs(next - m_target.wantedBytes) >= std::abs(bytes - m_target.wantedBytes))
            continue;
        indices[slice] = static_cast<std::uint8_t>(bracket.finer());
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
    Bracket bracket(m_target.wantedBytes);
    const std::optional<std::uint32_t> found =
        bracket.narrow(firstGuess(), kTolerance, [this](std::uint32_t index) { return bytesAt(index); });
    std::vector<std::uint8_t> indices;
    if (found)
        indices.assign(m_target.numSlices, static_cast<std::uint8_t>(*found));
    else if (!bracket.hasFiner())
        indices.assign(m_target.numSlices, kFinestIndex);
    else if (!bracket.hasCoarser())
        indices.assign(m_target.numSlices, kCoarsestIndex);
    else
        moveSingleSlices(indices = mixture(bracket));
    const double bytes = bytesOf(indices);
    if (!meetsTarget(bytes))
        fail(bytes);
    return indices;
}

} // namespace

std::vector<std::uint8_t> searchRate(RateTarget const& target) {
    return RateSearch(target).result();
}
