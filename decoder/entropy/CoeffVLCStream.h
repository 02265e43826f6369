#pragma once

#include <cstdint>

#include "Targets.h"
#include "VLCStream.h"

// One member of the family of Golomb combination codes.
struct GolombCombinationCodeParams {
    std::uint32_t lastRiceQ;     // the largest prefix that is still in the Golomb-Rice range
    std::uint32_t riceBits;      // suffix bits in the Rice range
    std::uint32_t expGolombBits; // suffix bits of the first escape class
};

// Where a symbol decoder is: the position in the range and the adaptive state. A scan that reads symbols by other means
// hands its state over in this form. The first values are those of the format.
struct CoeffVLCState {
    static constexpr int kInitialPreviousDCDiff = 3;
    static constexpr unsigned int kInitialPreviousRun = 4;
    static constexpr int kInitialPreviousLevelSymbol = 1;

    std::uint64_t bitPosition = 0; // bits from the start of the range
    int previousDCDiff = kInitialPreviousDCDiff;
    unsigned int previousRun = kInitialPreviousRun;
    int previousLevelSymbol = kInitialPreviousLevelSymbol;
};

// Decodes the symbols of one colour component of one slice, one code at a time. This is the definition of the symbols;
// the scan that reads several components side by side is held against it.
template <OptimizationTarget target>
class CoeffVLCStream : public VLCStream<target> {
public:
    static constexpr int kInitialPreviousDCDiff = CoeffVLCState::kInitialPreviousDCDiff;
    static constexpr unsigned int kInitialPreviousRun = CoeffVLCState::kInitialPreviousRun;
    static constexpr int kInitialPreviousLevelSymbol = CoeffVLCState::kInitialPreviousLevelSymbol;
    static constexpr unsigned int kInvalidCode = 0xFFFFFFFF;

    // The number of zero bits from which a prefix is a failure. The one point in which the targets decide differently.
    static constexpr unsigned int kPrefixLimit = target == OptimizationTarget::Baseline ? 31 : 30;

    static constexpr GolombCombinationCodeParams s_firstDCParams = {0, 5, 6};
    static constexpr GolombCombinationCodeParams dcSymbolCodebook[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
    static constexpr GolombCombinationCodeParams runCodebook[16] = {
        {2, 0, 1}, {2, 0, 1}, {1, 0, 1}, {1, 0, 1}, {0, 0, 1}, {1, 1, 2}, {1, 1, 2}, {1, 1, 2},
        {1, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3},
    };
    // Entry 0 has more escape bits than its neighbours, and entries 1 and 2 are in no order: these are the format's
    // values.
    static constexpr GolombCombinationCodeParams levelSymbolCodebook[9] = {
        {2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3},
    };

    // Reads `size` bytes at the cursor, or those that remain there if they are fewer.
    CoeffVLCStream(Bitstream const& bitstream, std::uint64_t size);

    // The same range, with everything before state.bitPosition (inside the range) already read.
    CoeffVLCStream(Bitstream const& bitstream, std::uint64_t size, CoeffVLCState const& state);

    int first_dc_coeff();
    int dc_coeff_difference();
    unsigned int run();      // positions skipped, or kInvalidCode
    int abs_level_minus_1(); // or -1 on failure
    unsigned int sign();     // 1 means negative

    // True when all that is left is at most 64 zero bits. Reads nothing.
    bool endOfData() const;

    unsigned int golombCombinationCode(GolombCombinationCodeParams const* params); // or kInvalidCode
    int signedGolombCombinationCode(GolombCombinationCodeParams const* params);

    // Operations that frames do not use; ThreeStreamScan.h says what they do.
    unsigned int golombGetQ();
    unsigned int run3(CoeffVLCStream& second, unsigned int& secondRun, CoeffVLCStream& third, unsigned int& thirdRun);
    unsigned int golombCombinationCode3(CoeffVLCStream& second, CoeffVLCStream& third,
                                        GolombCombinationCodeParams const* firstParams,
                                        GolombCombinationCodeParams const* secondParams,
                                        GolombCombinationCodeParams const* thirdParams, unsigned int& valueOfSecond,
                                        unsigned int& valueOfThird);

    void setInvalidCode() { m_invalidCode = true; }

    // A read asked for more than the last bytes of the range held, and the bit count wrapped.
    bool bitCountWrapped() const { return m_bitCount > 64; }

protected:
    using VLCStream<target>::m_bitBuffer;
    using VLCStream<target>::m_bitCount;
    using VLCStream<target>::m_bitstream;
    using VLCStream<target>::m_readPastEnd;
    using VLCStream<target>::m_invalidCode;

    // Reads a prefix; kPrefixLimit or more means failure.
    unsigned int limitedPrefix();
    // The value of a code whose prefix has been read.
    unsigned int codeAfterPrefix(unsigned int q, GolombCombinationCodeParams const* params);

    int m_previousDCDiff = kInitialPreviousDCDiff;
    unsigned int m_previousRun = kInitialPreviousRun;
    int m_previousLevelSymbol = kInitialPreviousLevelSymbol;
};

RAVELO_INSTANCES_ELSEWHERE(CoeffVLCStream);
