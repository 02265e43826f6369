#pragma once

#include <cstddef>
#include <cstdint>

#include "AlphaScan.h"
#include "LaneVectors.h"

// Alpha planes in lanes, over whatever the including unit has as 512-bit intrinsics.
//
// A lane takes a few samples from each load that are coded singly, without a branch on the form of their differences.
// From the first that begins a longer run it takes nothing until the next load, and the definition's functions read
// that pair. Where that happens often, as with short runs, the scan without lanes is faster, and gets the planes as
// they are then.
//
// A lane always stores: what it did not take is overwritten by its next sample, or is padding.
//
// Internal linkage throughout: the units that include this have instructions of their own.
namespace {

template <LaneStores stores, unsigned int alphaBits>
class AlphaLanes {
public:
    explicit AlphaLanes(AlphaLaneJob const& job) : m_job(job), m_samples(job.planes[0].samples) {}

    void run() {
        for (int i = 0; i < kNumLanes; ++i)
            takeNext(i);
        State state = loaded();
        // Lanes attended so far, less kLanesWorthAttending for each load.
        std::ptrdiff_t excess = 0;
        while (m_active != 0) {
            const unsigned int stopped = readSingles(state);
            excess -= kLanesWorthAttending;
            if (stopped == 0)
                continue;
            state = attended(state, stopped);
            excess += __builtin_popcount(stopped);
            if (excess > kMostExcess)
                return handOver(state);
        }
    }

private:
    static constexpr int kShortBits = alphaBits == 16 ? 8 : 5;
    static constexpr int kLongBits = 1 + static_cast<int>(alphaBits);
    // A load with so many lanes to attend takes as long as without lanes, by measurement.
    static constexpr std::ptrdiff_t kLanesWorthAttending = 5;
    // The excess of 32 loads that each stop all lanes, a small part of the planes.
    static constexpr std::ptrdiff_t kMostExcess = 32 * (kNumLanes - kLanesWorthAttending);

    struct State {
        __m512i bit;      // of the next pair, counted from the range's first
        __m512i position; // of its sample, counted from the first plane's first
        __m512i value;    // the last sample
        __m512i lastBit;  // as AlphaLane::lastLoad
        __m512i lastPosition;
    };

    std::uint16_t& sampleAt(std::int32_t index) const { return m_samples[std::ptrdiff_t{index}]; }

    std::int32_t indexOf(const std::uint16_t* sample) const {
        return static_cast<std::int32_t>(
            (reinterpret_cast<std::intptr_t>(sample) - reinterpret_cast<std::intptr_t>(m_samples)) /
            static_cast<std::intptr_t>(sizeof(std::uint16_t)));
    }

    RAVELO_INLINE void storeSamples(__m512i position, __m512i value) const {
        if constexpr (stores == LaneStores::Scattered) {
            _mm512_mask_i32scatter_epi32(m_samples, 0xFFFF, position, value, 2);
        } else {
            LaneValues at;
            LaneValues sample;
            at.storeForSingleUse(position);
            sample.storeForSingleUse(value);
#pragma GCC unroll 16
            for (int i = 0; i < kNumLanes; ++i)
                sampleAt(at.of[i]) = static_cast<std::uint16_t>(sample.of[i]);
        }
    }

    // Takes up to kAlphaSingles samples of each lane. Returns the active lanes that have to be looked at.
    RAVELO_INLINE unsigned int readSingles(State& state) const {
        LaneWords words = loadWords(m_bytes, state.bit);
        auto takes = static_cast<__mmask16>(0xFFFF);
#pragma GCC unroll 4
        for (int i = 0; i < kAlphaSingles; ++i) {
            const __mmask16 isLong = _mm512_movepi32_mask(words.high);
            const __m512i length = _mm512_mask_mov_epi32(all(kShortBits), isLong, all(kLongBits));
            // A short field is a magnitude and its sign.
            const __m512i magnitude = _mm512_add_epi32(_mm512_srli_epi32(words.high, 33 - kShortBits), all(1));
            const __mmask16 isNegative = _mm512_movepi32_mask(_mm512_slli_epi32(words.high, kShortBits - 1));
            const __m512i step = _mm512_mask_sub_epi32(magnitude, isNegative, _mm512_setzero_si512(), magnitude);
            const __m512i field = _mm512_srli_epi32(_mm512_slli_epi32(words.high, 1), 32 - static_cast<int>(alphaBits));
            __m512i value = _mm512_add_epi32(state.value, _mm512_mask_mov_epi32(step, isLong, field));
            if constexpr (alphaBits == 8)
                value = _mm512_mask_mov_epi32(value, isLong, _mm512_and_si512(value, all(0xFF)));
            skip(words, length);
            // The bit after a difference says that the sample is single.
            takes = static_cast<__mmask16>(takes & _mm512_movepi32_mask(words.high));
            storeSamples(state.position, value);
            state.value = _mm512_mask_mov_epi32(state.value, takes, value);
            state.position = _mm512_mask_add_epi32(state.position, takes, state.position, all(1));
            state.bit = _mm512_mask_add_epi32(state.bit, takes, state.bit, _mm512_add_epi32(length, all(1)));
            skip(words, all(1));
        }
        const __mmask16 canLoad = _mm512_cmple_epi32_mask(state.bit, state.lastBit);
        const __mmask16 hasRoom = _mm512_cmple_epi32_mask(state.position, state.lastPosition);
        return m_active & ~static_cast<unsigned int>(takes & canLoad & hasRoom);
    }

    State loaded() const {
        return {m_bit.load(), m_position.load(), m_value.load(), m_lastBit.load(), m_lastPosition.load()};
    }

    [[gnu::noinline]] State attended(State const& state, unsigned int lanes) {
        keep(state);
        for (; lanes != 0; lanes &= lanes - 1) {
            const int i = __builtin_ctz(lanes);
            if (m_job.readPair(keptLane(i)))
                setLane(i);
            else
                takeNext(i);
        }
        return loaded();
    }

    void handOver(State const& state) {
        keep(state);
        AlphaLane begun[std::size_t{kNumLanes}];
        unsigned int numBegun = 0;
        for (; m_active != 0; m_active &= m_active - 1)
            begun[numBegun++] = keptLane(__builtin_ctz(m_active));
        m_job.readRest(begun, numBegun, m_job.planes + m_next, m_job.count - m_next);
    }

    void keep(State const& state) {
        m_bit.store(state.bit);
        m_position.store(state.position);
        m_value.store(state.value);
    }

    AlphaLane& keptLane(int i) {
        AlphaLane& lane = m_lanes[i];
        lane.bitPosition = m_bit.of[i];
        lane.out = m_samples + std::ptrdiff_t{m_position.of[i]};
        lane.value = static_cast<std::uint32_t>(m_value.of[i]);
        return lane;
    }

    // Gives a lane the next plane. Without one it is idle, and stores to the padding of the last.
    void takeNext(int i) {
        while (m_next != m_job.count) {
            if (m_job.open(m_lanes[i], m_job.planes[m_next++])) {
                m_active |= 1u << i;
                setLane(i);
                return;
            }
        }
        m_active &= ~(1u << i);
        AlphaPlane const& last = m_job.planes[m_job.count - 1];
        static const std::uint8_t noBytes[sizeof(std::uint64_t)] = {};
        m_bytes[i] = noBytes;
        m_bit.of[i] = 0;
        m_value.of[i] = 0;
        m_position.of[i] = indexOf(last.samples + last.numSamples);
        m_lastBit.of[i] = 0;
        m_lastPosition.of[i] = 0;
    }

    void setLane(int i) {
        // No plane has so many bits.
        constexpr std::int64_t kMostBits = std::int64_t{1} << 30;
        AlphaLane const& lane = m_lanes[i];
        m_bytes[i] = lane.bytes;
        m_bit.of[i] = static_cast<std::int32_t>(lane.bitPosition);
        m_lastBit.of[i] = static_cast<std::int32_t>(lane.lastLoad < kMostBits ? lane.lastLoad : kMostBits);
        m_value.of[i] = static_cast<std::int32_t>(lane.value);
        m_position.of[i] = indexOf(lane.out);
        m_lastPosition.of[i] = indexOf(lane.end) - kAlphaSingles;
    }

    AlphaLaneJob const& m_job;
    std::uint16_t* m_samples; // of the first plane; indices count from here
    unsigned int m_next = 0;
    unsigned int m_active = 0; // a bit for each lane with a plane
    LaneValues m_bit{};
    LaneValues m_position{};
    LaneValues m_value{};
    LaneValues m_lastBit{};
    LaneValues m_lastPosition{};
    const std::uint8_t* m_bytes[std::size_t{kNumLanes}] = {};
    AlphaLane m_lanes[std::size_t{kNumLanes}];
};

template <LaneStores stores>
void scanAlpha(AlphaLaneJob const& job) {
    if (job.alphaBits == 16)
        AlphaLanes<stores, 16>(job).run();
    else
        AlphaLanes<stores, 8>(job).run();
}

} // namespace
