#pragma once

#include <cstddef>
#include <cstdint>

#include "CoeffVLCStream.h"

// The tables of the scan in lanes, made by the compiler from the codebooks. Each of their rows of 64 bytes fits into
// one vector register and is looked up by a byte permutation.
//
// Internal linkage throughout: units with other instructions include this too.
namespace {

// The different members of a codebook. Several values of the symbol before lead to the same parameters, so a state that
// is an index into these is enough.
template <std::size_t numBooks>
struct CodeClasses {
    static constexpr std::size_t kMost = 6;

    std::uint8_t ofBook[numBooks] = {};
    std::uint8_t firstBook[kMost] = {}; // a value of the symbol that leads to the class
    GolombCombinationCodeParams params[kMost] = {};
    std::size_t count = 0;

    constexpr explicit CodeClasses(const GolombCombinationCodeParams (&books)[numBooks]) {
        for (std::size_t book = 0; book < numBooks; ++book) {
            std::size_t known = 0;
            while (known < count && !isSame(params[known], books[book]))
                ++known;
            if (known == count) {
                firstBook[count] = static_cast<std::uint8_t>(book);
                params[count++] = books[book];
            }
            ofBook[book] = static_cast<std::uint8_t>(known);
        }
    }

private:
    static constexpr bool isSame(GolombCombinationCodeParams const& a, GolombCombinationCodeParams const& b) {
        return a.lastRiceQ == b.lastRiceQ && a.riceBits == b.riceBits && a.expGolombBits == b.expGolombBits;
    }
};

using LaneCodebooks = CoeffVLCStream<OptimizationTarget::AVX2>;
constexpr CodeClasses kRunClasses(LaneCodebooks::runCodebook);
constexpr CodeClasses kLevelClasses(LaneCodebooks::levelSymbolCodebook);

constexpr std::uint32_t suffixBits(GolombCombinationCodeParams const& code, std::uint32_t q) {
    return q <= code.lastRiceQ ? code.riceBits : code.expGolombBits + (q - code.lastRiceQ) - 1;
}

// Bits of a code with a prefix of q zeros.
constexpr std::uint32_t codeBits(GolombCombinationCodeParams const& code, std::uint32_t q) {
    return q + 1 + suffixBits(code, q);
}

// What is to be added to the bits of a code, read as a number, to give its value.
constexpr std::int32_t codeOffset(GolombCombinationCodeParams const& code, std::uint32_t q) {
    const auto afterRice = static_cast<std::int32_t>((code.lastRiceQ + 1) << code.riceBits);
    if (q > code.lastRiceQ)
        return afterRice - (1 << code.expGolombBits);
    return static_cast<std::int32_t>(q << code.riceBits) - (1 << code.riceBits);
}

// The largest value of the codes with a prefix of q zeros.
constexpr std::int32_t largestValue(GolombCombinationCodeParams const& code, std::uint32_t q) {
    return (2 << suffixBits(code, q)) - 1 + codeOffset(code, q);
}

// An index into the tables of codes is the base of a class plus a number of zeros. The bytes of a vector that hold no
// index are 0 and must find 0, so no code has the first indices. A run is read together with the sign before it, which
// counts as a zero, and so the base of its class is one less.
struct LaneTables {
    static constexpr std::uint32_t kFirstIndex = 8;
    static constexpr std::uint32_t kPrefixesPerClass = 8; // 0 to 6, then all longer ones
    static constexpr std::uint32_t kLongPrefix = kPrefixesPerClass - 1;
    static constexpr std::uint32_t kDcPrefixesPerBook = 16;
    static constexpr std::uint32_t kLongDcPrefix = 14;

    // The length of a code that the lanes leave alone: more than a word has bits, so that the lane stops before it.
    static constexpr std::uint8_t kNotInLanes = 127;

    // Longer runs are left alone too, so that a run + 1 is an index and a batch advances by a bounded distance.
    static constexpr std::int32_t kLongestRun = 62;

    static constexpr std::uint32_t levelBase(std::uint32_t levelClass) {
        return kFirstIndex + kPrefixesPerClass * levelClass;
    }
    static constexpr std::uint32_t levelClass(std::uint32_t base) { return (base - kFirstIndex) / kPrefixesPerClass; }
    static constexpr std::uint32_t runBase(std::uint32_t runClass) { return levelBase(runClass) - 1; }
    static constexpr std::uint32_t runClass(std::uint32_t base) { return levelClass(base + 1); }

    // The states after a run and after a level symbol.
    static constexpr std::uint32_t baseAfterRun(std::uint32_t run) {
        return runBase(kRunClasses.ofBook[run < 15 ? run : 15]);
    }
    static constexpr std::uint32_t baseAfterLevel(std::uint32_t symbol) {
        return levelBase(kLevelClasses.ofBook[symbol < 8 ? symbol : 8]);
    }

    // Bits of a code, for a run with the sign before it, and what makes its bits the value + 1.
    alignas(64) std::uint8_t runBits[64] = {};
    alignas(64) std::uint8_t runOffset[64] = {};
    alignas(64) std::uint8_t levelBits[64] = {};
    alignas(64) std::uint8_t levelOffset[64] = {};

    // The base of the next class by the run + 1 and by the smaller of the level's magnitude and 63.
    alignas(64) std::uint8_t nextRunBase[64] = {};
    alignas(64) std::uint8_t nextLevelBase[64] = {};

    // By the book of a DC difference and the prefix.
    alignas(64) std::uint8_t dcBits[64] = {};
    alignas(64) std::uint8_t dcOffset[64] = {};

    std::uint32_t longestPair = 0; // bits of the longest run with a sign and the longest level

    constexpr LaneTables() {
        std::uint32_t longestRun = 0;
        std::uint32_t longestLevel = 0;
        for (std::uint32_t i = 0; i < kPrefixesPerClass * CodeClasses<16>::kMost; ++i) {
            const std::uint32_t q = i % kPrefixesPerClass;
            auto const& run = kRunClasses.params[i / kPrefixesPerClass];
            auto const& level = kLevelClasses.params[i / kPrefixesPerClass];
            const bool isShortRun = q < kLongPrefix && largestValue(run, q) <= kLongestRun;
            const bool isShortLevel = q < kLongPrefix;
            runBits[kFirstIndex + i] = isShortRun ? static_cast<std::uint8_t>(codeBits(run, q) + 1) : kNotInLanes;
            runOffset[kFirstIndex + i] = static_cast<std::uint8_t>(codeOffset(run, q) + 1);
            levelBits[kFirstIndex + i] = isShortLevel ? static_cast<std::uint8_t>(codeBits(level, q)) : kNotInLanes;
            levelOffset[kFirstIndex + i] = static_cast<std::uint8_t>(codeOffset(level, q) + 1);
            if (isShortRun && runBits[kFirstIndex + i] > longestRun)
                longestRun = runBits[kFirstIndex + i];
            if (isShortLevel && levelBits[kFirstIndex + i] > longestLevel)
                longestLevel = levelBits[kFirstIndex + i];
        }
        longestPair = longestRun + longestLevel;
        for (std::uint32_t i = 1; i < 64; ++i) {
            nextRunBase[i] = static_cast<std::uint8_t>(baseAfterRun(i - 1));
            nextLevelBase[i] = static_cast<std::uint8_t>(baseAfterLevel(i - 1));
        }
        for (std::uint32_t i = 0; i < 64; ++i) {
            const std::uint32_t q = i % kDcPrefixesPerBook;
            auto const& difference = LaneCodebooks::dcSymbolCodebook[i / kDcPrefixesPerBook];
            dcBits[i] = q < kLongDcPrefix ? static_cast<std::uint8_t>(codeBits(difference, q)) : kNotInLanes;
            dcOffset[i] = static_cast<std::uint8_t>(codeOffset(difference, q));
        }
    }
};

constexpr LaneTables kLaneTables;

} // namespace
