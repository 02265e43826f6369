#include "SymbolTables.h"

#include <cstdint>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "CoeffVLCStream.h"

// The tables hold what the stream reads, symbol by symbol.

namespace {

constexpr OptimizationTarget kTarget = OptimizationTarget::Baseline;

// The stream with its adaptive state in reach.
class TableStream : public CoeffVLCStream<kTarget> {
public:
    explicit TableStream(std::vector<std::uint8_t> const& bytes)
        : CoeffVLCStream<kTarget>({bytes.data(), bytes.size()}, bytes.size()) {}
    std::uint64_t numBitsLeft() const { return m_bitCount + 8 * m_bitstream.size; }

    using CoeffVLCStream<kTarget>::m_previousRun;
    using CoeffVLCStream<kTarget>::m_previousLevelSymbol;
};

// The top `numBits` of a number, then bits of a filler.
std::vector<std::uint8_t> bytesOf(std::uint64_t bits, unsigned int numBits, std::uint8_t filler) {
    const std::uint64_t fill = 0x0101010101010101u * filler;
    const std::uint64_t word = numBits == 0 ? fill : (bits << (64 - numBits)) | (fill >> numBits);
    std::vector<std::uint8_t> bytes(24, filler);
    for (unsigned int i = 0; i < 8; ++i)
        bytes[i] = static_cast<std::uint8_t>(word >> (56 - 8 * i));
    return bytes;
}

struct Pair {
    std::uint32_t length; // bits
    std::uint32_t run;
    std::uint32_t levelSymbol;
    std::int32_t level;
};

// The next pair, if it ends within `numBits`.
std::optional<Pair> readPair(TableStream& stream, std::uint64_t numBits) {
    const std::uint64_t before = stream.numBitsLeft();
    Pair pair{};
    pair.run = stream.run();
    pair.levelSymbol = static_cast<std::uint32_t>(stream.abs_level_minus_1());
    const auto magnitude = static_cast<std::int32_t>(pair.levelSymbol + 1);
    pair.level = stream.sign() != 0 ? -magnitude : magnitude;
    const std::uint64_t length = before - stream.numBitsLeft();
    if (length > numBits || stream.invalidCode())
        return std::nullopt;
    pair.length = static_cast<std::uint32_t>(length);
    return pair;
}

std::uint64_t entryOf(std::optional<Pair> const& first, std::optional<Pair> const& second) {
    using Tables = SymbolTables;
    if (!first)
        return 0;
    Pair const& last = second ? *second : *first;
    const std::uint32_t secondRun = second ? second->run + 1 : 0;
    const auto level16 = [](Pair const& pair) { return std::uint64_t{static_cast<std::uint16_t>(pair.level)}; };
    return (first->length + (second ? second->length : 0)) |
           std::uint64_t{first->run + 1 + secondRun} << Tables::kAdvanceShift |
           symbolTables().stateOffset(last.run, last.levelSymbol) |
           std::uint64_t{first->run + 1} << Tables::kFirstRunShift |
           std::uint64_t{secondRun} << Tables::kSecondRunShift | level16(*first) << Tables::kFirstLevelShift |
           level16(last) << Tables::kSecondLevelShift;
}

// Compares the entries of a book with the codes that a stream reads, for every prefix that it takes.
void expectPrefixes(GolombCombinationCodeParams const& params,
                    SymbolTables::PrefixEntry const (&entries)[SymbolTables::kNumPrefixes]) {
    for (std::uint32_t q = 0; q < 16; ++q) {
        for (const std::uint8_t filler : {0x00, 0xFF, 0xA5, 0x3C}) {
            const std::vector<std::uint8_t> bytes = bytesOf(1, q + 1, filler);
            TableStream stream(bytes);
            const std::uint64_t before = stream.numBitsLeft();
            const std::uint32_t value = stream.golombCombinationCode(&params);
            const std::uint64_t length = before - stream.numBitsLeft();
            if (stream.invalidCode())
                continue;
            SymbolTables::PrefixEntry const& entry = entries[q];
            if (length > SymbolTables::kMaxCodeBits) {
                ASSERT_EQ(entry.length, 0u) << q;
                continue;
            }
            ASSERT_EQ(entry.length, length) << q;
            std::uint64_t word = 0;
            for (int i = 0; i < 8; ++i)
                word = word << 8 | bytes[static_cast<std::size_t>(i)];
            ASSERT_EQ(static_cast<std::uint32_t>(word >> (64 - length)) + entry.offset, value) << q;
        }
    }
}

} // namespace

TEST(SymbolTablesTest, EveryPrefixOfEveryBookGivesTheLengthAndTheValueOfItsCodes) {
    using Stream = CoeffVLCStream<kTarget>;
    SymbolTables const& tables = symbolTables();
    expectPrefixes(Stream::s_firstDCParams, tables.firstDc);
    for (unsigned int i = 0; i < 4; ++i)
        expectPrefixes(Stream::dcSymbolCodebook[i], tables.dc[i]);
    for (unsigned int run = 0; run < 16; ++run)
        expectPrefixes(Stream::runCodebook[run], tables.run[tables.runClass[run]]);
    for (unsigned int level = 0; level < 9; ++level)
        expectPrefixes(Stream::levelSymbolCodebook[level], tables.level[tables.levelClass[level]]);
}

TEST(SymbolTablesTest, EveryClassIsNamedByOneOfItsRunsAndLevels) {
    SymbolTables const& tables = symbolTables();
    for (unsigned int i = 0; i < SymbolTables::kNumRunClasses; ++i)
        EXPECT_EQ(tables.runClass[tables.runOfClass[i]], i);
    for (unsigned int i = 0; i < SymbolTables::kNumLevelClasses; ++i)
        EXPECT_EQ(tables.levelClass[tables.levelOfClass[i]], i);
}

TEST(SymbolTablesTest, EveryEntryHoldsThePairsThatTheStreamReadsInItsState) {
    SymbolTables const& tables = symbolTables();
    std::uint64_t numWithTwo = 0;
    for (unsigned int state = 0; state < SymbolTables::kNumStates; ++state) {
        for (std::uint32_t window = 0; window < 1u << SymbolTables::kWindowBits; ++window) {
            for (const std::uint8_t filler : {0x00, 0xFF}) {
                const std::vector<std::uint8_t> bytes = bytesOf(window, SymbolTables::kWindowBits, filler);
                TableStream stream(bytes);
                stream.m_previousRun = tables.runOfClass[state / SymbolTables::kNumLevelClasses];
                stream.m_previousLevelSymbol = tables.levelOfClass[state % SymbolTables::kNumLevelClasses];
                const std::optional<Pair> first = readPair(stream, SymbolTables::kWindowBits);
                std::optional<Pair> second;
                if (first)
                    second = readPair(stream, SymbolTables::kWindowBits - first->length);
                if (second && first->run + second->run + 2 > SymbolTables::kMaxAdvance)
                    second.reset();
                numWithTwo += second ? 1 : 0;
                ASSERT_EQ(tables.pairs[(state << SymbolTables::kWindowBits) + window], entryOf(first, second))
                    << "state " << state << ", window " << window;
            }
        }
    }
    EXPECT_GT(numWithTwo, 0u);
}
