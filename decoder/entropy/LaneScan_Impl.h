#pragma once

#include <cstdint>
#include <cstring>

#include "BigEndian.h"
#include "LaneScan.h"
#include "LaneTables.h"
#include "LaneVectors.h"

// The scan in lanes, over whatever the including unit has as 512-bit intrinsics.
//
// One stream of symbols is bound by latency, and a look-up of run and level together needs a table that takes a good
// part of a cache. Here sixteen streams advance together, one in each 32-bit lane, and codes are decoded from the
// number of their leading zeros by tables that stay in registers.
//
// A lane holds the next 64 bits of its stream in two words, of which the first bit is the sign of the last level: it is
// skipped together with the run that follows. One refill serves kPairsPerBatch pairs of run and level. A pair that does
// not fit into what is left of the word or of the range, or with a code that the tables do not hold, is not taken, and
// then nothing more is until the next refill: the count of the bits that are left only falls. So no test and no mask
// lies on the path from one pair to the next. A lane that took nothing from a fresh word is looked at by itself: its
// pair may be a long one, its component may have ended, or the definition must decide.
//
// Internal linkage throughout: the units that include this have instructions of their own.
namespace {

constexpr unsigned int kPairsPerBatch = 6;

// Bits of a refilled word after its first bit: the load begins at a whole byte.
constexpr int kWordBits = 56;

// A batch that begins before a limit ends this far past it at most. A level is stored with two more bytes, which are
// zero: they belong to a position that comes later or to the padding.
static_assert(kPairsPerBatch * (LaneTables::kLongestRun + 1) + 1 <= kScanPadding);
// The words are shifted by the bits of a whole pair at once.
static_assert(kLaneTables.longestPair < 32);
static_assert(kRunClasses.count == CodeClasses<16>::kMost && kLevelClasses.count == CodeClasses<9>::kMost);
static_assert(LaneTables::levelBase(CodeClasses<16>::kMost) <= 64);

RAVELO_INLINE __m512i row(const std::uint8_t (&table)[64]) {
    return _mm512_load_si512(table);
}

RAVELO_INLINE __m512i lookedUp(__m512i index, __m512i table) {
    return _mm512_permutexvar_epi8(index, table);
}

// The first `count` bits of each word as a number, moved by the lowest byte of `offset`, a signed one whose other bytes
// are 0.
RAVELO_INLINE __m512i codeValue(__m512i word, __m512i count, __m512i offset) {
    return _mm512_dpbusd_epi32(_mm512_shldv_epi32(_mm512_setzero_si512(), word, count), _mm512_set1_epi8(1), offset);
}

// A code by its leading zeros; length 0 says that the definition must read it.
struct LongCode {
    std::uint32_t length;
    std::uint32_t value;
};

inline LongCode longCode(std::uint64_t word, GolombCombinationCodeParams const& params) {
    constexpr std::uint32_t kMostBits = 32;
    const std::uint32_t q = word == 0 ? 64u : static_cast<std::uint32_t>(__builtin_clzll(word));
    const std::uint32_t length = codeBits(params, q);
    if (length > kMostBits)
        return {0, 0};
    const auto bits = static_cast<std::uint32_t>(word >> (64 - length));
    return {length, bits + static_cast<std::uint32_t>(codeOffset(params, q))};
}

template <LaneStores stores>
class LaneScan {
public:
    explicit LaneScan(LaneScanJob const& job)
        : m_job(job),
          m_coefficients(job.scans[0]->coefficients),
          m_spare(static_cast<std::int32_t>(numKept(*job.scans[0]) + kScanPadding - 1)) {}

    void run() {
        for (unsigned int first = 0; first < m_job.count; first += kNumLanes)
            readDcs(first);
        readPairs<stores>();
        m_skips = true;
        readPairs<LaneStores::Not>();
    }

private:
    // A component whose kept coefficients have been read.
    struct Skipped {
        unsigned int scan;
        std::int32_t sign;
        std::int32_t position;
        std::int32_t runBase;
        std::int32_t levelBase;
    };

    // The state of all lanes inside a batch.
    struct Batch {
        LaneWords words;
        __m512i bitsLeft; // that may be taken; below zero once the lane has stopped
        __m512i next;     // position of the pair that is being read
        __m512i sign;     // position of the first bit of a word that was not taken
        __m512i position; // of the last coefficient
        __m512i runBase;
        __m512i levelBase;
    };

    // The state of all lanes while they read DCs.
    struct DcBatch {
        LaneWords words;
        __m512i bitsLeft;
        __m512i bit;       // the first of a code that was not taken
        __m512i position;  // of the next DC
        __m512i sum;       // the last DC
        __m512i direction; // all ones where the last difference was negative
        __m512i book;      // base of the code of the next difference
    };

    static std::uint32_t numKept(ComponentScan const& scan) { return scan.keptCoefficients * scan.numBlocks; }
    static std::int32_t endBit(ComponentScan const& scan) { return static_cast<std::int32_t>(8 * scan.range.size); }

    // Where the memory of a component begins, as an index into that of the first.
    std::int32_t firstIndex(ComponentScan const& scan) const {
        return static_cast<std::int32_t>(
            (reinterpret_cast<std::intptr_t>(scan.coefficients) - reinterpret_cast<std::intptr_t>(m_coefficients)) /
            static_cast<std::intptr_t>(sizeof(std::int16_t)));
    }

    std::int16_t& coefficientAt(std::int32_t index) const { return m_coefficients[std::ptrdiff_t{index}]; }

    template <LaneStores how>
    void storeLevels(__mmask16 lanes, __m512i index, __m512i level) const;

    void readDcs(unsigned int first);
    void openDcLanes(unsigned int first, int count);
    void refill(DcBatch& batch) const;
    void storeDcs(DcBatch& batch, __mmask16 lanes) const;
    __mmask16 readFirstDcs(DcBatch& batch, __mmask16 lanes) const;
    __mmask16 readDcDifferences(DcBatch& batch, __mmask16 lanes) const;
    template <LaneStores how>
    void readPairs();
    template <LaneStores how>
    void readPair(Batch& batch) const;
    void attend(unsigned int lanes);
    bool readsOn(int lane);
    bool takeLongPair(int lane);
    void scanPlainlyFrom(int lane, std::int32_t bitPosition);
    std::uint64_t wordAt(int lane, std::int32_t bitPosition) const;
    void openLanes();
    bool open(int lane);
    bool openKept(int lane);
    bool openSkipped(int lane);
    void setLane(int lane, unsigned int scan);
    void setIdle(int lane);

    LaneScanJob const& m_job;
    std::int16_t* m_coefficients; // of the first component; indices of coefficients count from here
    std::int32_t m_spare;         // an index whose value does not matter
    bool m_skips = false;         // what is kept has been read
    unsigned int m_active = 0;    // lanes with a component
    unsigned int m_idle = 0;      // a bit for each lane without one

    LaneValues m_sign; // position of the last sign, which is the next bit to be taken
    LaneValues m_end;  // of the range, in bits
    LaneValues m_position;
    LaneValues m_limit; // the lane is closed from this position on
    LaneValues m_runBase;
    LaneValues m_levelBase;
    const std::uint8_t* m_bytes[std::size_t{kNumLanes}];
    unsigned int m_scanOf[std::size_t{kNumLanes}];

    unsigned int m_nextScan = 0;
    std::int32_t m_endOfDcs[kMaxLaneScans]; // bit positions, or -1 for components that the definition must read
    unsigned int m_numSkipped = 0;
    unsigned int m_nextSkipped = 0;
    Skipped m_skipped[kMaxLaneScans];
};

template <LaneStores stores>
template <LaneStores how>
RAVELO_INLINE void LaneScan<stores>::storeLevels(__mmask16 lanes, __m512i index, __m512i level) const {
    if constexpr (how == LaneStores::Scattered) {
        _mm512_mask_i32scatter_epi32(m_coefficients, lanes, index, level, 2);
    } else if constexpr (how == LaneStores::Singly) {
        LaneValues at;
        LaneValues value;
        at.storeForSingleUse(_mm512_mask_mov_epi32(all(m_spare), lanes, index));
        value.storeForSingleUse(level);
#pragma GCC unroll 16
        for (int i = 0; i < kNumLanes; ++i)
            coefficientAt(at.of[i]) = static_cast<std::int16_t>(value.of[i]);
    }
}

// One pair of run and level of each lane that can take it.
template <LaneStores stores>
template <LaneStores how>
RAVELO_INLINE void LaneScan<stores>::readPair(Batch& batch) const {
    // A one bit after the longest prefix of the tables makes all longer ones look alike.
    constexpr std::int32_t kStopOfRun = 1 << (30 - LaneTables::kLongPrefix);
    constexpr std::int32_t kStopOfLevel = 1 << (31 - LaneTables::kLongPrefix);
    const __m512i noSign = all(0x7FFFFFFF);

    // The sign counts as the first zero of the prefix.
    constexpr int kAndThenOr = 0xEA;
    const __m512i zerosOfRun =
        _mm512_lzcnt_epi32(_mm512_ternarylogic_epi32(batch.words.high, noSign, all(kStopOfRun), kAndThenOr));
    const __m512i runIndex = _mm512_add_epi32(zerosOfRun, batch.runBase);
    const __m512i runBits = lookedUp(runIndex, row(kLaneTables.runBits));
    const __m512i runOffset = lookedUp(runIndex, row(kLaneTables.runOffset));

    const __m512i afterRun = _mm512_shldv_epi32(batch.words.high, batch.words.low, runBits);
    const __m512i zerosOfLevel = _mm512_lzcnt_epi32(_mm512_or_si512(afterRun, all(kStopOfLevel)));
    const __m512i levelIndex = _mm512_add_epi32(zerosOfLevel, batch.levelBase);
    const __m512i levelBits = lookedUp(levelIndex, row(kLaneTables.levelBits));
    const __m512i levelOffset = lookedUp(levelIndex, row(kLaneTables.levelOffset));

    const __m512i runPlusOne = codeValue(_mm512_and_si512(batch.words.high, noSign), runBits, runOffset);
    const __m512i magnitude = codeValue(afterRun, levelBits, levelOffset);
    const __m512i pairBits = _mm512_add_epi32(runBits, levelBits);
    batch.bitsLeft = _mm512_sub_epi32(batch.bitsLeft, pairBits);
    batch.next = _mm512_add_epi32(batch.next, runPlusOne);
    const __mmask16 takes = _mm512_cmpge_epi32_mask(batch.bitsLeft, _mm512_setzero_si512());

    skip(batch.words, pairBits);
    batch.sign = _mm512_mask_add_epi32(batch.sign, takes, batch.sign, pairBits);
    batch.position = _mm512_mask_mov_epi32(batch.position, takes, batch.next);
    batch.runBase = _mm512_mask_mov_epi32(batch.runBase, takes, lookedUp(runPlusOne, row(kLaneTables.nextRunBase)));
    batch.levelBase = _mm512_mask_mov_epi32(
        batch.levelBase, takes, lookedUp(_mm512_min_epu32(magnitude, all(63)), row(kLaneTables.nextLevelBase)));

    // In the low half of each lane; the upper half is 0 either way.
    const __m512i level =
        _mm512_mask_sub_epi32(magnitude, _mm512_movepi32_mask(batch.words.high), all(0x10000), magnitude);
    storeLevels<how>(takes, batch.next, level);
}

// Reads the pairs of all components: up to the end of what is kept, or from there on to the end of their ranges.
template <LaneStores stores>
template <LaneStores how>
void LaneScan<stores>::readPairs() {
    openLanes();
    Batch batch;
    batch.sign = m_sign.load();
    batch.position = m_position.load();
    batch.runBase = m_runBase.load();
    batch.levelBase = m_levelBase.load();
    while (m_active > 0) {
        const __m512i first = batch.sign;
        const __m512i bitsLeft = _mm512_sub_epi32(m_end.load(), first);
        batch.words = loadWords(m_bytes, first);
        batch.bitsLeft = _mm512_min_epi32(_mm512_sub_epi32(bitsLeft, all(1)), all(kWordBits));
        batch.next = batch.position;
#pragma GCC unroll 8
        for (unsigned int pair = 0; pair < kPairsPerBatch; ++pair)
            readPair<how>(batch);
        const unsigned int stopped = static_cast<unsigned int>(_mm512_cmpeq_epi32_mask(first, batch.sign)) |
                                     _mm512_cmpge_epi32_mask(batch.position, m_limit.load());
        if (__builtin_expect((stopped & ~m_idle) != 0, 0)) {
            m_sign.store(batch.sign);
            m_position.store(batch.position);
            m_runBase.store(batch.runBase);
            m_levelBase.store(batch.levelBase);
            attend(stopped & ~m_idle);
            batch.sign = m_sign.load();
            batch.position = m_position.load();
            batch.runBase = m_runBase.load();
            batch.levelBase = m_levelBase.load();
        }
    }
}

// Looks at single lanes, and gives those whose component has ended another one.
template <LaneStores stores>
[[gnu::noinline]] void LaneScan<stores>::attend(unsigned int lanes) {
    for (; lanes != 0; lanes &= lanes - 1) {
        const int lane = __builtin_ctz(lanes);
        if (readsOn(lane))
            continue;
        --m_active;
        if (open(lane))
            ++m_active;
        else
            m_idle |= 1u << lane;
    }
}

// Takes the pair that a lane stopped at. Returns false when the lane is done with its component.
template <LaneStores stores>
bool LaneScan<stores>::readsOn(int lane) {
    if (m_position.of[lane] < m_limit.of[lane]) {
        if (!takeLongPair(lane))
            return false;
        if (m_position.of[lane] < m_limit.of[lane])
            return true;
    }
    ComponentScan& scan = *m_job.scans[m_scanOf[lane]];
    const std::int32_t numPositions = static_cast<std::int32_t>(64 * scan.numBlocks);
    if (m_position.of[lane] - firstIndex(scan) >= numPositions)
        scan.succeeded = false;
    else
        m_skipped[m_numSkipped++] = {m_scanOf[lane], m_sign.of[lane], m_position.of[lane], m_runBase.of[lane],
                                     m_levelBase.of[lane]};
    return false;
}

// The 64 bits from a position inside the range on, with zeros from the end on.
template <LaneStores stores>
std::uint64_t LaneScan<stores>::wordAt(int lane, std::int32_t bitPosition) const {
    const std::int32_t left = m_end.of[lane] - bitPosition;
    if (left <= 0)
        return 0;
    const std::uint8_t* bytes = m_bytes[lane] + (bitPosition >> 3);
    const int bitsOfByte = bitPosition & 7;
    std::uint64_t word = loadBigEndian64(bytes) << bitsOfByte;
    if (left > 64 - bitsOfByte)
        word |= std::uint64_t{bytes[8]} >> (8 - bitsOfByte);
    return left >= 64 ? word : word & ~(~std::uint64_t{0} >> left);
}

// Decodes one pair, or ends the component and returns false.
template <LaneStores stores>
bool LaneScan<stores>::takeLongPair(int lane) {
    ComponentScan& scan = *m_job.scans[m_scanOf[lane]];
    const std::int32_t at = m_sign.of[lane] + 1;
    const std::int32_t left = m_end.of[lane] - at;
    std::uint64_t word = wordAt(lane, at);
    if (left <= 64 && word == 0) {
        scan.succeeded = true;
        return false;
    }
    const auto runBase = static_cast<std::uint32_t>(m_runBase.of[lane]);
    const auto levelBase = static_cast<std::uint32_t>(m_levelBase.of[lane]);
    const LongCode run = longCode(word, kRunClasses.params[LaneTables::runClass(runBase)]);
    word <<= run.length;
    const LongCode level = longCode(word, kLevelClasses.params[LaneTables::levelClass(levelBase)]);
    const std::uint32_t length = run.length + level.length + 1;
    const std::int64_t numPositions = firstIndex(scan) + std::int64_t{64} * scan.numBlocks;
    const std::int64_t next = std::int64_t{m_position.of[lane]} + run.value + 1;
    if (run.length == 0 || level.length == 0 || length > 64 || static_cast<std::int32_t>(length) > left ||
        next >= numPositions) {
        scanPlainlyFrom(lane, at);
        return false;
    }
    m_sign.of[lane] = at + static_cast<std::int32_t>(length) - 1;
    m_position.of[lane] = static_cast<std::int32_t>(next);
    const std::uint32_t magnitude = level.value + 1;
    const bool isNegative = (word << level.length >> 63) != 0;
    if (!m_skips && m_position.of[lane] < m_limit.of[lane])
        coefficientAt(m_position.of[lane]) = static_cast<std::int16_t>(isNegative ? 0u - magnitude : magnitude);
    m_runBase.of[lane] = static_cast<std::int32_t>(LaneTables::baseAfterRun(run.value));
    m_levelBase.of[lane] = static_cast<std::int32_t>(LaneTables::baseAfterLevel(level.value));
    return true;
}

template <LaneStores stores>
void LaneScan<stores>::scanPlainlyFrom(int lane, std::int32_t bitPosition) {
    ComponentScan& scan = *m_job.scans[m_scanOf[lane]];
    const auto runBase = static_cast<std::uint32_t>(m_runBase.of[lane]);
    const auto levelBase = static_cast<std::uint32_t>(m_levelBase.of[lane]);
    CoeffVLCState state;
    state.bitPosition = static_cast<std::uint64_t>(bitPosition);
    state.previousRun = kRunClasses.firstBook[LaneTables::runClass(runBase)];
    state.previousLevelSymbol = kLevelClasses.firstBook[LaneTables::levelClass(levelBase)];
    const std::int32_t position = m_position.of[lane] - firstIndex(scan) + 1;
    scan.succeeded = m_job.scanPairsPlainly(scan, state, static_cast<std::uint32_t>(position));
}

template <LaneStores stores>
void LaneScan<stores>::openLanes() {
    m_active = 0;
    m_idle = 0;
    for (int lane = 0; lane < kNumLanes; ++lane) {
        if (open(lane))
            ++m_active;
        else
            m_idle |= 1u << lane;
    }
}

// Gives a lane the next component. Returns false when none is left; the lane is idle then.
template <LaneStores stores>
bool LaneScan<stores>::open(int lane) {
    if (m_skips ? openSkipped(lane) : openKept(lane))
        return true;
    setIdle(lane);
    return false;
}

// Without bits a lane takes nothing.
template <LaneStores stores>
void LaneScan<stores>::setIdle(int lane) {
    static const std::uint8_t noBytes[sizeof(std::uint64_t)] = {};
    m_bytes[lane] = noBytes;
    m_sign.of[lane] = 0;
    m_end.of[lane] = 0;
    m_position.of[lane] = 0;
    m_limit.of[lane] = 0;
    m_runBase.of[lane] = static_cast<std::int32_t>(LaneTables::runBase(0));
    m_levelBase.of[lane] = static_cast<std::int32_t>(LaneTables::levelBase(0));
}

template <LaneStores stores>
void LaneScan<stores>::setLane(int lane, unsigned int scan) {
    m_scanOf[lane] = scan;
    m_bytes[lane] = m_job.scans[scan]->range.data;
    m_end.of[lane] = endBit(*m_job.scans[scan]);
}

template <LaneStores stores>
bool LaneScan<stores>::openKept(int lane) {
    while (m_nextScan < m_job.count) {
        const unsigned int index = m_nextScan++;
        ComponentScan& scan = *m_job.scans[index];
        if (m_endOfDcs[index] < 0) {
            scan.succeeded = m_job.scanPlainly(scan);
            continue;
        }
        if (scan.dcOnly) {
            scan.succeeded = true;
            continue;
        }
        std::memset(scan.coefficients + scan.numBlocks, 0,
                    (scan.keptCoefficients - 1) * scan.numBlocks * sizeof(std::int16_t));
        setLane(lane, index);
        // The last bit of the DCs takes the place of a sign that has been used.
        m_sign.of[lane] = m_endOfDcs[index] - 1;
        m_position.of[lane] = firstIndex(scan) + static_cast<std::int32_t>(scan.numBlocks) - 1;
        m_limit.of[lane] = firstIndex(scan) + static_cast<std::int32_t>(numKept(scan));
        m_runBase.of[lane] = static_cast<std::int32_t>(LaneTables::baseAfterRun(CoeffVLCState::kInitialPreviousRun));
        m_levelBase.of[lane] =
            static_cast<std::int32_t>(LaneTables::baseAfterLevel(CoeffVLCState::kInitialPreviousLevelSymbol));
        return true;
    }
    return false;
}

template <LaneStores stores>
bool LaneScan<stores>::openSkipped(int lane) {
    if (m_nextSkipped == m_numSkipped)
        return false;
    Skipped const& skipped = m_skipped[m_nextSkipped++];
    ComponentScan const& scan = *m_job.scans[skipped.scan];
    setLane(lane, skipped.scan);
    m_sign.of[lane] = skipped.sign;
    m_position.of[lane] = skipped.position;
    m_limit.of[lane] = firstIndex(scan) + static_cast<std::int32_t>(64 * scan.numBlocks);
    m_runBase.of[lane] = skipped.runBase;
    m_levelBase.of[lane] = skipped.levelBase;
    return true;
}

template <LaneStores stores>
void LaneScan<stores>::openDcLanes(unsigned int first, int count) {
    for (int lane = 0; lane < kNumLanes; ++lane) {
        if (lane >= count) {
            setIdle(lane);
            continue;
        }
        ComponentScan const& scan = *m_job.scans[first + static_cast<unsigned int>(lane)];
        setLane(lane, first + static_cast<unsigned int>(lane));
        m_sign.of[lane] = 0;
        m_position.of[lane] = firstIndex(scan);
        m_limit.of[lane] = firstIndex(scan) + static_cast<std::int32_t>(scan.numBlocks);
    }
}

template <LaneStores stores>
RAVELO_INLINE void LaneScan<stores>::refill(DcBatch& batch) const {
    const __m512i bitsLeft = _mm512_sub_epi32(m_end.load(), batch.bit);
    batch.words = loadWords(m_bytes, batch.bit);
    batch.bitsLeft = _mm512_min_epi32(bitsLeft, all(kWordBits + 1));
}

// Folded to signed: 0, 1, 2, 3, 4 give 0, -1, 1, -2, 2.
RAVELO_INLINE __m512i folded(__m512i value) {
    const __m512i isOdd = _mm512_and_si512(value, all(1));
    return _mm512_xor_si512(_mm512_srli_epi32(value, 1), _mm512_sub_epi32(_mm512_setzero_si512(), isOdd));
}

template <LaneStores stores>
RAVELO_INLINE void LaneScan<stores>::storeDcs(DcBatch& batch, __mmask16 lanes) const {
    storeLevels<stores>(lanes, batch.position, _mm512_and_si512(batch.sum, all(0xFFFF)));
    batch.position = _mm512_mask_add_epi32(batch.position, lanes, batch.position, all(1));
}

// A one bit after the longest prefix that an index of a book has room for.
constexpr std::int32_t kStopOfDc = 1 << (32 - LaneTables::kDcPrefixesPerBook);

// Returns the lanes that could take their code.
template <LaneStores stores>
RAVELO_INLINE __mmask16 LaneScan<stores>::readFirstDcs(DcBatch& batch, __mmask16 lanes) const {
    // The length grows by two with each zero, and the offset is one for all.
    constexpr std::int32_t kBitsWithoutZeros = 6;
    constexpr std::int32_t kOffset = -32;
    constexpr std::int32_t kMostZeros = 12;
    static_assert([] {
        for (std::int32_t q = 0; q <= kMostZeros; ++q) {
            const auto zeros = static_cast<std::uint32_t>(q);
            if (codeBits(LaneCodebooks::s_firstDCParams, zeros) != 2 * zeros + kBitsWithoutZeros ||
                codeOffset(LaneCodebooks::s_firstDCParams, zeros) != kOffset)
                return false;
        }
        return true;
    }());
    const __m512i zeros = _mm512_lzcnt_epi32(_mm512_or_si512(batch.words.high, all(kStopOfDc)));
    const __m512i bits = _mm512_add_epi32(_mm512_add_epi32(zeros, zeros), all(kBitsWithoutZeros));
    const __mmask16 isShort = _mm512_cmple_epi32_mask(zeros, all(kMostZeros));
    const __mmask16 fits = _mm512_cmple_epi32_mask(bits, batch.bitsLeft);
    const auto takes = static_cast<__mmask16>(lanes & isShort & fits);
    const __m512i code = _mm512_shldv_epi32(_mm512_setzero_si512(), batch.words.high, bits);
    batch.sum = folded(_mm512_add_epi32(code, all(kOffset)));
    batch.bit = _mm512_mask_add_epi32(batch.bit, takes, batch.bit, bits);
    storeDcs(batch, takes);
    return takes;
}

// One difference of each of `lanes` that can take it; returns those.
template <LaneStores stores>
RAVELO_INLINE __mmask16 LaneScan<stores>::readDcDifferences(DcBatch& batch, __mmask16 lanes) const {
    // The tables have entries for the index 0 too, so only the lowest byte of a lane may find one.
    constexpr std::uint64_t kLowestBytes = 0x1111111111111111;
    const __m512i zeros = _mm512_lzcnt_epi32(_mm512_or_si512(batch.words.high, all(kStopOfDc)));
    const __m512i index = _mm512_add_epi32(zeros, batch.book);
    const __m512i bits = _mm512_maskz_permutexvar_epi8(kLowestBytes, index, row(kLaneTables.dcBits));
    const __m512i offset = _mm512_maskz_permutexvar_epi8(kLowestBytes, index, row(kLaneTables.dcOffset));
    const __m512i value = codeValue(batch.words.high, bits, offset);
    batch.bitsLeft = _mm512_sub_epi32(batch.bitsLeft, bits);
    const __mmask16 fits = _mm512_cmpge_epi32_mask(batch.bitsLeft, _mm512_setzero_si512());
    const __mmask16 isOpen = _mm512_cmplt_epi32_mask(batch.position, m_limit.load());
    const auto takes = static_cast<__mmask16>(lanes & fits & isOpen);
    skip(batch.words, bits);
    batch.bit = _mm512_mask_add_epi32(batch.bit, takes, batch.bit, bits);

    // Relative to the direction of the difference before.
    const __m512i difference = _mm512_sub_epi32(_mm512_xor_si512(folded(value), batch.direction), batch.direction);
    const __m512i magnitude = _mm512_srli_epi32(_mm512_add_epi32(value, all(1)), 1);
    static_assert(LaneTables::kDcPrefixesPerBook == 1 << 4);
    const __m512i book = _mm512_slli_epi32(_mm512_min_epu32(magnitude, all(3)), 4);
    batch.sum = _mm512_mask_add_epi32(batch.sum, takes, batch.sum, difference);
    batch.direction = _mm512_mask_mov_epi32(batch.direction, takes, _mm512_srai_epi32(difference, 31));
    batch.book = _mm512_mask_mov_epi32(batch.book, takes, book);
    storeDcs(batch, takes);
    return takes;
}

// Reads the DCs of up to kNumLanes components. One with a code that the lanes cannot take is left to the definition.
template <LaneStores stores>
void LaneScan<stores>::readDcs(unsigned int first) {
    constexpr unsigned int kDcsPerBatch = 4;
    const unsigned int left = m_job.count - first;
    const unsigned int count = left < kNumLanes ? left : kNumLanes;
    openDcLanes(first, static_cast<int>(count));
    DcBatch batch;
    batch.bit = _mm512_setzero_si512();
    batch.position = m_position.load();
    batch.direction = _mm512_setzero_si512();
    batch.book = all(CoeffVLCState::kInitialPreviousDCDiff * static_cast<std::int32_t>(LaneTables::kDcPrefixesPerBook));
    refill(batch);
    __mmask16 reads = readFirstDcs(batch, static_cast<__mmask16>((1u << count) - 1));
    __mmask16 complete = 0;
    while (reads != 0) {
        refill(batch);
        __mmask16 progressed = 0;
#pragma GCC unroll 4
        for (unsigned int i = 0; i < kDcsPerBatch; ++i)
            progressed = static_cast<__mmask16>(progressed | readDcDifferences(batch, reads));
        const __mmask16 isComplete = _mm512_cmpge_epi32_mask(batch.position, m_limit.load());
        complete = static_cast<__mmask16>(complete | (reads & isComplete));
        reads = static_cast<__mmask16>(reads & progressed & ~isComplete);
    }
    m_sign.store(batch.bit);
    for (unsigned int i = 0; i < count; ++i)
        m_endOfDcs[first + i] = (complete >> i & 1) != 0 ? m_sign.of[i] : -1;
}

} // namespace
