#pragma once

#include <cstdint>

// Tables that decode symbols by look-up. They are derived from the codebooks when the library is compiled, and lie in
// its read-only data.
//
// Size: `pairs` has 36 states times 2^11 windows times 8 bytes, which is 576 KiB; the rest is below 9 KiB. A longer
// window would hold two pairs more often, but the table already fills a good part of a second-level cache. Built in the
// first call of a process they would cost it 2 ms; as data they cost it the pages that its frames touch, and all
// processes share them.
//
// The book of a run follows from the run before it and the book of a level from the level before it. Several values
// lead to the same parameters, so the books form a few classes only, and a pair of classes (the "state") is known
// before the pair of run and level begins. That is what makes one look-up for run, level and sign possible, and for a
// second such pair after a short first one.
struct SymbolTables {
    static constexpr unsigned int kNumRunClasses = 6;
    static constexpr unsigned int kNumLevelClasses = 6;
    static constexpr unsigned int kNumStates = kNumRunClasses * kNumLevelClasses;
    static constexpr unsigned int kWindowBits = 11;

    // An entry of `pairs`: the one or two pairs of run and level with sign that the next kWindowBits bits hold in a
    // state, or 0 when they hold none.
    //   bits 0 to 5    bits of the pairs together, 1 to kWindowBits
    //   bits 8 to 13   the sum of both fields of the runs
    //   bits 14 to 19  the next state, in place: (entry & kStateMask) is its offset in bytes
    //   bits 20 to 25  the first run + 1
    //   bits 26 to 31  the second run + 1, or 0 when there is one pair only
    //   bits 32 to 47  the first signed level
    //   bits 48 to 63  the second signed level, or the first again
    // So a reader that advances by both runs and stores both levels needs no branch.
    static constexpr std::uint32_t kLengthMask = 63;
    static constexpr unsigned int kAdvanceShift = 8;
    static constexpr std::uint32_t kAdvanceMask = 63;
    static constexpr unsigned int kStateShift = kWindowBits + 3;
    static constexpr std::uint32_t kStateMask = 63u << kStateShift;
    static constexpr unsigned int kFirstRunShift = kStateShift + 6;
    static constexpr unsigned int kSecondRunShift = kFirstRunShift + 6;
    static constexpr std::uint32_t kRunMask = 63;
    static constexpr unsigned int kFirstLevelShift = 32;
    static constexpr unsigned int kSecondLevelShift = 48;

    // The sum of both fields of an entry's runs never exceeds this.
    static constexpr std::uint32_t kMaxAdvance = kAdvanceMask;

    // A code by its number of leading zeros: the value is the code's bits as a number plus `offset`.
    struct PrefixEntry {
        std::uint32_t length; // of the whole code; 0 when it is longer than kMaxCodeBits
        std::uint32_t offset; // modulo 2 to the 32
    };
    static constexpr unsigned int kMaxCodeBits = 32;
    static constexpr unsigned int kNumPrefixes = 65;

    alignas(64) std::uint64_t pairs[kNumStates << kWindowBits];
    PrefixEntry firstDc[kNumPrefixes];
    PrefixEntry dc[4][kNumPrefixes];
    PrefixEntry run[kNumRunClasses][kNumPrefixes];
    PrefixEntry level[kNumLevelClasses][kNumPrefixes];
    std::uint8_t runClass[16];  // by the smaller of the run and 15
    std::uint8_t levelClass[9]; // by the smaller of the level symbol and 8

    // A run and a level symbol of each class.
    std::uint8_t runOfClass[kNumRunClasses];
    std::uint8_t levelOfClass[kNumLevelClasses];

    // The offset in `pairs`, in bytes, of the state after a run and a level symbol.
    constexpr std::uint32_t stateOffset(std::uint32_t runValue, std::uint32_t levelSymbol) const {
        const std::uint32_t state =
            runClass[runValue < 15 ? runValue : 15] * kNumLevelClasses + levelClass[levelSymbol < 8 ? levelSymbol : 8];
        return state << kStateShift;
    }
};

SymbolTables const& symbolTables();
