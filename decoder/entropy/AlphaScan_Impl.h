#pragma once

#include <cstddef>
#include <cstring>

#include "AlphaScan.h"
#include "AlphaVLCStream.h"
#include "BigEndian.h"
#include "Inline.h"

// The steps of short differences, by the leading bits of the code: the flag and the field. Codes whose flag says that
// the difference is long have 0, so that a reader may add the step of either form without a branch.
template <OptimizationTarget target, unsigned int alphaBits>
struct AlphaSteps {
    static constexpr unsigned int kShortBits = alphaBits == 16 ? AlphaVLCStream<target>::kSmallAlphaDiffCodeLength_16b
                                                               : AlphaVLCStream<target>::kSmallAlphaDiffCodeLength_8b;

    std::uint32_t step[1u << kShortBits];

    static constexpr AlphaSteps make() {
        AlphaSteps steps{};
        for (std::uint32_t code = 0; code < 1u << (kShortBits - 1); ++code) {
            const std::uint32_t magnitude = (code >> 1) + 1;
            steps.step[code] = (code & 1) != 0 ? 0u - magnitude : magnitude;
        }
        return steps;
    }
};

template <OptimizationTarget target, unsigned int alphaBits>
inline constexpr AlphaSteps<target, alphaBits> kAlphaSteps = AlphaSteps<target, alphaBits>::make();

// The fast form of the alpha decoder.
//
// Where a pair of difference and run begins depends on the length of the pair before it, so a single plane is bound by
// latency. Several planes are read side by side therefore, each in a lane of its own. A lane makes one load for a few
// samples in a row that are coded singly, with no branch on the form of their differences; where one of them begins a
// longer run, the lane reads one pair instead. What is left near the end of a range goes to AlphaVLCStream.
template <OptimizationTarget target, unsigned int alphaBits>
class AlphaScan {
public:
    AlphaScan(AlphaPlane const* planes, unsigned int count) : AlphaScan(nullptr, 0, planes, count) {}

    // As in AlphaLaneJob.
    static bool openPlane(AlphaLane& lane, AlphaPlane const& plane) {
        lane.bytes = plane.range.data;
        lane.bitPosition = 0;
        lane.lastLoad = static_cast<std::int64_t>(8 * plane.range.size) - 64;
        lane.out = plane.samples;
        lane.end = plane.samples + plane.numSamples;
        lane.value = AlphaVLCStream<target>::kInitialValue;
        lane.plane = &plane;
        if (canReadSingles(lane))
            return true;
        finish(lane);
        return false;
    }

    static bool readOn(AlphaLane& lane) {
        if (canReadSingles(lane))
            readPair(lane);
        if (canReadSingles(lane))
            return true;
        finish(lane);
        return false;
    }

    static void readRest(AlphaLane const* begun, unsigned int numBegun, AlphaPlane const* planes, unsigned int count) {
        AlphaScan(begun, numBegun, planes, count).run();
    }

    void run() {
        // An even number of lanes suits groups of four slices.
        Lane lanes[2];
        int numLanes = 0;
        while (numLanes < 2 && open(lanes[numLanes]))
            ++numLanes;
        while (numLanes > 0) {
            if (numLanes == 2)
                readSingles<2>(lanes);
            else
                readSingles<1>(lanes);
            for (int i = numLanes - 1; i >= 0; --i) {
                if (canReadSingles(lanes[i]))
                    continue;
                finish(lanes[i]);
                if (!open(lanes[i]))
                    lanes[i] = lanes[--numLanes];
            }
        }
    }

private:
    using Steps = AlphaSteps<target, alphaBits>;

    // A loaded word holds at least this many bits of the range.
    static constexpr unsigned int kWordBits = 57;
    static constexpr unsigned int kShortBits = Steps::kShortBits;
    static constexpr unsigned int kLongBits = 1 + alphaBits;
    static constexpr unsigned int kLongestRunBits =
        AlphaVLCStream<target>::kNumShortRunVLCBits + AlphaVLCStream<target>::kNumLongRunFLCBits;
    static_assert(kLongBits + kLongestRunBits <= kWordBits);

    // More would fit at 8 bits, but all of them have to be coded singly.
    static constexpr int kSingles = kAlphaSingles;
    static_assert(kSingles * (kLongBits + 1) <= kWordBits);

    using Lane = AlphaLane;

    static bool canLoad(Lane const& lane) { return lane.bitPosition <= lane.lastLoad && lane.out < lane.end; }
    static bool canReadSingles(Lane const& lane) {
        return lane.bitPosition <= lane.lastLoad && lane.end - lane.out >= kSingles;
    }

    AlphaScan(Lane const* begun, unsigned int numBegun, AlphaPlane const* planes, unsigned int count)
        : m_nextBegun(begun), m_endOfBegun(begun + numBegun), m_next(planes), m_end(planes + count) {}

    // Takes planes up until one has a load's worth of samples. Returns false when none is left.
    bool open(Lane& lane) {
        if (m_nextBegun != m_endOfBegun) {
            lane = *m_nextBegun++;
            return true;
        }
        while (m_next != m_end) {
            if (openPlane(lane, *m_next++))
                return true;
        }
        return false;
    }

    // Leaves `out` at the end of the plane.
    static void finish(Lane& lane) {
        while (canLoad(lane))
            readPair(lane);
        if (lane.out < lane.end)
            AlphaVLCStream<target>(lane.plane->range, alphaBits, static_cast<std::uint64_t>(lane.bitPosition))
                .fillSamples(lane.out, static_cast<std::uint32_t>(lane.end - lane.out), lane.value);
        lane.out = lane.end;
    }

    static std::uint64_t wordAt(const std::uint8_t* bytes, std::int64_t bitPosition) {
        return loadBigEndian64(bytes + (bitPosition >> 3)) << (bitPosition & 7);
    }

    // All ones where the code at the top of a word is a long difference.
    static std::uint64_t longMask(std::uint64_t word) {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(word) >> 63);
    }

    static std::uint64_t differenceBits(std::uint64_t word) {
        return kShortBits + (longMask(word) & (kLongBits - kShortBits));
    }

    // The value after the difference at the top of a word. Only its low 16 bits are ever stored, so at that depth there
    // is nothing to mask, and the low bits of a long field may have others above them.
    static std::uint32_t valueAfter(std::uint32_t value, std::uint64_t word) {
        const auto isLong = static_cast<std::uint32_t>(longMask(word));
        const auto field = static_cast<std::uint32_t>(word >> (64 - kLongBits));
        value += (field & isLong) + kAlphaSteps<target, alphaBits>.step[word >> (64 - kShortBits)];
        return alphaBits == 16 ? value : value & ~(isLong & 0xFFFFFF00u);
    }

    // One pair, whatever its form, from one load.
    static void readPair(Lane& lane) {
        const std::uint64_t word = wordAt(lane.bytes, lane.bitPosition);
        const std::uint64_t length = differenceBits(word);
        lane.value = valueAfter(lane.value, word);
        const std::uint64_t runBits = word << length;
        std::ptrdiff_t numSamples = 1;
        std::int64_t runLength = 1;
        if (runBits >> 63 == 0) {
            runLength = AlphaVLCStream<target>::kNumShortRunVLCBits;
            numSamples = static_cast<std::ptrdiff_t>(runBits >> (64 - runLength)) + 1;
            if (numSamples == 1) {
                runLength = kLongestRunBits;
                numSamples = static_cast<std::ptrdiff_t>(runBits >> (64 - runLength)) + 1;
            }
        }
        lane.bitPosition += static_cast<std::int64_t>(length) + runLength;
        const std::ptrdiff_t left = lane.end - lane.out;
        fill(lane.out, numSamples < left ? numSamples : left, static_cast<std::uint16_t>(lane.value));
        lane.out += numSamples < left ? numSamples : left;
    }

    // Fills with whole vectors, up to kAlphaPadding samples too many.
    static void fill(std::uint16_t* out, std::ptrdiff_t numSamples, std::uint16_t value) {
        using Vector [[gnu::vector_size(32)]] = std::uint16_t;
        static_assert(sizeof(Vector) == kAlphaPadding * sizeof(std::uint16_t));
        const Vector values = Vector{} + value;
        for (std::ptrdiff_t i = 0; i < numSamples; i += kAlphaPadding)
            std::memcpy(out + i, &values, sizeof values);
    }

    // The state of a lane that stays in registers, but for the pairs that are not single samples.
    struct Cursor {
        explicit Cursor(Lane const& lane) : bitPosition(lane.bitPosition), out(lane.out), value(lane.value) {}

        void leaveIn(Lane& lane) const {
            lane.bitPosition = bitPosition;
            lane.out = out;
            lane.value = value;
        }

        std::int64_t bitPosition;
        std::uint16_t* out;
        std::uint32_t value;
    };

    // Reads kSingles samples that are coded singly, or a pair. Returns false when the lane cannot make such a load
    // again.
    static RAVELO_INLINE bool readSinglesOrPair(Lane& lane, Cursor& cursor) {
        std::uint64_t starts[std::size_t{kSingles}];
        std::uint64_t runBits = ~std::uint64_t{0};
        std::uint64_t taken = 0;
        std::uint64_t word = wordAt(lane.bytes, cursor.bitPosition);
#pragma GCC unroll 4
        for (int k = 0; k < kSingles; ++k) {
            starts[k] = word;
            const std::uint64_t length = differenceBits(word);
            word <<= length;
            runBits &= word;
            word += word;
            taken += length + 1;
        }
        if (__builtin_expect(runBits >> 63 == 0, 0)) {
            cursor.leaveIn(lane);
            readPair(lane);
            cursor = Cursor(lane);
        } else {
#pragma GCC unroll 4
            for (int k = 0; k < kSingles; ++k) {
                cursor.value = valueAfter(cursor.value, starts[k]);
                cursor.out[k] = static_cast<std::uint16_t>(cursor.value);
            }
            cursor.out += kSingles;
            cursor.bitPosition += static_cast<std::int64_t>(taken);
        }
        return (cursor.bitPosition <= lane.lastLoad) & (lane.end - cursor.out >= kSingles);
    }

    // Reads until a lane cannot make a load for kSingles samples.
    template <int numLanes>
    static void readSingles(Lane* lanes) {
        Cursor first(lanes[0]), last(lanes[numLanes - 1]);
        bool readsOn = true;
        while (readsOn) {
            readsOn = readSinglesOrPair(lanes[0], first);
            if constexpr (numLanes == 2)
                readsOn &= readSinglesOrPair(lanes[1], last);
        }
        first.leaveIn(lanes[0]);
        if constexpr (numLanes == 2)
            last.leaveIn(lanes[1]);
    }

    Lane const* m_nextBegun;
    Lane const* m_endOfBegun;
    AlphaPlane const* m_next;
    AlphaPlane const* m_end;
};

// Whether planes are read faster in lanes: enough of them, in reach of each other, most of whose samples are coded
// singly.
static inline bool areFasterInLanes(AlphaPlane const* planes, unsigned int count) {
    constexpr unsigned int kFewest = 8;
    constexpr std::uint64_t kLeastBitsPerSample = 5;
    constexpr std::uintptr_t kMostBytesApart = std::uintptr_t{1} << 28;
    std::uint64_t codedBytes = 0, numSamples = 0;
    for (unsigned int i = 0; i < count; ++i) {
        codedBytes += planes[i].codedBytes;
        numSamples += planes[i].numSamples;
        const auto a = reinterpret_cast<std::uintptr_t>(planes[0].samples);
        const auto b = reinterpret_cast<std::uintptr_t>(planes[i].samples);
        if ((a < b ? b - a : a - b) > kMostBytesApart)
            return false;
    }
    return count >= kFewest && 8 * codedBytes >= kLeastBitsPerSample * numSamples;
}

template <OptimizationTarget target, unsigned int alphaBits>
void scanAlphaPlanesOf(AlphaPlane const* planes, unsigned int count, AlphaLaneFunction* inLanes) {
    using Scan = AlphaScan<target, alphaBits>;
    if (inLanes != nullptr && areFasterInLanes(planes, count))
        inLanes({planes, count, alphaBits, Scan::openPlane, Scan::readOn, Scan::readRest});
    else
        Scan(planes, count).run();
}

template <OptimizationTarget target>
void scanAlphaPlanes(AlphaPlane const* planes, unsigned int count, unsigned int alphaBits, AlphaLaneFunction* inLanes) {
    if (alphaBits == 16)
        scanAlphaPlanesOf<target, 16>(planes, count, inLanes);
    else
        scanAlphaPlanesOf<target, 8>(planes, count, inLanes);
}
