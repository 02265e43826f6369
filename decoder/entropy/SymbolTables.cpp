#include "SymbolTables.h"

#include <algorithm>

#include "CoeffVLCStream.h"

namespace {

using Codebooks = CoeffVLCStream<OptimizationTarget::Baseline>;
using Params = GolombCombinationCodeParams;

bool sameParams(Params const& a, Params const& b) {
    return a.lastRiceQ == b.lastRiceQ && a.riceBits == b.riceBits && a.expGolombBits == b.expGolombBits;
}

// Numbers the distinct entries of a codebook in their order, and remembers where each first stands.
template <std::size_t numBooks, std::size_t numClasses>
void classify(const Params (&books)[numBooks], std::uint8_t (&classes)[numBooks],
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

void fillPrefixes(Params const& params, SymbolTables::PrefixEntry (&entries)[SymbolTables::kNumPrefixes]) {
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

struct Decoded {
    std::uint32_t length; // 0 if the code does not end in the window
    std::uint32_t value;
};

// Decodes the code at the top of a 32-bit window of which `valid` bits count.
Decoded decodeCode(const SymbolTables::PrefixEntry (&entries)[SymbolTables::kNumPrefixes], std::uint32_t window,
                   std::uint32_t valid) {
    if (window == 0)
        return {0, 0};
    const auto entry = entries[__builtin_clz(window)];
    if (entry.length == 0 || entry.length > valid)
        return {0, 0};
    return {entry.length, (window >> (32 - entry.length)) + entry.offset};
}

// An entry with the pair at the top of a window of which `valid` bits count, or 0.
std::uint64_t singlePair(SymbolTables const& tables, std::uint32_t state, std::uint32_t window, std::uint32_t valid) {
    const Decoded run = decodeCode(tables.run[state / SymbolTables::kNumLevelClasses], window, valid);
    if (run.length == 0)
        return 0;
    window <<= run.length;
    const Decoded level = decodeCode(tables.level[state % SymbolTables::kNumLevelClasses], window, valid - run.length);
    const std::uint32_t length = run.length + level.length + 1;
    if (level.length == 0 || length > valid)
        return 0;
    const bool isNegative = (window << level.length >> 31) != 0;
    const std::uint32_t magnitude = level.value + 1;
    const std::uint64_t signedLevel = (isNegative ? 0u - magnitude : magnitude) & 0xFFFFu;
    return length | tables.stateOffset(run.value, level.value) |
           std::uint64_t{run.value + 1} << SymbolTables::kAdvanceShift |
           std::uint64_t{run.value + 1} << SymbolTables::kFirstRunShift |
           signedLevel << SymbolTables::kFirstLevelShift | signedLevel << SymbolTables::kSecondLevelShift;
}

std::uint32_t firstRunOf(std::uint64_t entry) {
    return static_cast<std::uint32_t>(entry >> SymbolTables::kFirstRunShift) & SymbolTables::kRunMask;
}

std::uint64_t pairEntry(SymbolTables const& tables, std::uint32_t state, std::uint32_t bits) {
    const std::uint32_t window = bits << (32 - SymbolTables::kWindowBits);
    const std::uint64_t first = singlePair(tables, state, window, SymbolTables::kWindowBits);
    if (first == 0)
        return 0;
    const auto length = static_cast<std::uint32_t>(first & SymbolTables::kLengthMask);
    const auto nextState = static_cast<std::uint32_t>((first & SymbolTables::kStateMask) >> SymbolTables::kStateShift);
    const std::uint64_t second = singlePair(tables, nextState, window << length, SymbolTables::kWindowBits - length);
    if (second == 0 || firstRunOf(first) + firstRunOf(second) > SymbolTables::kMaxAdvance)
        return first;
    constexpr std::uint64_t kFirstFields = std::uint64_t{SymbolTables::kRunMask} << SymbolTables::kFirstRunShift |
                                           std::uint64_t{0xFFFF} << SymbolTables::kFirstLevelShift;
    const std::uint64_t advance = firstRunOf(first) + firstRunOf(second);
    return (length + (second & SymbolTables::kLengthMask)) | advance << SymbolTables::kAdvanceShift |
           (first & kFirstFields) | (second & SymbolTables::kStateMask) |
           std::uint64_t{firstRunOf(second)} << SymbolTables::kSecondRunShift |
           (second >> SymbolTables::kSecondLevelShift << SymbolTables::kSecondLevelShift);
}

// In static storage from the start, since a small thread stack has no room for a copy.
struct BuiltTables : SymbolTables {
    BuiltTables() : SymbolTables{} {
        classify(Codebooks::runCodebook, runClass, runOfClass);
        classify(Codebooks::levelSymbolCodebook, levelClass, levelOfClass);
        fillPrefixes(Codebooks::s_firstDCParams, firstDc);
        for (int i = 0; i < 4; ++i)
            fillPrefixes(Codebooks::dcSymbolCodebook[i], dc[i]);
        for (unsigned int i = 0; i < kNumRunClasses; ++i)
            fillPrefixes(Codebooks::runCodebook[runOfClass[i]], run[i]);
        for (unsigned int i = 0; i < kNumLevelClasses; ++i)
            fillPrefixes(Codebooks::levelSymbolCodebook[levelOfClass[i]], level[i]);
        std::uint64_t* entry = pairs;
        for (std::uint32_t state = 0; state < kNumStates; ++state)
            for (std::uint32_t bits = 0; bits < 1u << kWindowBits; ++bits)
                *entry++ = pairEntry(*this, state, bits);
    }
};

} // namespace

std::uint32_t SymbolTables::stateOffset(std::uint32_t runValue, std::uint32_t levelSymbol) const {
    const std::uint32_t state =
        runClass[std::min(runValue, 15u)] * kNumLevelClasses + levelClass[std::min(levelSymbol, 8u)];
    return state << kStateShift;
}

SymbolTables const& symbolTables() {
    static const BuiltTables tables;
    return tables;
}
