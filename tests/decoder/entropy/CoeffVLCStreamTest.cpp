#include "CoeffVLCStream.h"

#include <array>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"
#include "SymbolWriter.h"

namespace {

// The stream with its adaptive state in reach.
template <OptimizationTarget target>
class OpenStream : public CoeffVLCStream<target> {
public:
    using CoeffVLCStream<target>::CoeffVLCStream;
    explicit OpenStream(Bitstream const& bits) : CoeffVLCStream<target>(bits, bits.size) {}

    using CoeffVLCStream<target>::m_bitBuffer;
    using CoeffVLCStream<target>::m_bitCount;
    using CoeffVLCStream<target>::m_bitstream;
    using CoeffVLCStream<target>::m_previousDCDiff;
    using CoeffVLCStream<target>::m_previousRun;
    using CoeffVLCStream<target>::m_previousLevelSymbol;
};

template <class On>
class CoeffVLCStreamTest : public TargetTest<On> {
protected:
    using Stream = OpenStream<On::target>;

    Stream over(std::vector<std::uint8_t> const& bytes) { return Stream(m_held.hold(bytes)); }
    Stream over(const char* bits) { return over(bytesOfBits(bits)); }

    static std::uint32_t take(Stream& stream, int numBits) {
        std::uint32_t value = 0;
        for (int i = 0; i < numBits; ++i)
            value = value << 1 | stream.sign();
        return value;
    }

    GuardedBytes m_held;
};

TYPED_TEST_SUITE(CoeffVLCStreamTest, BothTargets, TargetNames);

bool sameParams(GolombCombinationCodeParams const& params, TestCodebook const& book) {
    return params.lastRiceQ == book.lastRiceQ && params.riceBits == book.riceBits &&
           params.expGolombBits == book.expGolombBits;
}

// The formula of a code's value, in unsigned 32-bit numbers with shift counts modulo 32.
std::uint32_t valueOf(TestCodebook const& book, std::uint32_t q, std::uint32_t suffix) {
    if (q <= book.lastRiceQ)
        return (q << book.riceBits) + suffix;
    const std::uint32_t n = book.expGolombBits + (q - book.lastRiceQ) - 1;
    return ((1u << (n % 32)) | suffix) - (1u << book.expGolombBits) + ((book.lastRiceQ + 1) << book.riceBits);
}

} // namespace

// --- tables ----------------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, TheFirstDcBookHasTheValuesOfTheFormat) {
    EXPECT_TRUE(sameParams(TestFixture::Stream::s_firstDCParams, {0, 5, 6}));
}

TYPED_TEST(CoeffVLCStreamTest, TheFourDcBooksHaveTheValuesOfTheFormat) {
    constexpr TestCodebook books[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(sameParams(TestFixture::Stream::dcSymbolCodebook[i], books[i])) << i;
}

TYPED_TEST(CoeffVLCStreamTest, TheSixteenRunBooksHaveTheValuesOfTheFormat) {
    for (std::uint32_t i = 0; i < 16; ++i) {
        const TestCodebook book = i < 2    ? TestCodebook{2, 0, 1}
                                  : i < 4  ? TestCodebook{1, 0, 1}
                                  : i < 5  ? TestCodebook{0, 0, 1}
                                  : i < 9  ? TestCodebook{1, 1, 2}
                                  : i < 15 ? TestCodebook{0, 1, 2}
                                           : TestCodebook{0, 2, 3};
        EXPECT_TRUE(sameParams(TestFixture::Stream::runCodebook[i], book)) << i;
    }
}

TYPED_TEST(CoeffVLCStreamTest, TheNineLevelBooksHaveTheValuesOfTheFormat) {
    constexpr TestCodebook books[9] = {{2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2},
                                       {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3}};
    for (int i = 0; i < 9; ++i)
        EXPECT_TRUE(sameParams(TestFixture::Stream::levelSymbolCodebook[i], books[i])) << i;
}

TYPED_TEST(CoeffVLCStreamTest, AFreshStreamStartsWithDifferenceThreeRunFourAndLevelOne) {
    const auto stream = this->over("1");
    EXPECT_EQ(stream.m_previousDCDiff, 3);
    EXPECT_EQ(stream.m_previousRun, 4u);
    EXPECT_EQ(stream.m_previousLevelSymbol, 1);
    EXPECT_EQ(TestFixture::Stream::kInitialPreviousDCDiff, 3);
    EXPECT_EQ(TestFixture::Stream::kInitialPreviousRun, 4u);
    EXPECT_EQ(TestFixture::Stream::kInitialPreviousLevelSymbol, 1);
    const CoeffVLCState state;
    EXPECT_EQ(state.bitPosition, 0u);
    EXPECT_EQ(state.previousDCDiff, 3);
    EXPECT_EQ(state.previousRun, 4u);
    EXPECT_EQ(state.previousLevelSymbol, 1);
}

// --- single codes ----------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, CodesOfTheFirstRunBookRunOnWithoutAGapFromRiceToEscape) {
    struct {
        const char* bits;
        unsigned int value;
    } const codes[] = {{"1", 0},      {"01", 1},       {"001", 2},      {"0001 0", 3},
                       {"0001 1", 4}, {"00001 00", 5}, {"00001 11", 8}, {"000001 000", 9}};
    for (auto const& code : codes) {
        auto stream = this->over(code.bits);
        EXPECT_EQ(stream.golombCombinationCode(&TestFixture::Stream::runCodebook[0]), code.value) << code.bits;
    }
}

TYPED_TEST(CoeffVLCStreamTest, CodesOfTheLastDcBookHaveThreeBitsInRiceAndFourInTheFirstEscape) {
    auto rice = this->over("1 101");
    EXPECT_EQ(rice.golombCombinationCode(&TestFixture::Stream::dcSymbolCodebook[3]), 5u);
    auto escape = this->over("01 1010");
    EXPECT_EQ(escape.golombCombinationCode(&TestFixture::Stream::dcSymbolCodebook[3]), 18u);
}

TYPED_TEST(CoeffVLCStreamTest, FirstDcFoldsFiveBitsOfRiceAndSixOfEscape) {
    EXPECT_EQ(this->over("01 000000").first_dc_coeff(), 16);
    EXPECT_EQ(this->over("1 00101").first_dc_coeff(), -3);
    EXPECT_EQ(this->over("1 00000").first_dc_coeff(), 0);
    EXPECT_EQ(this->over("1 11111").first_dc_coeff(), -16);
    EXPECT_EQ(this->over("01 000001").first_dc_coeff(), -17);
}

TYPED_TEST(CoeffVLCStreamTest, FirstDcWithAPrefixOfOneAndMoreHasFiveMoreSuffixBitsThanZeros) {
    for (std::uint32_t q = 1; q <= 26; ++q) {
        SymbolWriter writer;
        writer.prefix(q);
        writer.bits(0x2A, q + 5);
        const std::uint32_t value = ((1u << (q + 5) % 32) | 0x2Au) - 32u;
        const int expected = value % 2 == 0 ? static_cast<int>(value) / 2 : -(static_cast<int>(value + 1) / 2);
        EXPECT_EQ(this->over(writer.bytes()).first_dc_coeff(), expected) << q;
    }
}

TYPED_TEST(CoeffVLCStreamTest, TheFoldTurnsZeroToFourIntoZeroMinusOneOneMinusTwoTwo) {
    constexpr int folded[5] = {0, -1, 1, -2, 2};
    for (std::uint32_t value = 0; value < 5; ++value) {
        SymbolWriter writer;
        writer.code(kFirstDcBook, value);
        EXPECT_EQ(this->over(writer.bytes()).first_dc_coeff(), folded[value]);
    }
}

TYPED_TEST(CoeffVLCStreamTest, FirstDcLeavesTheAdaptiveStateAlone) {
    auto stream = this->over("01 111111 1 000");
    stream.first_dc_coeff();
    EXPECT_EQ(stream.m_previousDCDiff, 3);
    EXPECT_EQ(stream.m_previousRun, 4u);
    EXPECT_EQ(stream.m_previousLevelSymbol, 1);
}

TYPED_TEST(CoeffVLCStreamTest, EveryBookReadsEveryValueThatIsWrittenWithIt) {
    std::vector<GolombCombinationCodeParams> params = {TestFixture::Stream::s_firstDCParams};
    params.insert(params.end(), TestFixture::Stream::dcSymbolCodebook, TestFixture::Stream::dcSymbolCodebook + 4);
    params.insert(params.end(), TestFixture::Stream::runCodebook, TestFixture::Stream::runCodebook + 16);
    params.insert(params.end(), TestFixture::Stream::levelSymbolCodebook, TestFixture::Stream::levelSymbolCodebook + 9);
    std::vector<std::uint32_t> values;
    for (std::uint32_t value = 0; value < 300; ++value)
        values.push_back(value);
    for (std::uint32_t bit = 9; bit < 27; ++bit)
        values.insert(values.end(), {(1u << bit) - 1, 1u << bit, (1u << bit) + 1});
    for (GolombCombinationCodeParams const& book : params) {
        SymbolWriter writer;
        for (const std::uint32_t value : values)
            writer.code({book.lastRiceQ, book.riceBits, book.expGolombBits}, value);
        writer.bits(1, 1);
        writer.zeros(64); // no code then straddles the end of the range
        auto stream = this->over(writer.bytes());
        for (const std::uint32_t value : values)
            ASSERT_EQ(stream.golombCombinationCode(&book), value) << book.lastRiceQ << book.riceBits;
        EXPECT_EQ(stream.sign(), 1u);
        EXPECT_FALSE(stream.invalidCode());
    }
}

// --- the limit on the prefix -----------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, APrefixOf29ZerosDecodesAndItsSuffixOf34BitsWraps) {
    for (const std::uint32_t suffix : {0u, 1u, 0xFFFFFFFFu, 0x80000000u}) {
        SymbolWriter writer;
        writer.prefix(29);
        writer.bits(3, 2); // the two bits that 32 bits have no room for
        writer.bits(suffix, 32);
        writer.bits(1, 1);
        writer.zeros(64);
        auto stream = this->over(writer.bytes());
        // 34 modulo 32 is 2.
        EXPECT_EQ(stream.golombCombinationCode(&TestFixture::Stream::s_firstDCParams), (4u | suffix) - 64 + 32);
        EXPECT_FALSE(stream.invalidCode());
        EXPECT_EQ(stream.sign(), 1u);
    }
}

TYPED_TEST(CoeffVLCStreamTest, APrefixOf30ZerosDecodesOnBaselineAndFailsOnAvx2) {
    SymbolWriter writer;
    writer.prefix(30);
    writer.bits(5, 30);
    writer.zeros(64);
    auto stream = this->over(writer.bytes());
    // The first run book has two Rice prefixes more, so the suffix has 1 + 28 - 1 bits.
    const unsigned int value = stream.golombCombinationCode(&TestFixture::Stream::runCodebook[0]);
    if (this->isAvx2) {
        EXPECT_EQ(value, 0xFFFFFFFFu);
        EXPECT_TRUE(stream.invalidCode());
    } else {
        EXPECT_EQ(value, valueOf(kRunBooks[0], 30, 5u >> 2));
        EXPECT_FALSE(stream.invalidCode());
    }
}

TYPED_TEST(CoeffVLCStreamTest, APrefixOf31OrMoreZerosFailsOnBothTargets) {
    for (std::uint32_t zeros = 31; zeros < 70; ++zeros) {
        SymbolWriter writer;
        writer.prefix(zeros);
        writer.bits(0xFFFFFFFF, 32);
        auto stream = this->over(writer.bytes());
        EXPECT_EQ(stream.golombCombinationCode(&TestFixture::Stream::runCodebook[4]), 0xFFFFFFFFu) << zeros;
        EXPECT_TRUE(stream.invalidCode());
    }
}

TYPED_TEST(CoeffVLCStreamTest, AFailingCodeConsumes31ZerosOnBaselineAndNothingOnAvx2) {
    for (std::uint32_t offset = 0; offset < 64; ++offset) {
        SymbolWriter writer;
        writer.bits(0xFFFFFFFFFFFFFFFF, offset);
        writer.prefix(40);
        writer.zeros(20);
        auto stream = this->over(writer.bytes());
        for (std::uint32_t i = 0; i < offset; ++i)
            ASSERT_EQ(stream.sign(), 1u);
        stream.golombCombinationCode(&TestFixture::Stream::runCodebook[0]);
        const int left = this->isAvx2 ? 40 : 9;
        for (int i = 0; i < left; ++i)
            ASSERT_EQ(stream.sign(), 0u) << offset;
        ASSERT_EQ(stream.sign(), 1u) << offset;
    }
}

TYPED_TEST(CoeffVLCStreamTest, EveryPrefixAtEveryBitOffsetDecodesOrFailsByTheLimitOfTheTarget) {
    const std::uint32_t limit = this->isAvx2 ? 30 : 31;
    Random random = seeded(2201);
    for (std::uint32_t offset = 0; offset < 65; ++offset) {
        for (std::uint32_t q = 0; q <= 33; ++q) {
            TestCodebook const& book = kRunBooks[randomBelow(random, 16)];
            const GolombCombinationCodeParams params = {book.lastRiceQ, book.riceBits, book.expGolombBits};
            const std::uint32_t n = q <= book.lastRiceQ ? book.riceBits : book.expGolombBits + q - book.lastRiceQ - 1;
            const std::uint32_t suffix = static_cast<std::uint32_t>(random() & ((std::uint64_t{1} << n) - 1));
            SymbolWriter writer;
            writer.bits(random(), offset % 64);
            writer.zeros(offset - offset % 64);
            writer.prefix(q);
            writer.bits(suffix, n);
            writer.zeros(64);
            auto stream = this->over(writer.bytes());
            for (std::uint32_t i = 0; i < offset; ++i)
                stream.sign();
            ASSERT_EQ(stream.golombCombinationCode(&params), q < limit ? valueOf(book, q, suffix) : 0xFFFFFFFFu)
                << "offset " << offset << " prefix " << q;
            ASSERT_EQ(stream.invalidCode(), q >= limit);
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, APrefixThatRunsOffTheRangeSeesZerosWhateverBytesFollow) {
    std::vector<std::uint8_t> bytes(64, 0xFF);
    bytes[0] = 0;
    bytes[1] = 0;
    typename TestFixture::Stream stream(Bitstream{bytes.data(), bytes.size()}, 2);
    EXPECT_EQ(stream.run(), 0xFFFFFFFFu);
    EXPECT_TRUE(stream.invalidCode());
}

TYPED_TEST(CoeffVLCStreamTest, FailedDcSymbolsGiveZeroAndFailedRunsAndLevelsTheFailureValue) {
    const std::vector<std::uint8_t> zeros(8, 0);
    auto first = this->over(zeros);
    EXPECT_EQ(first.first_dc_coeff(), 0);
    EXPECT_TRUE(first.invalidCode());
    auto difference = this->over(zeros);
    EXPECT_EQ(difference.dc_coeff_difference(), 0);
    EXPECT_EQ(difference.m_previousDCDiff, 0);
    EXPECT_TRUE(difference.invalidCode());
    auto run = this->over(zeros);
    EXPECT_EQ(run.run(), 0xFFFFFFFFu);
    EXPECT_EQ(run.m_previousRun, 0xFFFFFFFFu);
    EXPECT_TRUE(run.invalidCode());
    auto level = this->over(zeros);
    EXPECT_EQ(level.abs_level_minus_1(), -1);
    EXPECT_EQ(level.m_previousLevelSymbol, -1);
    EXPECT_TRUE(level.invalidCode());
}

TYPED_TEST(CoeffVLCStreamTest, AnInvalidCodeStaysMarkedWhileLaterSymbolsDecode) {
    SymbolWriter writer;
    writer.zeros(this->isAvx2 ? 0 : 31);
    writer.prefix(this->isAvx2 ? 31 : 0);
    auto stream = this->over(writer.bytes());
    EXPECT_EQ(stream.golombCombinationCode(&TestFixture::Stream::runCodebook[0]), 0xFFFFFFFFu);
    for (int i = 0; this->isAvx2 && i < 31; ++i)
        stream.sign();
    EXPECT_EQ(stream.golombCombinationCode(&TestFixture::Stream::runCodebook[0]), 0u);
    EXPECT_TRUE(stream.invalidCode());
}

// --- adaptive state --------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, DifferencesAreRelativeToTheDirectionOfTheLastOne) {
    auto stream = this->over("1 101 1 010 1 1");
    EXPECT_EQ(stream.dc_coeff_difference(), -3);
    EXPECT_EQ(stream.dc_coeff_difference(), -1);
    // The magnitude 1 selects book 1, whose Rice range has one suffix bit: value 1 folds to -1, and the last difference
    // was negative.
    EXPECT_EQ(stream.dc_coeff_difference(), 1);
}

TYPED_TEST(CoeffVLCStreamTest, TheMagnitudeOfTheLastDifferenceUpToThreeSelectsTheDcBook) {
    for (const int previous : {0, 1, -1, 2, -2, 3, -3, 4, -4, 1000, -1000, 2147483647, -2147483647 - 1}) {
        const std::int64_t magnitude = previous < 0 ? -std::int64_t{previous} : previous;
        TestCodebook const& book = kDcBooks[std::min<std::int64_t>(magnitude, 3)];
        for (std::uint32_t value = 0; value < 40; ++value) {
            SymbolWriter writer;
            writer.code(book, value);
            writer.zeros(32);
            auto stream = this->over(writer.bytes());
            stream.m_previousDCDiff = previous;
            const int folded = value % 2 == 0 ? static_cast<int>(value / 2) : -static_cast<int>((value + 1) / 2);
            ASSERT_EQ(stream.dc_coeff_difference(), previous < 0 ? -folded : folded) << previous << " " << value;
            ASSERT_EQ(stream.m_previousDCDiff, previous < 0 ? -folded : folded);
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, AFirstDifferenceOfZeroSelectsBookZeroAndAPositiveDirection) {
    // Book 3: 1 000 is 0. Book 0: 01 0 is value 1, which folds to -1.
    auto stream = this->over("1 000 01 0");
    EXPECT_EQ(stream.dc_coeff_difference(), 0);
    EXPECT_EQ(stream.m_previousDCDiff, 0);
    EXPECT_EQ(stream.dc_coeff_difference(), -1);
}

TYPED_TEST(CoeffVLCStreamTest, ADifferenceOfZeroResetsTheDirectionOfANegativeOne) {
    auto stream = this->over("1 0 01 1"); // book 1, then book 0
    stream.m_previousDCDiff = -1;
    EXPECT_EQ(stream.dc_coeff_difference(), 0);
    EXPECT_EQ(stream.dc_coeff_difference(), 1);
}

TYPED_TEST(CoeffVLCStreamTest, TheLastRunUpToFifteenSelectsTheRunBook) {
    for (const std::uint32_t previous : {0u,  1u,  2u,  3u,  4u,  5u,  6u,    7u,          8u,          9u,         10u,
                                         11u, 12u, 13u, 14u, 15u, 16u, 2047u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (std::uint32_t value = 0; value < 70; ++value) {
            SymbolWriter writer;
            writer.code(kRunBooks[std::min(previous, 15u)], value);
            writer.zeros(32);
            auto stream = this->over(writer.bytes());
            stream.m_previousRun = previous;
            ASSERT_EQ(stream.run(), value) << previous;
            ASSERT_EQ(stream.m_previousRun, value);
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, TheLastLevelUpToEightSelectsTheLevelBook) {
    for (const int previous : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 100, 32766, 2147483647}) {
        for (std::uint32_t value = 0; value < 70; ++value) {
            SymbolWriter writer;
            writer.code(kLevelBooks[std::min(previous, 8)], value);
            writer.zeros(32);
            auto stream = this->over(writer.bytes());
            stream.m_previousLevelSymbol = previous;
            ASSERT_EQ(stream.abs_level_minus_1(), static_cast<int>(value)) << previous;
            ASSERT_EQ(stream.m_previousLevelSymbol, static_cast<int>(value));
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, AnyLevelSymbolBelowZeroStaysInsideTheTable) {
    for (const int previous : {-1, -2, -2147483647 - 1}) {
        auto stream = this->over(std::vector<std::uint8_t>(16, 0xFF));
        stream.m_previousLevelSymbol = previous;
        stream.abs_level_minus_1(); // a read outside the table shows under the sanitizers
        EXPECT_FALSE(stream.invalidCode());
    }
}

TYPED_TEST(CoeffVLCStreamTest, SignIsTheNextBitAndOneMeansNegative) {
    auto stream = this->over("1010 0111");
    EXPECT_EQ(this->take(stream, 8), 0xA7u);
}

// --- end of data -----------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, EightZeroBytesWithNothingLoadedAreAnEndAndNineAreNot) {
    EXPECT_TRUE(this->over(std::vector<std::uint8_t>(8, 0)).endOfData());
    EXPECT_FALSE(this->over(std::vector<std::uint8_t>(9, 0)).endOfData());
    EXPECT_TRUE(this->over(std::vector<std::uint8_t>{}).endOfData());
}

TYPED_TEST(CoeffVLCStreamTest, ThreeBitsInTheBufferAndEightBytesUnloadedAreNoEnd) {
    auto stream = this->over(std::vector<std::uint8_t>(16, 0));
    this->take(stream, 61);
    ASSERT_EQ(stream.m_bitCount, 3u);
    ASSERT_EQ(stream.m_bitstream.size, 8u);
    EXPECT_FALSE(stream.endOfData());
}

TYPED_TEST(CoeffVLCStreamTest, TheTailIsCountedInBitsAtEveryOffset) {
    for (std::uint32_t size = 1; size <= 20; ++size) {
        auto stream = this->over(std::vector<std::uint8_t>(size, 0));
        for (std::uint32_t left = 8 * size; left > 0; --left) {
            ASSERT_EQ(stream.endOfData(), left <= 64) << size << " bytes, " << left << " bits left";
            stream.sign();
        }
        ASSERT_TRUE(stream.endOfData());
    }
}

TYPED_TEST(CoeffVLCStreamTest, ASingleOneBitAnywhereInTheLast64BitsIsNoEnd) {
    for (std::uint32_t size = 1; size <= 17; ++size) {
        for (std::uint32_t bit = 0; bit < 8 * size; ++bit) {
            std::vector<std::uint8_t> bytes(size, 0);
            bytes[bit / 8] = static_cast<std::uint8_t>(0x80 >> bit % 8);
            auto stream = this->over(bytes);
            for (std::uint32_t position = 0; position <= bit; ++position) {
                ASSERT_FALSE(stream.endOfData()) << "bit " << bit << " of " << size << " bytes, at " << position;
                ASSERT_EQ(stream.sign(), position == bit ? 1u : 0u);
            }
            ASSERT_EQ(stream.endOfData(), 8 * size - bit - 1 <= 64);
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, ARangeReadPastItsEndIsAtItsEndWhenTheBufferIsZero) {
    auto stream = this->over(std::vector<std::uint8_t>{0xFF});
    this->take(stream, 9);
    EXPECT_TRUE(stream.readPastEnd());
    EXPECT_TRUE(stream.endOfData());
}

TYPED_TEST(CoeffVLCStreamTest, ACountWrappedPastTheEndDoesNotHideTheEnd) {
    // Past the end a suffix of more than eight bits wraps the count, with the flag set.
    SymbolWriter writer;
    writer.zeros(48);
    writer.prefix(15);
    auto stream = this->over(writer.bytes());
    this->take(stream, 48);
    EXPECT_EQ(stream.run(), valueOf(kRunBooks[4], 15, 0));
    EXPECT_TRUE(stream.readPastEnd());
    EXPECT_TRUE(stream.bitCountWrapped());
    EXPECT_TRUE(stream.endOfData());
}

TYPED_TEST(CoeffVLCStreamTest, ACountWrappedInTheLastPartialWordNeverEnds) {
    // A suffix of 15 bits where no bit of the first word and eight of the last are left.
    SymbolWriter writer;
    writer.zeros(48);
    writer.prefix(15);
    writer.zeros(8);
    auto stream = this->over(writer.bytes());
    ASSERT_EQ(stream.m_bitstream.size, 9u);
    this->take(stream, 48);
    stream.run();
    EXPECT_FALSE(stream.readPastEnd());
    EXPECT_TRUE(stream.bitCountWrapped());
    for (int i = 0; i < 300; ++i) {
        ASSERT_FALSE(stream.endOfData());
        stream.sign();
    }
}

// --- ranges ----------------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, ASizeLargerThanTheBytesThatFollowIsCutToThem) {
    GuardedBytes held({0xC0});
    typename TestFixture::Stream stream(held.bits(), 1000);
    EXPECT_EQ(stream.m_bitstream.size, 1u);
    EXPECT_EQ(stream.sign(), 1u);
    EXPECT_EQ(stream.sign(), 1u);
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ(stream.sign(), 0u);
    EXPECT_TRUE(stream.readPastEnd());
}

TYPED_TEST(CoeffVLCStreamTest, ASizeSmallerThanTheBytesThatFollowEndsTheRange) {
    GuardedBytes held({0xFF, 0xFF, 0xFF});
    typename TestFixture::Stream stream(held.bits(), 2);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(stream.sign(), 1u);
    EXPECT_EQ(stream.sign(), 0u);
}

TYPED_TEST(CoeffVLCStreamTest, AStreamThatContinuesFromAStateEqualsOneThatReadItsWayThere) {
    Random random = seeded(2202);
    std::vector<std::uint8_t> bytes(21);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(random() | random());
    this->m_held.hold(bytes);
    for (std::uint64_t position = 0; position <= 8 * bytes.size(); ++position) {
        typename TestFixture::Stream walked(this->m_held.bits(), bytes.size());
        this->take(walked, static_cast<int>(position));
        walked.m_previousDCDiff = -2;
        walked.m_previousRun = 7;
        walked.m_previousLevelSymbol = 0;
        typename TestFixture::Stream jumped(this->m_held.bits(), bytes.size(), CoeffVLCState{position, -2, 7, 0});
        ASSERT_EQ(jumped.endOfData(), walked.endOfData());
        ASSERT_EQ(jumped.m_previousDCDiff, -2);
        for (int i = 0; i < 12; ++i) {
            ASSERT_EQ(jumped.run(), walked.run()) << position;
            ASSERT_EQ(jumped.abs_level_minus_1(), walked.abs_level_minus_1()) << position;
            ASSERT_EQ(jumped.sign(), walked.sign()) << position;
            ASSERT_EQ(jumped.dc_coeff_difference(), walked.dc_coeff_difference()) << position;
            ASSERT_EQ(jumped.endOfData(), walked.endOfData()) << position;
            ASSERT_EQ(jumped.invalidCode(), walked.invalidCode()) << position;
            ASSERT_EQ(jumped.bitCountWrapped(), walked.bitCountWrapped()) << position;
        }
    }
}

// --- three streams ---------------------------------------------------------------------------------------------------

TYPED_TEST(CoeffVLCStreamTest, GolombGetQCountsTheZerosAndTakesTheOneAfterThem) {
    for (std::uint32_t q = 0; q <= 31; ++q) {
        SymbolWriter writer;
        writer.prefix(q);
        writer.bits(1, 1);
        writer.zeros(8);
        auto stream = this->over(writer.bytes());
        EXPECT_EQ(stream.golombGetQ(), q);
        EXPECT_EQ(stream.sign(), 1u);
        EXPECT_FALSE(stream.invalidCode());
    }
}

TYPED_TEST(CoeffVLCStreamTest, GolombGetQReturnsOnARangeOfZerosToo) {
    for (std::size_t size : {0u, 1u, 5u, 40u}) {
        auto stream = this->over(std::vector<std::uint8_t>(size, 0));
        const unsigned int q = stream.golombGetQ();
        EXPECT_TRUE(!this->isAvx2 || q == 32u) << q;
        EXPECT_FALSE(stream.invalidCode());
    }
}

TYPED_TEST(CoeffVLCStreamTest, GolombGetQReturnsAfterAWrappedCountToo) {
    // There zeros come for ever, and the end of the range never does.
    SymbolWriter writer;
    writer.zeros(48);
    writer.prefix(15);
    writer.zeros(8);
    auto stream = this->over(writer.bytes());
    this->take(stream, 48);
    stream.run();
    ASSERT_TRUE(stream.bitCountWrapped());
    for (int i = 0; i < 300; ++i) {
        ASSERT_LE(stream.golombGetQ(), 32u);
        ASSERT_FALSE(stream.endOfData());
    }
}

TYPED_TEST(CoeffVLCStreamTest, Run3GivesTheResultsAndTheStateOfThreeRuns) {
    Random random = seeded(2203);
    for (int round = 0; round < 300; ++round) {
        std::array<GuardedBytes, 3> held;
        std::vector<typename TestFixture::Stream> together;
        std::vector<typename TestFixture::Stream> apart;
        for (GuardedBytes& range : held) {
            std::vector<std::uint8_t> bytes(1 + randomBelow(random, 30));
            for (std::uint8_t& byte : bytes)
                byte = static_cast<std::uint8_t>(random() & random());
            range.hold(bytes);
            together.emplace_back(range.bits(), bytes.size());
            apart.emplace_back(range.bits(), bytes.size());
        }
        for (int i = 0; i < 8; ++i) {
            unsigned int second = 0;
            unsigned int third = 0;
            const unsigned int first = together[0].run3(together[1], second, together[2], third);
            ASSERT_EQ(first, apart[0].run());
            ASSERT_EQ(second, apart[1].run());
            ASSERT_EQ(third, apart[2].run());
            for (std::size_t s = 0; s < 3; ++s) {
                ASSERT_EQ(together[s].m_previousRun, apart[s].m_previousRun);
                ASSERT_EQ(together[s].invalidCode(), apart[s].invalidCode());
            }
        }
    }
}

TYPED_TEST(CoeffVLCStreamTest, Run3FailsEachStreamByThePrefixLimitOfItsOwn) {
    SymbolWriter valid;
    valid.run(6);
    valid.zeros(32);
    const std::vector<std::uint8_t> zeros(12, 0);
    GuardedBytes heldValid(valid.bytes());
    GuardedBytes heldZeros(zeros);
    typename TestFixture::Stream first(heldValid.bits());
    typename TestFixture::Stream second(heldZeros.bits());
    typename TestFixture::Stream third(heldValid.bits());
    unsigned int secondRun = 0;
    unsigned int thirdRun = 0;
    EXPECT_EQ(first.run3(second, secondRun, third, thirdRun), 6u);
    EXPECT_EQ(secondRun, 0xFFFFFFFFu);
    EXPECT_EQ(thirdRun, 6u);
    EXPECT_FALSE(first.invalidCode());
    EXPECT_TRUE(second.invalidCode());
    EXPECT_FALSE(third.invalidCode());
}

TYPED_TEST(CoeffVLCStreamTest, GolombCombinationCode3GivesThreeSingleCodesInEveryMixOfRanges) {
    Random random = seeded(2204);
    for (int round = 0; round < 2000; ++round) {
        std::array<GuardedBytes, 3> held;
        GolombCombinationCodeParams params[3];
        std::vector<typename TestFixture::Stream> streams;
        std::uint32_t values[3];
        for (int s = 0; s < 3; ++s) {
            TestCodebook const& book =
                randomBelow(random, 2) == 0 ? kRunBooks[randomBelow(random, 16)] : kDcBooks[randomBelow(random, 4)];
            params[s] = {book.lastRiceQ, book.riceBits, book.expGolombBits};
            values[s] = randomBelow(random, 1u << randomBelow(random, 12));
            SymbolWriter writer;
            writer.code(book, values[s]);
            writer.bits(1, 1);
            writer.zeros(randomBelow(random, 64));
            held[static_cast<std::size_t>(s)].hold(writer.bytes());
            streams.emplace_back(held[static_cast<std::size_t>(s)].bits(), writer.bytes().size());
        }
        unsigned int second = 0;
        unsigned int third = 0;
        ASSERT_EQ(streams[0].golombCombinationCode3(streams[1], streams[2], &params[0], &params[1], &params[2], second,
                                                    third),
                  values[0]);
        ASSERT_EQ(second, values[1]);
        ASSERT_EQ(third, values[2]);
        for (auto& stream : streams)
            ASSERT_EQ(stream.sign(), 1u);
    }
}

TYPED_TEST(CoeffVLCStreamTest, GolombCombinationCode3HasNoLimitOnThePrefixAndSetsNoFlag) {
    SymbolWriter writer;
    writer.prefix(31);
    writer.bits(0, 31);
    writer.zeros(64);
    GuardedBytes held(writer.bytes());
    typename TestFixture::Stream first(held.bits());
    typename TestFixture::Stream second(held.bits());
    typename TestFixture::Stream third(held.bits());
    unsigned int valueOfSecond = 0;
    unsigned int valueOfThird = 0;
    const GolombCombinationCodeParams* book = &TestFixture::Stream::runCodebook[4];
    EXPECT_EQ(first.golombCombinationCode3(second, third, book, book, book, valueOfSecond, valueOfThird),
              valueOf(kRunBooks[4], 31, 0));
    EXPECT_EQ(valueOfSecond, valueOf(kRunBooks[4], 31, 0));
    EXPECT_EQ(valueOfThird, valueOf(kRunBooks[4], 31, 0));
    EXPECT_FALSE(first.invalidCode() || second.invalidCode() || third.invalidCode());
}
