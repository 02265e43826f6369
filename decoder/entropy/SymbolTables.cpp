#include "SymbolTables.h"

#include "CoeffVLCStream.h"

namespace {

using Codebooks = CoeffVLCStream<OptimizationTarget::Baseline>;
using Params = GolombCombinationCodeParams;

constexpr bool sameParams(Params const& a, Params const& b) {
    return a.lastRiceQ == b.lastRiceQ && a.riceBits == b.riceBits && a.expGolombBits == b.expGolombBits;
}

// Numbers the distinct entries of a codebook in their order, and remembers the first place of each.
template <std::size_t numBooks, std::size_t numClasses>
constexpr void classify(const Params (&books)[numBooks], std::uint8_t (&classes)[numBooks],
                        std::uint8_t (&firstBook)[numClasses]) {
    std::size_t count = 0;
    for (std::size_t book = 0; book < numBooks; ++book) {
        std::size_t known = 0;
        while (known < count && !sameParams(books[firstBook[known]], books[book]))
            ++known;
        if (known == count)
            firstBook[count++] = static_cast<std::uint8_t>(book);
        classes[book] = static_cast<std::uint8_t>(known);
    }
}

constexpr void fillPrefixes(Params const& params, SymbolTables::PrefixEntry (&entries)[SymbolTables::kNumPrefixes]) {
    for (std::uint32_t q = 0; q < SymbolTables::kNumPrefixes; ++q) {
        const bool isRice = q <= params.lastRiceQ;
        const std::uint32_t suffixBits = isRice ? params.riceBits : params.expGolombBits + (q - params.lastRiceQ) - 1;
        const std::uint32_t length = q + 1 + suffixBits;
        if (length > SymbolTables::kMaxCodeBits) {
            entries[q] = {0, 0};
            continue;
        }
        // The code's bits are the one that ends the prefix, then the suffix.
        const std::uint32_t one = 1u << suffixBits;
        const std::uint32_t firstValue =
            isRice ? q << params.riceBits
                   : one - (1u << params.expGolombBits) + ((params.lastRiceQ + 1) << params.riceBits);
        entries[q] = {length, firstValue - one};
    }
}

using Pairs = std::uint64_t[1u << SymbolTables::kWindowBits];

// Calls visit(length, bits, value) for every code of at most `mostBits` bits.
template <class Visit>
constexpr void forEachCode(const SymbolTables::PrefixEntry (&entries)[SymbolTables::kNumPrefixes],
                           std::uint32_t mostBits, Visit const& visit) {
    for (std::uint32_t q = 0; q < mostBits && entries[q].length <= mostBits; ++q) {
        const std::uint32_t one = 1u << (entries[q].length - q - 1);
        for (std::uint32_t bits = one; bits < 2 * one; ++bits)
            visit(entries[q].length, bits, bits + entries[q].offset);
    }
}

// The entry with one pair of `length` bits.
constexpr std::uint64_t singlePair(SymbolTables const& tables, std::uint32_t length, std::uint32_t run,
                                   std::uint32_t levelSymbol, bool isNegative) {
    const std::uint32_t magnitude = levelSymbol + 1;
    const std::uint64_t signedLevel = (isNegative ? 0u - magnitude : magnitude) & 0xFFFFu;
    return length | tables.stateOffset(run, levelSymbol) | std::uint64_t{run + 1} << SymbolTables::kAdvanceShift |
           std::uint64_t{run + 1} << SymbolTables::kFirstRunShift | signedLevel << SymbolTables::kFirstLevelShift |
           signedLevel << SymbolTables::kSecondLevelShift;
}

// For each window the entry with its first pair, or 0 where no pair ends in the window.
constexpr void fillSinglePairs(SymbolTables const& tables, std::uint32_t state, Pairs& pairs) {
    constexpr std::uint32_t kBits = SymbolTables::kWindowBits;
    auto const& runs = tables.run[state / SymbolTables::kNumLevelClasses];
    auto const& levels = tables.level[state % SymbolTables::kNumLevelClasses];
    // A level takes a bit at least, and so does the sign.
    forEachCode(runs, kBits - 2, [&](std::uint32_t runLength, std::uint32_t runBits, std::uint32_t run) {
        const std::uint32_t bitsLeft = kBits - runLength;
        forEachCode(levels, bitsLeft - 1, [&](std::uint32_t length, std::uint32_t bits, std::uint32_t levelSymbol) {
            const std::uint32_t unused = bitsLeft - length - 1;
            for (std::uint32_t sign = 0; sign < 2; ++sign) {
                const std::uint64_t entry = singlePair(tables, runLength + length + 1, run, levelSymbol, sign != 0);
                const std::uint32_t first = ((runBits << length | bits) << 1 | sign) << unused;
                for (std::uint32_t window = first; window < first + (1u << unused); ++window)
                    pairs[window] = entry;
            }
        });
    });
}

constexpr std::uint32_t firstRunOf(std::uint64_t entry) {
    return static_cast<std::uint32_t>(entry >> SymbolTables::kFirstRunShift) & SymbolTables::kRunMask;
}

// Two entries with one pair each as one entry with both.
constexpr std::uint64_t bothPairs(std::uint64_t first, std::uint64_t second) {
    constexpr std::uint64_t kFirstFields = std::uint64_t{SymbolTables::kRunMask} << SymbolTables::kFirstRunShift |
                                           std::uint64_t{0xFFFF} << SymbolTables::kFirstLevelShift;
    const std::uint64_t length = (first & SymbolTables::kLengthMask) + (second & SymbolTables::kLengthMask);
    const std::uint64_t advance = firstRunOf(first) + firstRunOf(second);
    return length | advance << SymbolTables::kAdvanceShift | (first & kFirstFields) |
           (second & SymbolTables::kStateMask) | std::uint64_t{firstRunOf(second)} << SymbolTables::kSecondRunShift |
           (second >> SymbolTables::kSecondLevelShift << SymbolTables::kSecondLevelShift);
}

// The entry of a window, given the entries with one pair of all states.
constexpr std::uint64_t pairEntry(const Pairs* singles, std::uint32_t state, std::uint32_t window) {
    const std::uint64_t first = singles[state][window];
    if (first == 0)
        return 0;
    const auto length = static_cast<std::uint32_t>(first & SymbolTables::kLengthMask);
    const auto nextState = static_cast<std::uint32_t>((first & SymbolTables::kStateMask) >> SymbolTables::kStateShift);
    const std::uint32_t rest = window << length & ((1u << SymbolTables::kWindowBits) - 1);
    // Zeros follow the bits of the window, so the pair that is found there may be longer than what is left of it.
    const std::uint64_t second = singles[nextState][rest];
    const bool isThere = second != 0 && length + (second & SymbolTables::kLengthMask) <= SymbolTables::kWindowBits;
    return isThere && firstRunOf(first) + firstRunOf(second) <= SymbolTables::kMaxAdvance ? bothPairs(first, second)
                                                                                          : first;
}

constexpr SymbolTables builtTables() {
    SymbolTables tables{};
    classify(Codebooks::runCodebook, tables.runClass, tables.runOfClass);
    classify(Codebooks::levelSymbolCodebook, tables.levelClass, tables.levelOfClass);
    fillPrefixes(Codebooks::s_firstDCParams, tables.firstDc);
    for (int i = 0; i < 4; ++i)
        fillPrefixes(Codebooks::dcSymbolCodebook[i], tables.dc[i]);
    for (unsigned int i = 0; i < SymbolTables::kNumRunClasses; ++i)
        fillPrefixes(Codebooks::runCodebook[tables.runOfClass[i]], tables.run[i]);
    for (unsigned int i = 0; i < SymbolTables::kNumLevelClasses; ++i)
        fillPrefixes(Codebooks::levelSymbolCodebook[tables.levelOfClass[i]], tables.level[i]);
    Pairs singles[SymbolTables::kNumStates]{};
    for (std::uint32_t state = 0; state < SymbolTables::kNumStates; ++state)
        fillSinglePairs(tables, state, singles[state]);
    std::uint64_t* entry = tables.pairs;
    for (std::uint32_t state = 0; state < SymbolTables::kNumStates; ++state)
        for (std::uint32_t window = 0; window < 1u << SymbolTables::kWindowBits; ++window)
            *entry++ = pairEntry(singles, state, window);
    return tables;
}

constexpr SymbolTables kTables = builtTables();

} // namespace

SymbolTables const& symbolTables() {
    return kTables;
}
