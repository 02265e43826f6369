#pragma once

#include "CoefficientScan.h"
#include "SymbolTables.h"

// The fast form of the coefficient scan.
//
// One stream of symbols is bound by latency: where a code begins depends on the length of the code before it. So
// several components are read side by side, each in a lane of its own. A lane keeps the next bits left-aligned in one
// word; one refill serves kPairsPerBatch look-ups, each of which takes run, level and sign together. Codes that no
// look-up holds are decoded by their leading zeros. Whatever is unusual beyond that (an invalid prefix, a code that
// crosses the end of its range) is left to the plain scan, which goes on from the state of the lane.
template <OptimizationTarget target>
class ComponentScanner {
public:
    ComponentScanner(ComponentScan* scans, unsigned int count)
        : m_tables(symbolTables()), m_scans(scans), m_numScans(count) {}

    void run();

private:
    static constexpr int kNumLanes = 4;
    static constexpr unsigned int kPairsPerBatch = 5;

    // A refilled word holds at least 57 bits; the lowest that count are left of the marker, a single one bit that moves
    // along and tells how many bits have been taken.
    static constexpr unsigned int kMarkerBit = 6;
    static constexpr std::uint64_t kMarker = std::uint64_t{1} << kMarkerBit;
    static constexpr unsigned int kWordBits = 64 - kMarkerBit - 1;
    static_assert(kPairsPerBatch * SymbolTables::kWindowBits <= kWordBits);

    // A batch begins where this many bits are left: behind each of its pairs but the last, more than 64 remain, so no
    // pair of it can be followed by the end of the data, and the load stays in the range.
    static constexpr std::int64_t kBatchBits = 64 + kPairsPerBatch * SymbolTables::kWindowBits + 1;

    // A batch may run past the last position; the lane finds out behind it.
    static_assert(kPairsPerBatch * SymbolTables::kRunMask <= kScanPadding);

    struct Lane {
        ComponentScan* scan = nullptr;
        const std::uint8_t* bytes = nullptr;
        std::int64_t bitPosition = 0;  // of the next unread bit
        std::int64_t lastBatch = 0;    // the last bit position where a batch may begin
        std::int16_t* last = nullptr;  // the coefficient of the last position that was coded
        std::int16_t* end = nullptr;   // behind the last position
        std::uint32_t stateOffset = 0; // into the table of pairs, in bytes
        bool needsPlainScan = false;

        std::int64_t endBit() const { return static_cast<std::int64_t>(8 * scan->range.size); }
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

    Pair longPair(std::uint64_t word, std::uint32_t stateOffset) const;

    bool scanDcs(ComponentScan& scan, Lane& lane) const;
    void scanPlainlyFrom(Lane& lane) const;
    bool openLane(Lane& lane);
    void closeLane(Lane& lane) const;
    bool scanTail(Lane& lane) const;
    template <int numLanes>
    void runBatches(Lane* lanes) const;

    SymbolTables const& m_tables;
    ComponentScan* m_scans;
    unsigned int m_numScans;
    unsigned int m_nextScan = 0;
};

template <OptimizationTarget target>
inline typename ComponentScanner<target>::Pair ComponentScanner<target>::longPair(std::uint64_t word,
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
    return {length, runValue + 1, isNegative ? -magnitude : magnitude, m_tables.stateOffset(runValue, levelSymbol)};
}

// The DCs of a component by leading zeros, one at a time. Returns false when the plain scan must read the component.
template <OptimizationTarget target>
bool ComponentScanner<target>::scanDcs(ComponentScan& scan, Lane& lane) const {
    const std::int64_t endBit = lane.endBit();
    const SymbolTables::PrefixEntry* book = m_tables.firstDc;
    std::uint32_t sum = 0;
    std::uint32_t direction = 0; // all ones when the last difference was negative
    std::int64_t bitPosition = 0;
    for (std::uint32_t block = 0; block < scan.numBlocks; ++block) {
        const std::int64_t left = endBit - bitPosition;
        const std::uint64_t word =
            left >= 72
                ? wordAt(scan.range.data, bitPosition)
                : loadLeadingBytes(scan.range.data + (bitPosition >> 3), static_cast<std::uint64_t>((left + 7) >> 3))
                      << (bitPosition & 7);
        const auto entry = book[leadingZeros(word)];
        if (entry.length == 0 || entry.length > left)
            return false;
        bitPosition += entry.length;
        const std::uint32_t value = static_cast<std::uint32_t>(word >> (64 - entry.length)) + entry.offset;
        const std::uint32_t folded = (value >> 1) ^ (0u - (value & 1));
        const std::uint32_t difference = (folded ^ direction) - direction;
        sum += difference;
        scan.coefficients[block] = static_cast<std::int16_t>(sum);
        const std::uint32_t magnitude = (value + 1) >> 1;
        if (block == 0) {
            book = m_tables.dc[3];
            continue;
        }
        direction = static_cast<std::uint32_t>(static_cast<std::int32_t>(difference) >> 31);
        book = m_tables.dc[magnitude < 3 ? magnitude : 3];
    }
    lane.bitPosition = bitPosition;
    return true;
}

// Lets the plain scan read on from the state of a lane, whose last position and range are valid.
template <OptimizationTarget target>
void ComponentScanner<target>::scanPlainlyFrom(Lane& lane) const {
    ComponentScan& scan = *lane.scan;
    const std::uint32_t state = lane.stateOffset >> SymbolTables::kStateShift;
    CoeffVLCState symbols;
    symbols.bitPosition = static_cast<std::uint64_t>(lane.bitPosition);
    symbols.previousRun = m_tables.runOfClass[state / SymbolTables::kNumLevelClasses];
    symbols.previousLevelSymbol = m_tables.levelOfClass[state % SymbolTables::kNumLevelClasses];
    CoeffVLCStream<target> stream(scan.range, scan.range.size, symbols);
    const auto position = static_cast<std::uint32_t>(lane.last + 1 - scan.coefficients);
    scan.succeeded = scanAcCoefficients<target, FrequencyOrder>(stream, scan, position);
}

// Takes components up until one has AC symbols to read in batches. Returns false when no component is left.
template <OptimizationTarget target>
bool ComponentScanner<target>::openLane(Lane& lane) {
    while (m_nextScan < m_numScans) {
        ComponentScan& scan = m_scans[m_nextScan++];
        lane.scan = &scan;
        const bool hasBatchLayout = scan.dcOnly || scan.keptCoefficients == 64;
        if (!hasBatchLayout || !scanDcs(scan, lane)) {
            scan.succeeded = scanComponentPlainly<target>(scan);
            continue;
        }
        if (scan.dcOnly) {
            scan.succeeded = true;
            continue;
        }
        __builtin_memset(scan.coefficients + scan.numBlocks, 0, 63 * scan.numBlocks * sizeof(std::int16_t));
        lane.bytes = scan.range.data;
        lane.lastBatch = lane.endBit() - kBatchBits;
        lane.last = scan.coefficients + scan.numBlocks - 1;
        lane.end = scan.coefficients + 64 * scan.numBlocks;
        lane.stateOffset = m_tables.stateOffset(CoeffVLCStream<target>::kInitialPreviousRun,
                                                CoeffVLCStream<target>::kInitialPreviousLevelSymbol);
        lane.needsPlainScan = false;
        if (lane.bitPosition <= lane.lastBatch)
            return true;
        closeLane(lane);
    }
    return false;
}

// Ends a component whose lane cannot go on in batches.
template <OptimizationTarget target>
void ComponentScanner<target>::closeLane(Lane& lane) const {
    if (lane.last >= lane.end)
        lane.scan->succeeded = false;
    else if (lane.needsPlainScan || !scanTail(lane))
        scanPlainlyFrom(lane);
}

// Reads the last symbols of a component, pair by pair. Returns false when the plain scan must go on from the lane.
template <OptimizationTarget target>
bool ComponentScanner<target>::scanTail(Lane& lane) const {
    constexpr unsigned int kTailBytes = 32;
    const std::int64_t endBit = lane.endBit();
    const std::int64_t firstByte = lane.bitPosition >> 3;
    const std::int64_t numBytes = (endBit >> 3) - firstByte;
    std::uint8_t tail[kTailBytes] = {};
    static_assert(kBatchBits / 8 + 2 + 9 <= kTailBytes);
    __builtin_memcpy(tail, lane.bytes + firstByte, static_cast<std::size_t>(numBytes));

    std::int64_t position = lane.bitPosition & 7;
    const std::int64_t end = 8 * numBytes;
    const auto* pairs = reinterpret_cast<const std::uint8_t*>(m_tables.pairs);
    for (;;) {
        const std::int64_t left = end - position;
        std::uint64_t word = wordAt(tail, position);
        if (left <= 64) {
            const std::uint64_t lowest = tail[(position >> 3) + 8];
            if ((word | lowest >> (8 - (position & 7))) == 0) {
                lane.scan->succeeded = true;
                return true;
            }
        }
        std::uint32_t entry;
        __builtin_memcpy(&entry, pairs + lane.stateOffset + 4 * (word >> (64 - SymbolTables::kWindowBits)), 4);
        Pair pair{entry & 63, entry >> SymbolTables::kRunShift & SymbolTables::kRunMask,
                  static_cast<std::int32_t>(entry) >> SymbolTables::kLevelShift, entry & SymbolTables::kStateMask};
        if (entry == 0)
            pair = longPair(word, lane.stateOffset);
        if (pair.length == 0 || pair.length > left || pair.runPlusOne >= lane.end - lane.last) {
            lane.bitPosition = 8 * firstByte + position;
            return false;
        }
        position += pair.length;
        lane.last += pair.runPlusOne;
        *lane.last = static_cast<std::int16_t>(pair.level);
        lane.stateOffset = pair.stateOffset;
    }
}

// Reads batches until a lane must be closed or replaced.
template <OptimizationTarget target>
template <int numLanes>
void ComponentScanner<target>::runBatches(Lane* lanes) const {
    const auto* pairs = reinterpret_cast<const std::uint8_t*>(m_tables.pairs);
    const std::uint8_t* bytes[numLanes];
    std::int64_t bitPosition[numLanes];
    std::int16_t* last[numLanes];
    std::uint64_t state[numLanes];
    std::uint64_t word[numLanes];
    for (int i = 0; i < numLanes; ++i) {
        bytes[i] = lanes[i].bytes;
        bitPosition[i] = lanes[i].bitPosition;
        last[i] = lanes[i].last;
        state[i] = lanes[i].stateOffset;
    }
    bool goOn = true;
    do {
#pragma GCC unroll 8
        for (int i = 0; i < numLanes; ++i)
            word[i] = (wordAt(bytes[i], bitPosition[i]) & ~(2 * kMarker - 1)) | kMarker;
        for (unsigned int pair = 0; pair < kPairsPerBatch; ++pair) {
#pragma GCC unroll 8
            for (int i = 0; i < numLanes; ++i) {
                std::uint32_t entry;
                __builtin_memcpy(&entry, pairs + state[i] + 4 * (word[i] >> (64 - SymbolTables::kWindowBits)), 4);
                if (__builtin_expect(entry == 0, 0)) {
                    bitPosition[i] += __builtin_ctzll(word[i]) - static_cast<int>(kMarkerBit);
                    word[i] = kMarker;
                    const Pair found = longPair(wordAt(bytes[i], bitPosition[i]), static_cast<std::uint32_t>(state[i]));
                    if (found.length == 0 || found.runPlusOne >= lanes[i].end - last[i]) {
                        lanes[i].needsPlainScan = true;
                        goto store;
                    }
                    bitPosition[i] += found.length;
                    last[i] += found.runPlusOne;
                    *last[i] = static_cast<std::int16_t>(found.level);
                    state[i] = found.stateOffset;
                    if (bitPosition[i] > lanes[i].lastBatch)
                        goto store;
                    word[i] = (wordAt(bytes[i], bitPosition[i]) & ~(2 * kMarker - 1)) | kMarker;
                    continue;
                }
                word[i] <<= entry & 63;
                state[i] = entry & SymbolTables::kStateMask;
                last[i] += entry >> SymbolTables::kRunShift & SymbolTables::kRunMask;
                *last[i] = static_cast<std::int16_t>(static_cast<std::int32_t>(entry) >> SymbolTables::kLevelShift);
            }
        }
#pragma GCC unroll 8
        for (int i = 0; i < numLanes; ++i) {
            bitPosition[i] += __builtin_ctzll(word[i]) - static_cast<int>(kMarkerBit);
            word[i] = kMarker;
            goOn &= (bitPosition[i] <= lanes[i].lastBatch) & (last[i] < lanes[i].end);
        }
    } while (goOn);
store:
    for (int i = 0; i < numLanes; ++i) {
        lanes[i].bitPosition = bitPosition[i] + __builtin_ctzll(word[i]) - static_cast<int>(kMarkerBit);
        lanes[i].last = last[i];
        lanes[i].stateOffset = static_cast<std::uint32_t>(state[i]);
    }
}

template <OptimizationTarget target>
void ComponentScanner<target>::run() {
    Lane lanes[kNumLanes];
    int numLanes = 0;
    while (numLanes < kNumLanes && openLane(lanes[numLanes]))
        ++numLanes;
    while (numLanes > 0) {
        switch (numLanes) {
        case 4:
            runBatches<4>(lanes);
            break;
        case 3:
            runBatches<3>(lanes);
            break;
        case 2:
            runBatches<2>(lanes);
            break;
        default:
            runBatches<1>(lanes);
        }
        for (int i = numLanes - 1; i >= 0; --i) {
            Lane& lane = lanes[i];
            if (!lane.needsPlainScan && lane.bitPosition <= lane.lastBatch && lane.last < lane.end)
                continue;
            closeLane(lane);
            if (!openLane(lane))
                lane = lanes[--numLanes];
        }
    }
}
