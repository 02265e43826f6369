#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "CoefficientScan.h"
#include "Inline.h"
#include "PlainScan_Impl.h"
#include "SymbolTables.h"

// The fast form of the coefficient scan.
//
// One stream of symbols is bound by latency: where a code begins depends on the length of the code before it. So
// several components are read side by side, each in a lane of its own. A lane keeps the next bits left-aligned in one
// word; one refill serves kLookUpsPerBatch look-ups, each of which takes one or two pairs of run and level. Codes that
// no look-up holds are decoded by their leading zeros. Whatever is unusual beyond that (an invalid prefix, a code that
// crosses the end of its range) is left to the plain scan, which goes on from the state of the lane.
template <OptimizationTarget target>
class FastScan {
public:
    // The components of the largest group of slices.
    static constexpr unsigned int kMaxScans = 30;

    // `count` is at most kMaxScans.
    FastScan(ComponentScan* scans, unsigned int count);

    void run();

private:
    static constexpr int kNumLanes = 6;
    static constexpr int kNumDcLanes = 4;
    static constexpr unsigned int kLookUpsPerBatch = 5;

    // A refilled word holds at least 57 bits; the lowest that count are left of the marker, a single one bit that moves
    // along and shows how many bits have been taken.
    static constexpr unsigned int kMarkerBit = 6;
    static constexpr std::uint64_t kMarker = std::uint64_t{1} << kMarkerBit;
    static constexpr unsigned int kWordBits = 64 - kMarkerBit - 1;
    static_assert(kLookUpsPerBatch * SymbolTables::kWindowBits <= kWordBits);

    // A batch begins where this many bits are left: after each of its pairs but the last, more than 64 remain, so no
    // pair of it can be followed by the end of the data, and the load stays in the range.
    static constexpr std::int64_t kBatchBits = 64 + kLookUpsPerBatch * SymbolTables::kWindowBits + 1;

    // A batch may run past the last position; the lane is closed after it.
    static_assert(kLookUpsPerBatch * SymbolTables::kMaxAdvance <= kScanPadding);

    struct Lane {
        ComponentScan* scan = nullptr;
        std::int64_t bitPosition = 0; // of the next unread bit
        std::int64_t lastBatch = 0;   // the last bit position where a batch may begin
        std::uint64_t position = 0;   // of the last coefficient that was coded
        std::uint64_t numKept = 0;    // positions from here on are not kept
        std::uint64_t numPositions = 0;
        std::uint32_t stateOffset = 0; // into the table of pairs, in bytes
        bool needsPlainScan = false;

        std::int16_t* coefficients() const { return scan->coefficients; }
        bool canBatch(std::uint64_t limit) const {
            return !needsPlainScan && bitPosition <= lastBatch && position < limit;
        }
    };

    struct DcLane {
        const std::uint8_t* bytes;
        std::int64_t endBit;
        std::int64_t bitPosition;
        const SymbolTables::PrefixEntry* book;
        std::uint32_t sum;
        std::uint32_t direction; // all ones when the last difference was negative
        bool isPlain;            // the plain scan must read the component
    };

    // A run, level and sign by leading zeros. Length 0 says that the plain scan must decide.
    struct Pair {
        std::uint32_t length;
        std::uint32_t runPlusOne;
        std::int32_t level;
        std::uint32_t stateOffset;
    };

    static unsigned int leadingZeros(std::uint64_t word) {
        return word == 0 ? 64u : static_cast<unsigned int>(__builtin_clzll(word));
    }

    static std::uint64_t wordAt(const std::uint8_t* bytes, std::int64_t bitPosition) {
        return loadBigEndian64(bytes + (bitPosition >> 3)) << (bitPosition & 7);
    }

    static std::uint64_t markedWordAt(const std::uint8_t* bytes, std::int64_t bitPosition) {
        return (wordAt(bytes, bitPosition) & ~(2 * kMarker - 1)) | kMarker;
    }

    static std::int64_t bitsTaken(std::uint64_t markedWord) {
        return __builtin_ctzll(markedWord) - static_cast<std::int64_t>(kMarkerBit);
    }

    static std::int64_t endBit(ComponentScan const& scan) { return static_cast<std::int64_t>(8 * scan.range.size); }

    std::uint64_t entryOf(std::uint64_t stateOffset, std::uint64_t word) const {
        std::uint64_t entry;
        const auto* pairs = reinterpret_cast<const std::uint8_t*>(m_tables.pairs);
        __builtin_memcpy(&entry, pairs + stateOffset + 8 * (word >> (64 - SymbolTables::kWindowBits)), sizeof entry);
        return entry;
    }

    // Where a coefficient is stored, as a number: a position may be far beyond the memory of the kept ones.
    using Address = std::uintptr_t;

    static void store(Address address, std::uint64_t level) {
        *reinterpret_cast<std::int16_t*>(address) = static_cast<std::int16_t>(level);
    }

    // Moves an address by the runs of an entry and stores its levels.
    static void storePairs(std::uint64_t entry, Address& last) {
        const auto fields = static_cast<std::uint32_t>(entry);
        last += 2 * (fields >> SymbolTables::kFirstRunShift & SymbolTables::kRunMask);
        store(last, entry >> SymbolTables::kFirstLevelShift);
        // Widened before it is doubled, so that one address computation does both.
        last += 2 * Address{fields >> SymbolTables::kSecondRunShift};
        store(last, entry >> SymbolTables::kSecondLevelShift);
    }

    static std::uint32_t advanceOf(std::uint64_t entry) {
        return static_cast<std::uint32_t>(entry) >> SymbolTables::kAdvanceShift & SymbolTables::kAdvanceMask;
    }

    // What follows a batch or a long pair.
    enum class Next {
        ReadOn,
        CloseLane, // of one lane at least
    };

    template <int numLanes>
    struct Batch;
    struct Tail;

    Pair longPair(std::uint64_t word, std::uint32_t stateOffset) const;
    Pair calledLongPair(std::uint64_t word, std::uint32_t stateOffset) const;

    void scanAllDcs();
    template <int numLanes>
    void scanDcs(unsigned int firstScan);
    void readDc(DcLane& lane, std::int16_t* coefficient, bool isFirst) const;

    bool openLane(Lane& lane);
    bool openSkimLane(Lane& lane);
    void closeLane(Lane& lane);
    bool scanTail(Lane& lane) const;
    void scanPlainlyFrom(Lane& lane) const;
    template <int numLanes, bool skims>
    Next takeLongPair(Batch<numLanes>& batch, Lane& lane, int i) const;
    template <int numLanes, bool skims>
    Next readBatch(Batch<numLanes>& batch, Lane* lanes) const;
    template <int numLanes, bool skims>
    void runBatches(Lane* lanes) const;
    template <bool skims>
    void runBatches(Lane* lanes, int numLanes) const;
    template <bool skims>
    void runLanes();

    SymbolTables const& m_tables; // 576 KiB of constants
    unsigned int m_numScans;
    unsigned int m_nextScan = 0;
    ComponentScan* m_scans[kMaxScans];       // the longest range first, so that the lanes end together
    std::int64_t m_endOfDcs[kMaxScans] = {}; // bit positions, or -1 for components that the plain scan must read
    unsigned int m_numSkims = 0;
    unsigned int m_nextSkim = 0;
    Lane m_skims[kMaxScans]; // components whose kept coefficients have been read
};

template <OptimizationTarget target>
FastScan<target>::FastScan(ComponentScan* scans, unsigned int count) : m_tables(symbolTables()), m_numScans(count) {
    for (unsigned int i = 0; i < count; ++i) {
        unsigned int place = i;
        for (; place > 0 && m_scans[place - 1]->range.size < scans[i].range.size; --place)
            m_scans[place] = m_scans[place - 1];
        m_scans[place] = &scans[i];
    }
}

template <OptimizationTarget target>
RAVELO_INLINE typename FastScan<target>::Pair FastScan<target>::longPair(std::uint64_t word,
                                                                         std::uint32_t stateOffset) const {
    const std::uint32_t state = stateOffset >> SymbolTables::kStateShift;
    const auto run = m_tables.run[state / SymbolTables::kNumLevelClasses][leadingZeros(word)];
    if (run.length == 0)
        return {0, 0, 0, 0};
    const std::uint32_t runValue = static_cast<std::uint32_t>(word >> (64 - run.length)) + run.offset;
    word <<= run.length;
    const auto level = m_tables.level[state % SymbolTables::kNumLevelClasses][leadingZeros(word)];
    const std::uint32_t length = run.length + level.length + 1;
    if (level.length == 0 || length > kWordBits)
        return {0, 0, 0, 0};
    const std::uint32_t levelSymbol = static_cast<std::uint32_t>(word >> (64 - level.length)) + level.offset;
    const bool isNegative = (word << level.length >> 63) != 0;
    const auto magnitude = static_cast<std::int32_t>(levelSymbol + 1);
    const std::uint32_t nextState = m_tables.runClass[runValue < 15 ? runValue : 15] * SymbolTables::kNumLevelClasses +
                                    m_tables.levelClass[levelSymbol < 8 ? levelSymbol : 8];
    return {length, runValue + 1, isNegative ? -magnitude : magnitude, nextState << SymbolTables::kStateShift};
}

// The same as a call, for which the lanes of a batch leave their registers.
template <OptimizationTarget target>
[[gnu::noinline]] typename FastScan<target>::Pair FastScan<target>::calledLongPair(std::uint64_t word,
                                                                                   std::uint32_t stateOffset) const {
    return longPair(word, stateOffset);
}

// One DC or DC difference by its leading zeros.
template <OptimizationTarget target>
inline void FastScan<target>::readDc(DcLane& lane, std::int16_t* coefficient, bool isFirst) const {
    const std::int64_t left = lane.endBit - lane.bitPosition;
    // From 72 bits on, eight readable bytes follow wherever in its byte the position is.
    const std::uint64_t word =
        left >= 72 ? wordAt(lane.bytes, lane.bitPosition)
                   : loadLeadingBytes(lane.bytes + (lane.bitPosition >> 3), static_cast<std::uint64_t>((left + 7) >> 3))
                         << (lane.bitPosition & 7);
    const auto entry = lane.book[leadingZeros(word)];
    if (entry.length == 0 || entry.length > left) {
        lane.isPlain = true;
        return;
    }
    lane.bitPosition += entry.length;
    const std::uint32_t value = static_cast<std::uint32_t>(word >> (64 - entry.length)) + entry.offset;
    const std::uint32_t folded = (value >> 1) ^ (0u - (value & 1));
    const std::uint32_t difference = (folded ^ lane.direction) - lane.direction;
    lane.sum += difference;
    *coefficient = static_cast<std::int16_t>(lane.sum);
    if (isFirst)
        return;
    const std::uint32_t magnitude = (value + 1) >> 1;
    lane.direction = static_cast<std::uint32_t>(static_cast<std::int32_t>(difference) >> 31);
    lane.book = m_tables.dc[magnitude < 3 ? magnitude : 3];
}

// The DCs of `numLanes` components of the same number of blocks.
template <OptimizationTarget target>
template <int numLanes>
void FastScan<target>::scanDcs(unsigned int firstScan) {
    ComponentScan* const* scans = m_scans + firstScan;
    DcLane lanes[std::size_t{numLanes}];
    for (int i = 0; i < numLanes; ++i) {
        lanes[i] = {scans[i]->range.data, endBit(*scans[i]), 0, m_tables.firstDc, 0, 0, false};
        readDc(lanes[i], scans[i]->coefficients, true);
        lanes[i].book = m_tables.dc[CoeffVLCStream<target>::kInitialPreviousDCDiff];
    }
    const std::uint32_t numBlocks = scans[0]->numBlocks;
    for (std::uint32_t block = 1; block < numBlocks; ++block) {
#pragma GCC unroll 8
        for (int i = 0; i < numLanes; ++i)
            readDc(lanes[i], scans[i]->coefficients + block, false);
    }
    for (int i = 0; i < numLanes; ++i)
        m_endOfDcs[firstScan + static_cast<unsigned int>(i)] = lanes[i].isPlain ? -1 : lanes[i].bitPosition;
}

template <OptimizationTarget target>
void FastScan<target>::scanAllDcs() {
    for (unsigned int first = 0; first < m_numScans;) {
        unsigned int count = 1;
        while (count < kNumDcLanes && first + count < m_numScans &&
               m_scans[first + count]->numBlocks == m_scans[first]->numBlocks)
            ++count;
        if (count == kNumDcLanes) {
            scanDcs<kNumDcLanes>(first);
            first += kNumDcLanes;
        } else if (count >= 2) {
            scanDcs<2>(first);
            first += 2;
        } else {
            scanDcs<1>(first);
            first += 1;
        }
    }
}

// Lets the plain scan read on from the state of a lane, whose last position and range are valid.
template <OptimizationTarget target>
void FastScan<target>::scanPlainlyFrom(Lane& lane) const {
    ComponentScan& scan = *lane.scan;
    const std::uint32_t state = lane.stateOffset >> SymbolTables::kStateShift;
    CoeffVLCState symbols;
    symbols.bitPosition = static_cast<std::uint64_t>(lane.bitPosition);
    symbols.previousRun = m_tables.runOfClass[state / SymbolTables::kNumLevelClasses];
    symbols.previousLevelSymbol = m_tables.levelOfClass[state % SymbolTables::kNumLevelClasses];
    scan.succeeded = scanPairsPlainly<target>(scan, symbols, static_cast<std::uint32_t>(lane.position + 1));
}

// Takes components up until one has AC symbols to read in batches. Returns false when no component is left.
template <OptimizationTarget target>
bool FastScan<target>::openLane(Lane& lane) {
    while (m_nextScan < m_numScans) {
        const unsigned int index = m_nextScan++;
        ComponentScan& scan = *m_scans[index];
        if (m_endOfDcs[index] < 0) {
            scan.succeeded = scanComponentPlainly<target>(scan);
            continue;
        }
        if (scan.dcOnly) {
            scan.succeeded = true;
            continue;
        }
        __builtin_memset(scan.coefficients + scan.numBlocks, 0,
                         (scan.keptCoefficients - 1) * scan.numBlocks * sizeof(std::int16_t));
        lane.scan = &scan;
        lane.bitPosition = m_endOfDcs[index];
        lane.lastBatch = endBit(scan) - kBatchBits;
        lane.position = scan.numBlocks - 1;
        lane.numKept = scan.keptCoefficients * scan.numBlocks;
        lane.numPositions = 64 * scan.numBlocks;
        lane.stateOffset = m_tables.stateOffset(CoeffVLCStream<target>::kInitialPreviousRun,
                                                CoeffVLCStream<target>::kInitialPreviousLevelSymbol);
        lane.needsPlainScan = false;
        if (lane.canBatch(lane.numKept))
            return true;
        closeLane(lane);
    }
    return false;
}

template <OptimizationTarget target>
bool FastScan<target>::openSkimLane(Lane& lane) {
    if (m_nextSkim == m_numSkims)
        return false;
    lane = m_skims[m_nextSkim++];
    return true;
}

// Ends a component whose lane cannot go on in batches, or leaves it to be skimmed.
template <OptimizationTarget target>
void FastScan<target>::closeLane(Lane& lane) {
    if (lane.position >= lane.numPositions)
        lane.scan->succeeded = false;
    else if (lane.canBatch(lane.numPositions))
        m_skims[m_numSkims++] = lane;
    else if (lane.needsPlainScan || !scanTail(lane))
        scanPlainlyFrom(lane);
}

// The last bytes of a range, with zeros after them.
//
// `word` holds `valid` bits from `position` on. From the point on where 64 bits are left it holds all of them, and the
// zeros after the end count as valid, which is what they are to a reader.
template <OptimizationTarget target>
struct FastScan<target>::Tail {
    static constexpr std::size_t kBytes = 32;
    static_assert(kBatchBits / 8 + 2 + 9 <= kBytes);

    Tail(ComponentScan const& scan, std::int64_t bitPosition)
        : firstByte(bitPosition >> 3),
          position(bitPosition & 7),
          left(8 * (static_cast<std::int64_t>(scan.range.size) - firstByte) - position) {
        const auto numBytes = static_cast<std::size_t>((left + position) >> 3);
        __builtin_memcpy(bytes, scan.range.data + firstByte, numBytes);
        refill();
    }

    void refill() {
        // The range ends on a whole byte, so where 64 bits are left they are in the eight bytes that are loaded.
        word = wordAt(bytes, position);
        valid = left <= 64 ? 64 + kWordBits : kWordBits;
    }

    void take(std::uint32_t length) {
        word <<= length;
        position += length;
        left -= length;
        valid -= length;
        if (valid < SymbolTables::kWindowBits || (left <= 64 && valid <= 64))
            refill();
    }

    bool isEnd() const { return left <= 64 && word == 0; }

    std::uint8_t bytes[kBytes] = {};
    std::int64_t firstByte; // of the range
    std::int64_t position;  // bits from the first byte
    std::int64_t left;      // bits to the end of the range
    std::uint64_t word;
    std::uint32_t valid;
};

// Reads the last symbols of a component. Returns false when the plain scan must go on from the lane.
//
// An entry with two pairs never spans the end of the data: after the first of them only zero bits would be left, which
// hold no pair.
template <OptimizationTarget target>
bool FastScan<target>::scanTail(Lane& lane) const {
    Tail tail(*lane.scan, lane.bitPosition);
    while (!tail.isEnd()) {
        const std::uint64_t entry = entryOf(lane.stateOffset, tail.word);
        std::uint32_t length = static_cast<std::uint32_t>(entry) & SymbolTables::kLengthMask;
        std::uint32_t advance = advanceOf(entry);
        Pair found{};
        if (entry == 0) {
            tail.refill();
            found = longPair(tail.word, lane.stateOffset);
            length = found.length;
            advance = found.runPlusOne;
        }
        if (length == 0 || length > tail.left || lane.position + advance >= lane.numPositions) {
            lane.bitPosition = 8 * tail.firstByte + tail.position;
            return false;
        }
        if (entry != 0) {
            Address last = reinterpret_cast<Address>(lane.coefficients() + lane.position);
            if (lane.position < lane.numKept)
                storePairs(entry, last);
            lane.stateOffset = static_cast<std::uint32_t>(entry) & SymbolTables::kStateMask;
        } else {
            if (lane.position + advance < lane.numKept)
                lane.coefficients()[lane.position + advance] = static_cast<std::int16_t>(found.level);
            lane.stateOffset = found.stateOffset;
        }
        lane.position += advance;
        tail.take(length);
    }
    lane.scan->succeeded = true;
    return true;
}

// Calls `operation` with the number of each lane as a constant. Arrays with such indices stay in registers; g++ unrolls
// a loop over lanes only after it has decided which arrays do.
template <int numLanes, class Operation>
RAVELO_INLINE void forEachLane(Operation const& operation) {
    [&]<int... lane>(std::integer_sequence<int, lane...>) __attribute__((always_inline)) {
        (operation(std::integral_constant<int, lane>()), ...);
    }
    (std::make_integer_sequence<int, numLanes>());
}

// The same, until it returns false. Returns whether it never did.
template <int numLanes, class Operation>
RAVELO_INLINE bool forEachLaneWhile(Operation const& operation) {
    return [&]<int... lane>(std::integer_sequence<int, lane...>) __attribute__((always_inline)) {
        return (operation(std::integral_constant<int, lane>()) && ...);
    }
    (std::make_integer_sequence<int, numLanes>());
}

// Where the lanes of a batch are.
template <OptimizationTarget target>
template <int numLanes>
struct FastScan<target>::Batch {
    const std::uint8_t* bytes[std::size_t{numLanes}];
    std::int64_t bitPosition[std::size_t{numLanes}]; // of the first bit of `word`
    Address last[std::size_t{numLanes}];             // of the last coefficient
    Address limit[std::size_t{numLanes}];
    std::uint64_t state[std::size_t{numLanes}];
    std::uint64_t word[std::size_t{numLanes}]; // marked

    RAVELO_INLINE void open(const Lane* lanes, bool skims) {
        forEachLane<numLanes>([&](auto i) __attribute__((always_inline)) {
            bytes[i] = lanes[i].scan->range.data;
            bitPosition[i] = lanes[i].bitPosition;
            const auto first = reinterpret_cast<Address>(lanes[i].coefficients());
            last[i] = first + 2 * lanes[i].position;
            limit[i] = first + 2 * (skims ? lanes[i].numPositions : lanes[i].numKept);
            state[i] = lanes[i].stateOffset;
            word[i] = kMarker;
        });
    }

    RAVELO_INLINE void close(Lane* lanes) const {
        forEachLane<numLanes>([&](auto i) __attribute__((always_inline)) {
            lanes[i].bitPosition = bitPosition[i] + bitsTaken(word[i]);
            lanes[i].position = (last[i] - reinterpret_cast<Address>(lanes[i].coefficients())) / 2;
            lanes[i].stateOffset = static_cast<std::uint32_t>(state[i]);
        });
    }

    RAVELO_INLINE void refill(int i) { word[i] = markedWordAt(bytes[i], bitPosition[i]); }

    // Counts what has been taken from the word, of which nothing is left then.
    RAVELO_INLINE void countTaken(int i) {
        bitPosition[i] += bitsTaken(word[i]);
        word[i] = kMarker;
    }
};

// Takes the pair of lane `i` that no look-up holds, and refills the lane.
template <OptimizationTarget target>
template <int numLanes, bool skims>
RAVELO_INLINE typename FastScan<target>::Next FastScan<target>::takeLongPair(Batch<numLanes>& batch, Lane& lane,
                                                                             int i) const {
    batch.countTaken(i);
    const std::uint64_t word = wordAt(batch.bytes[i], batch.bitPosition[i]);
    const auto state = static_cast<std::uint32_t>(batch.state[i]);
    // Most symbols are read by many lanes, and copies of the code for few cost only memory.
    const Pair found = numLanes >= 4 && !skims ? longPair(word, state) : calledLongPair(word, state);
    if (found.length == 0) {
        lane.needsPlainScan = true;
        return Next::CloseLane;
    }
    batch.bitPosition[i] += found.length;
    batch.last[i] += 2 * std::uint64_t{found.runPlusOne};
    batch.state[i] = found.stateOffset;
    if (batch.last[i] >= batch.limit[i])
        return Next::CloseLane;
    if (!skims)
        store(batch.last[i], static_cast<std::uint64_t>(found.level));
    if (batch.bitPosition[i] > lane.lastBatch)
        return Next::CloseLane;
    batch.refill(i);
    return Next::ReadOn;
}

// One refill and kLookUpsPerBatch look-ups of each lane. May be left after any look-up, since the other lanes are at a
// consistent place then.
template <OptimizationTarget target>
template <int numLanes, bool skims>
RAVELO_INLINE typename FastScan<target>::Next FastScan<target>::readBatch(Batch<numLanes>& batch, Lane* lanes) const {
    forEachLane<numLanes>([&](auto i) __attribute__((always_inline)) { batch.refill(i); });
    for (unsigned int lookUp = 0; lookUp < kLookUpsPerBatch; ++lookUp) {
        const bool goesOn = forEachLaneWhile<numLanes>([&](auto i) __attribute__((always_inline)) {
            const std::uint64_t entry = entryOf(batch.state[i], batch.word[i]);
            if (__builtin_expect(entry == 0, 0))
                return takeLongPair<numLanes, skims>(batch, lanes[i], i) == Next::ReadOn;
            batch.word[i] <<= entry & SymbolTables::kLengthMask;
            batch.state[i] = static_cast<std::uint32_t>(entry) & SymbolTables::kStateMask;
            if (skims)
                batch.last[i] += 2 * advanceOf(entry);
            else
                storePairs(entry, batch.last[i]);
            return true;
        });
        if (!goesOn)
            return Next::CloseLane;
    }
    bool readsOn = true;
    forEachLane<numLanes>([&](auto i) __attribute__((always_inline)) {
        batch.countTaken(i);
        readsOn &= batch.bitPosition[i] <= lanes[i].lastBatch;
        readsOn &= batch.last[i] < batch.limit[i];
    });
    return readsOn ? Next::ReadOn : Next::CloseLane;
}

// Reads batches until a lane must be closed: at the end of its kept coefficients, or of all when it skims.
template <OptimizationTarget target>
template <int numLanes, bool skims>
void FastScan<target>::runBatches(Lane* lanes) const {
    Batch<numLanes> batch;
    batch.open(lanes, skims);
    while (readBatch<numLanes, skims>(batch, lanes) == Next::ReadOn) {
    }
    batch.close(lanes);
}

template <OptimizationTarget target>
template <bool skims>
void FastScan<target>::runBatches(Lane* lanes, int numLanes) const {
    static_assert(kNumLanes == 6);
    switch (numLanes) {
    case 6:
        return runBatches<6, skims>(lanes);
    case 5:
        return runBatches<5, skims>(lanes);
    case 4:
        return runBatches<4, skims>(lanes);
    case 3:
        return runBatches<3, skims>(lanes);
    case 2:
        return runBatches<2, skims>(lanes);
    default:
        return runBatches<1, skims>(lanes);
    }
}

template <OptimizationTarget target>
template <bool skims>
void FastScan<target>::runLanes() {
    Lane lanes[kNumLanes];
    int numLanes = 0;
    while (numLanes < kNumLanes && (skims ? openSkimLane(lanes[numLanes]) : openLane(lanes[numLanes])))
        ++numLanes;
    while (numLanes > 0) {
        runBatches<skims>(lanes, numLanes);
        for (int i = numLanes - 1; i >= 0; --i) {
            Lane& lane = lanes[i];
            if (lane.canBatch(skims ? lane.numPositions : lane.numKept))
                continue;
            closeLane(lane);
            if (!(skims ? openSkimLane(lane) : openLane(lane)))
                lane = lanes[--numLanes];
        }
    }
}

template <OptimizationTarget target>
void FastScan<target>::run() {
    scanAllDcs();
    runLanes<false>();
    runLanes<true>();
}
