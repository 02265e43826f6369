#include "LaneScan.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoeffVLCStream_Impl.h"
#include "EmulatedLaneScan.h"
#include "GuardedBytes.h"
#include "LaneSupport.h"
#include "RandomComponents.h"
#include "RaveloDecoderInterface.h"
#include "SymbolWriter.h"

// The scan in lanes against the definition: with emulated instructions on every processor that has AVX2, and with the
// real ones where there are.

namespace {

struct LaneForm {
    const char* name;
    LaneScanFunction* scan;
    bool isReal;
};

constexpr LaneForm kLaneForms[] = {
    {"emulated_scattering", emulatedScanInLanesScattering, false},
    {"emulated_storing_singly", emulatedScanInLanesStoringSingly, false},
    {"scattering", scanInLanesScattering, true},
    {"storing_singly", scanInLanesStoringSingly, true},
};

// A reader of the definition that says where it is.
class PlacedStream : public CoeffVLCStream<OptimizationTarget::AVX2> {
public:
    explicit PlacedStream(Bitstream const& range) : CoeffVLCStream(range, range.size), m_size(range.size) {}
    std::uint64_t bitPosition() const { return 8 * (m_size - m_bitstream.size) - m_bitCount; }

private:
    std::uint64_t m_size;
};

struct ReachedState {
    std::uint64_t bitPosition;
    std::uint32_t position;
};

// Whether the definition comes past a state, with the books that the state names. Before its DCs no scan hands over.
bool comesPast(ComponentScan const& scan, ReachedState const& state, CoeffVLCState const& symbols) {
    PlacedStream stream(scan.range);
    stream.first_dc_coeff();
    for (std::uint32_t block = 1; block < scan.numBlocks; ++block)
        stream.dc_coeff_difference();
    std::uint32_t position = scan.numBlocks;
    std::uint32_t run = CoeffVLCState::kInitialPreviousRun;
    int level = CoeffVLCState::kInitialPreviousLevelSymbol;
    while (stream.bitPosition() < state.bitPosition && !stream.endOfData() && !stream.invalidCode()) {
        run = stream.run();
        level = stream.abs_level_minus_1();
        stream.sign();
        position += run + 1;
    }
    const auto sameBook = [](GolombCombinationCodeParams const& a, GolombCombinationCodeParams const& b) {
        return a.lastRiceQ == b.lastRiceQ && a.riceBits == b.riceBits && a.expGolombBits == b.expGolombBits;
    };
    using Codes = CoeffVLCStream<OptimizationTarget::AVX2>;
    return stream.bitPosition() == state.bitPosition && position == state.position &&
           sameBook(Codes::runCodebook[std::min(run, 15u)], Codes::runCodebook[std::min(symbols.previousRun, 15u)]) &&
           sameBook(Codes::levelSymbolCodebook[std::min(level, 8)],
                    Codes::levelSymbolCodebook[std::min(symbols.previousLevelSymbol, 8)]);
}

// What the lanes leave to the definition.
int numWholeComponents = 0;
int numPairsFrom = 0;

bool scanWhole(ComponentScan const& scan) {
    ++numWholeComponents;
    return scanComponentPlainly<OptimizationTarget::AVX2>(scan);
}

bool scanPairsFrom(ComponentScan const& scan, CoeffVLCState const& state, std::uint32_t position) {
    ++numPairsFrom;
    EXPECT_TRUE(comesPast(scan, {state.bitPosition, position}, state)) << position;
    return scanPairsPlainly<OptimizationTarget::AVX2>(scan, state, position);
}

struct LaneRange {
    std::vector<std::uint8_t> bytes;
    std::uint32_t numBlocks;
    std::uint32_t kept = 64;
};

// Components of one call, whose ranges follow each other in the data of a caller. After the last one are just the
// bytes that the lanes may load, and then unmapped memory.
class LaneComponents {
public:
    explicit LaneComponents(std::vector<LaneRange> const& ranges, Random& random) {
        std::vector<std::uint8_t> data;
        for (LaneRange const& range : ranges)
            data.insert(data.end(), range.bytes.begin(), range.bytes.end());
        for (std::uint64_t i = 0; i < kLaneOverread; ++i)
            data.push_back(static_cast<std::uint8_t>(random() | random()));
        Bitstream cursor = s_data.hold(data);
        std::size_t numValues = 0;
        for (LaneRange const& range : ranges)
            numValues += kGuard + range.numBlocks * range.kept + kScanPadding;
        m_values.reset(new std::int16_t[numValues]);
        std::fill_n(m_values.get(), numValues, kGuardValue);
        std::int16_t* values = m_values.get();
        for (LaneRange const& range : ranges) {
            ComponentScan scan;
            scan.range = {cursor.data, range.bytes.size()};
            cursor.advance(range.bytes.size());
            values += kGuard;
            scan.bytesAfterRange = cursor.size;
            scan.coefficients = values;
            scan.numBlocks = range.numBlocks;
            scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(range.numBlocks));
            scan.keptCoefficients = range.kept;
            scan.dcOnly = range.kept == 1;
            m_scans.push_back(scan);
            values += range.numBlocks * range.kept + kScanPadding;
        }
    }

    void scanInLanes(LaneForm const& form) {
        std::vector<ComponentScan*> scans;
        for (ComponentScan& scan : m_scans)
            scans.push_back(&scan);
        form.scan({scans.data(), static_cast<unsigned int>(scans.size()), scanWhole, scanPairsFrom});
    }

    ComponentScan const& scan(std::size_t i) const { return m_scans[i]; }
    std::size_t size() const { return m_scans.size(); }

    // Whether the values before each component, which follow the padding of another, are as they were.
    bool guardsHold() const {
        return std::all_of(m_scans.begin(), m_scans.end(), [](ComponentScan const& scan) {
            return std::all_of(scan.coefficients - kGuard, scan.coefficients,
                               [](std::int16_t value) { return value == kGuardValue; });
        });
    }

    // The plain scan's result and values of a component.
    std::pair<bool, std::vector<std::int16_t>> plain(std::size_t i) const {
        ComponentScan scan = m_scans[i];
        std::vector<std::int16_t> values(scan.numBlocks * scan.keptCoefficients);
        scan.coefficients = values.data();
        const bool succeeded = scanComponentPlainly<OptimizationTarget::AVX2>(scan);
        return {succeeded, values};
    }

private:
    static constexpr std::ptrdiff_t kGuard = 16;
    static constexpr std::int16_t kGuardValue = 0x5A5A;
    static GuardedBytes s_data;
    std::unique_ptr<std::int16_t[]> m_values;
    std::vector<ComponentScan> m_scans;
};

GuardedBytes LaneComponents::s_data;

class LaneScanTest : public testing::TestWithParam<LaneForm> {
protected:
    void SetUp() override {
        if (RaveloDecoderInterface::GetMaxOptType() == 0)
            GTEST_SKIP() << "This processor cannot run the AVX2 target.";
        if (GetParam().isReal && !canRunLanes(cpuidSnapshot()))
            GTEST_SKIP() << "This processor has no instructions for lanes.";
        numWholeComponents = 0;
        numPairsFrom = 0;
    }

    // Scans the components and holds each against the definition.
    void check(std::vector<LaneRange> const& ranges) {
        LaneComponents components(ranges, m_random);
        components.scanInLanes(GetParam());
        for (std::size_t i = 0; i < components.size(); ++i) {
            ComponentScan const& scan = components.scan(i);
            const auto [succeeded, values] = components.plain(i);
            ASSERT_EQ(scan.succeeded, succeeded)
                << "component " << i << " of " << components.size() << ", " << scan.numBlocks << " blocks, kept "
                << scan.keptCoefficients << ", " << scan.range.size << " bytes";
            ASSERT_TRUE(!succeeded || std::equal(values.begin(), values.end(), scan.coefficients))
                << "component " << i << ", " << scan.numBlocks << " blocks, kept " << scan.keptCoefficients;
            ++(succeeded ? m_succeeded : m_failed);
        }
        ASSERT_TRUE(components.guardsHold());
    }

    Random m_random = seeded(2310);
    int m_succeeded = 0;
    int m_failed = 0;
};

INSTANTIATE_TEST_SUITE_P(, LaneScanTest, testing::ValuesIn(kLaneForms),
                         [](auto const& form) { return std::string(form.param.name); });

} // namespace

namespace {

std::vector<LaneRange> randomLaneRanges(Random& random, std::uint32_t count) {
    const bool keepsAll = randomBelow(random, 3) != 0;
    const std::uint32_t contents = randomBelow(random, 3) == 0 ? 1 : kNumComponentContents;
    std::vector<LaneRange> ranges(count);
    for (LaneRange& range : ranges) {
        range.numBlocks = 2u << randomBelow(random, 5);
        range.kept = keepsAll ? 64u : 64u >> 2 * randomBelow(random, 4);
        range.bytes =
            randomRange(random, static_cast<ComponentContent>(randomBelow(random, contents)), range.numBlocks);
    }
    return ranges;
}

SymbolWriter withZeroDcs(std::uint32_t numBlocks) {
    SymbolWriter writer;
    writer.firstDc(0);
    for (std::uint32_t block = 1; block < numBlocks; ++block)
        writer.dcDifference(0);
    return writer;
}

// A range of some bytes of a component, with zeros after them where it is longer.
LaneRange resized(SymbolWriter const& writer, std::uint32_t numBlocks, std::size_t numBytes) {
    LaneRange range{writer.bytes(), numBlocks};
    range.bytes.resize(numBytes);
    return range;
}

} // namespace

TEST_P(LaneScanTest, AnyMixOfComponentsEqualsTheDefinition) {
    for (std::uint32_t round = 0; round < numRounds(500) && !HasFatalFailure(); ++round)
        check(randomLaneRanges(m_random, 1 + randomBelow(m_random, 60)));
    EXPECT_GT(m_succeeded, 500);
    EXPECT_GT(m_failed, 500);
    EXPECT_GT(numPairsFrom, 500);
}

TEST_P(LaneScanTest, ValidComponentsAreHardlyEverLeftToTheDefinition) {
    for (std::uint32_t round = 0; round < numRounds(100); ++round) {
        std::vector<LaneRange> ranges(45);
        for (LaneRange& range : ranges) {
            range.numBlocks = 2u << randomBelow(m_random, 5);
            range.bytes = validComponent(m_random, range.numBlocks).bytes();
        }
        check(ranges);
    }
    EXPECT_EQ(m_failed, 0);
    // Codes of more than 32 bits, which no photograph has: DCs that jump, and levels of sixteen bits.
    EXPECT_LT(numWholeComponents + numPairsFrom, m_succeeded / 4);
}

TEST_P(LaneScanTest, EveryTailOfZerosAndSingleOnesEqualsTheDefinition) {
    constexpr std::uint32_t kLongestTail = 90;
    for (std::uint32_t filler = 0; filler <= 40; ++filler) {
        SymbolWriter writer = withZeroDcs(2);
        for (std::uint32_t i = 0; i < filler; ++i)
            writer.triple(0, 1);
        const std::uint64_t symbolBits = writer.numBits();
        std::vector<LaneRange> ranges;
        for (std::uint64_t numBytes = (symbolBits + 7) / 8; 8 * numBytes < symbolBits + kLongestTail; ++numBytes) {
            ranges.push_back(resized(writer, 2, numBytes));
            for (std::uint64_t place = symbolBits; place < 8 * numBytes; ++place) {
                ranges.push_back(resized(writer, 2, numBytes));
                ranges.back().bytes[place / 8] |= static_cast<std::uint8_t>(0x80u >> place % 8);
            }
        }
        for (std::size_t first = 0; first < ranges.size(); first += kMaxLaneScans) {
            const std::size_t end = std::min(ranges.size(), first + kMaxLaneScans);
            check({ranges.begin() + static_cast<std::ptrdiff_t>(first),
                   ranges.begin() + static_cast<std::ptrdiff_t>(end)});
        }
        ASSERT_FALSE(HasFatalFailure()) << filler << " symbols";
    }
}

TEST_P(LaneScanTest, EveryTruncationOfAComponentEqualsTheDefinition) {
    for (const std::uint32_t kept : {64u, 16u, 4u, 1u}) {
        std::vector<std::uint8_t> bytes = validComponent(m_random, 8).bytes();
        bytes.resize(std::min<std::size_t>(bytes.size(), 500));
        while (!bytes.empty()) {
            std::vector<LaneRange> ranges;
            for (; ranges.size() < 40 && !bytes.empty(); bytes.pop_back())
                ranges.push_back({bytes, 8, kept});
            check(ranges);
            ASSERT_FALSE(HasFatalFailure()) << "kept " << kept;
        }
    }
}

TEST_P(LaneScanTest, EveryRunAndLevelReadsBackAfterEveryBook) {
    std::vector<LaneRange> ranges;
    for (std::uint32_t before = 0; before < 17; ++before) {
        for (std::uint32_t value = 0; value < 140; ++value) {
            SymbolWriter writer = withZeroDcs(32);
            writer.triple(before, static_cast<std::int32_t>(1 + before));
            writer.triple(value, -static_cast<std::int32_t>(1 + value * value));
            writer.triple(1, 2);
            ranges.push_back({writer.bytes(), 32});
            if (ranges.size() == 64) {
                check(ranges);
                ranges.clear();
            }
        }
    }
    EXPECT_EQ(m_failed, 0);
    EXPECT_EQ(numPairsFrom, 0);
}

TEST_P(LaneScanTest, EveryDcReadsBackAfterEveryBook) {
    for (const std::int32_t before : {0, 1, -1, 2, -2, 3, -3, 700}) {
        std::vector<LaneRange> ranges;
        for (std::int32_t value = -32767; value <= 32767; value += value > -300 && value < 300 ? 7 : 2111) {
            SymbolWriter writer;
            writer.firstDc(value);
            for (const std::int32_t difference : {before, value, -before, 1})
                writer.dcDifference(difference);
            for (int i = 5; i < 8; ++i)
                writer.dcDifference(0);
            ranges.push_back({writer.bytes(), 8, ranges.size() % 2 == 0 ? 64u : 1u});
            if (ranges.size() == kMaxLaneScans) {
                check(ranges);
                ranges.clear();
            }
        }
        check(ranges);
    }
    EXPECT_EQ(m_failed, 0);
}

TEST_P(LaneScanTest, PrefixesUpToTheLimitOfTheTargetEqualTheDefinition) {
    for (std::uint32_t filler = 0; filler < 12; ++filler) {
        std::vector<LaneRange> ranges;
        for (std::uint32_t zeros = 5; zeros <= 34; ++zeros) {
            for (int place = 0; place < 3; ++place) {
                SymbolWriter writer = place == 2 ? SymbolWriter() : withZeroDcs(2);
                for (std::uint32_t i = 0; i < filler && place < 2; ++i)
                    writer.triple(0, i % 2 == 0 ? 1 : 2);
                if (place == 1)
                    writer.run(0);
                writer.prefix(zeros);
                writer.bits(3, 40);
                writer.bits(0xFFFF, 16);
                ranges.push_back({writer.bytes(), 2});
            }
        }
        check(ranges);
    }
}

TEST_P(LaneScanTest, RunsToTheLastPositionSucceedAndFartherOnesFail) {
    for (std::uint32_t numBlocks = 2; numBlocks <= 32; numBlocks *= 2) {
        for (const std::uint32_t kept : {64u, 16u, 4u}) {
            std::vector<LaneRange> ranges;
            for (std::uint32_t symbols = 0; symbols < 18; ++symbols) {
                for (const std::uint32_t beyond : {0u, 1u, 2u, 40u, 5000u}) {
                    SymbolWriter writer = withZeroDcs(numBlocks);
                    for (std::uint32_t i = 0; i < symbols; ++i)
                        writer.triple(0, -2);
                    writer.triple(63 * numBlocks - symbols - 1 + beyond, 1);
                    ranges.push_back({writer.bytes(), numBlocks, kept});
                }
            }
            check(ranges);
        }
    }
    EXPECT_EQ(m_succeeded, 5 * 3 * 18);
}

TEST_P(LaneScanTest, NothingIsStoredAfterThePadding) {
    // The last component's memory ends where the allocation does, and others begin after the first one's.
    std::vector<LaneRange> ranges;
    for (std::uint32_t i = 0; i < 40; ++i) {
        SymbolWriter writer = withZeroDcs(2);
        for (std::uint32_t n = 0; n < i % 3; ++n)
            writer.triple(0, 3);
        // Runs as long as lanes take, so that a batch goes as far past the limit as it can.
        for (int n = 0; n < 40; ++n)
            writer.triple(n % 2 == 0 ? 62 : 61, 40);
        ranges.push_back({writer.bytes(), 2, i % 2 == 0 ? 64u : 4u});
    }
    LaneComponents components(ranges, m_random);
    components.scanInLanes(GetParam());
    for (std::size_t i = 0; i < components.size(); ++i)
        EXPECT_FALSE(components.scan(i).succeeded);
    EXPECT_TRUE(components.guardsHold());
}

TEST_P(LaneScanTest, OneComponentIsEnough) {
    for (std::uint32_t round = 0; round < numRounds(200); ++round)
        check(randomLaneRanges(m_random, 1));
}
