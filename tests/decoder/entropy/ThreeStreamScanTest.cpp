#include <array>
#include <bit>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderAccess.h"
#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"
#include "SymbolWriter.h"

namespace {

// Y, Cb and Cr back to back, as the scan wants them, with a guard of known values around them.
struct Arrays {
    static constexpr std::size_t kGuard = 512;

    Arrays(std::uint32_t yBlocks, std::uint32_t chromaBlocks)
        : values(2 * kGuard + 64 * (yBlocks + 2 * chromaBlocks), 0x1234),
          yValues(64 * yBlocks),
          chromaValues(64 * chromaBlocks) {}

    std::int16_t* component(int i) {
        return values.data() + kGuard + (i == 0 ? 0 : yValues) + (i == 2 ? chromaValues : 0);
    }
    std::vector<std::int16_t> valuesOf(int i) {
        return {component(i), component(i) + (i == 0 ? yValues : chromaValues)};
    }
    bool guardsHold() const {
        for (std::size_t i = 0; i < kGuard; ++i) {
            if (values[i] != 0x1234 || values[values.size() - 1 - i] != 0x1234)
                return false;
        }
        return true;
    }

    std::vector<std::int16_t> values;
    std::size_t yValues;
    std::size_t chromaValues;
};

template <class On>
class ThreeStreamScanTest : public TargetTest<On> {
protected:
    using Ranges = std::array<std::vector<std::uint8_t>, 3>;

    // Scans the three ranges, which follow each other without a gap.
    Arrays scanned(Ranges const& ranges, std::uint32_t yBlocks, std::uint32_t chromaBlocks) {
        std::vector<std::uint8_t> all;
        for (auto const& range : ranges)
            all.insert(all.end(), range.begin(), range.end());
        Arrays arrays(yBlocks, chromaBlocks);
        ThreeRanges request;
        Bitstream cursor = m_held.hold(all);
        for (int i = 0; i < 3; ++i) {
            request.bits[i] = cursor;
            request.sizes[i] = ranges[static_cast<std::size_t>(i)].size();
            cursor.advance(request.sizes[i]);
            request.coefficients[i] = arrays.component(i);
            request.numBlocks[i] = i == 0 ? yBlocks : chromaBlocks;
            request.log2NumBlocks[i] = static_cast<std::uint32_t>(std::countr_zero(request.numBlocks[i]));
        }
        scanThreeStreams<On::target>(request);
        EXPECT_TRUE(arrays.guardsHold());
        return arrays;
    }

    // The same range alone, through the single scan into block order.
    std::vector<std::int16_t> single(std::vector<std::uint8_t> const& range, std::uint32_t numBlocks, bool& succeeded) {
        GuardedBytes held(range);
        std::vector<std::int16_t> values(64 * numBlocks);
        ComponentScan scan;
        scan.range = held.bits();
        scan.coefficients = values.data();
        scan.numBlocks = numBlocks;
        scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
        succeeded = scanComponentIntoBlocks<On::target>(scan);
        return values;
    }

    GuardedBytes m_held;
};

TYPED_TEST_SUITE(ThreeStreamScanTest, BothTargets, TargetNames);

std::vector<std::uint8_t> randomComponent(Random& random, std::uint32_t numBlocks) {
    std::vector<std::int16_t> coefficients(64 * numBlocks);
    const std::uint32_t density = 1 + randomBelow(random, 30);
    const std::uint32_t range = 1 + randomBelow(random, 4000);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        if (i % 64 == 0 || randomBelow(random, density) == 0)
            coefficients[i] =
                static_cast<std::int16_t>(static_cast<int>(randomBelow(random, 2 * range)) - static_cast<int>(range));
    }
    return encodedComponent(coefficients);
}

std::vector<std::uint8_t> randomBytes(Random& random) {
    std::vector<std::uint8_t> bytes(randomBelow(random, 120));
    const bool sparse = randomBelow(random, 2) == 0;
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(sparse ? random() & random() & random() : random());
    return bytes;
}

} // namespace

TYPED_TEST(ThreeStreamScanTest, ValidDataGivesTheResultsOfThreeSingleScans) {
    Random random = seeded(2401);
    for (int round = 0; round < 300; ++round) {
        const std::uint32_t yBlocks = 4u << randomBelow(random, 4);
        const std::uint32_t chromaBlocks = yBlocks >> randomBelow(random, 2);
        typename TestFixture::Ranges ranges;
        for (std::size_t i = 0; i < 3; ++i)
            ranges[i] = randomComponent(random, i == 0 ? yBlocks : chromaBlocks);
        Arrays arrays = this->scanned(ranges, yBlocks, chromaBlocks);
        for (int i = 0; i < 3; ++i) {
            bool succeeded = false;
            const auto expected =
                this->single(ranges[static_cast<std::size_t>(i)], i == 0 ? yBlocks : chromaBlocks, succeeded);
            ASSERT_TRUE(succeeded);
            ASSERT_EQ(arrays.valuesOf(i), expected) << "component " << i;
        }
    }
}

TYPED_TEST(ThreeStreamScanTest, OneChromaBlockLeavesTheOtherLumaDcsToLumaAlone) {
    SymbolWriter y;
    y.firstDc(10);
    y.dcDifference(5);
    y.dcDifference(-3);
    y.dcDifference(1);
    y.triple(2, 44);
    SymbolWriter chroma;
    chroma.firstDc(-8);
    chroma.triple(6, -2);
    Arrays arrays = this->scanned({y.bytes(), chroma.bytes(), chroma.bytes()}, 4, 1);
    EXPECT_EQ(arrays.component(0)[0], 10);
    EXPECT_EQ(arrays.component(0)[64], 15);
    EXPECT_EQ(arrays.component(0)[128], 12);
    EXPECT_EQ(arrays.component(0)[192], 13);
    EXPECT_EQ(arrays.component(0)[2 * 64 + 1], 44);
    for (int i = 1; i < 3; ++i) {
        EXPECT_EQ(arrays.component(i)[0], -8);
        EXPECT_EQ(arrays.component(i)[7], -2);
    }
}

TYPED_TEST(ThreeStreamScanTest, AsManyChromaAsLumaBlocksAreReadSideBySideToTheLast) {
    SymbolWriter writer;
    writer.firstDc(1);
    for (int block = 1; block < 8; ++block)
        writer.dcDifference(block);
    Arrays arrays = this->scanned({writer.bytes(), writer.bytes(), writer.bytes()}, 8, 8);
    for (int i = 0; i < 3; ++i) {
        int sum = 1;
        for (int block = 0; block < 8; ++block) {
            sum += block;
            EXPECT_EQ(arrays.component(i)[64 * block], sum);
        }
    }
}

TYPED_TEST(ThreeStreamScanTest, AnEmptyChromaRangeGivesZerosAndReportsNothing) {
    SymbolWriter y;
    y.firstDc(7);
    y.dcDifference(1);
    y.dcDifference(1);
    y.dcDifference(1);
    y.triple(0, 3);
    SymbolWriter cr;
    cr.firstDc(-5);
    cr.dcDifference(2);
    Arrays arrays = this->scanned({y.bytes(), {}, cr.bytes()}, 4, 2);
    EXPECT_EQ(arrays.component(0)[1], 3);
    EXPECT_EQ(arrays.valuesOf(1), std::vector<std::int16_t>(128, 0));
    EXPECT_EQ(arrays.component(2)[0], -5);
    EXPECT_EQ(arrays.component(2)[64], -3);
}

TYPED_TEST(ThreeStreamScanTest, APositionAfterTheLastIsDroppedAndTheScanGoesOn) {
    SymbolWriter y;
    y.firstDc(1);
    y.dcDifference(1);
    y.triple(125, 9); // the last position
    y.triple(0, 8);   // after it
    y.triple(3, 7);
    SymbolWriter chroma;
    chroma.firstDc(2);
    chroma.dcDifference(0);
    Arrays arrays = this->scanned({y.bytes(), chroma.bytes(), chroma.bytes()}, 2, 2);
    EXPECT_EQ(arrays.component(0)[64 + 63], 9);
    EXPECT_EQ(arrays.component(1)[0], 2);
    EXPECT_EQ(arrays.component(1)[64], 2);
    EXPECT_EQ(arrays.component(2)[64], 2);
}

TYPED_TEST(ThreeStreamScanTest, AFailingRunPutsItsValueIntoTheBlockBefore) {
    SymbolWriter y;
    y.firstDc(0);
    y.dcDifference(0);
    y.triple(1, 20); // position 3: block 1, scan index 1
    // Baseline takes 31 zeros for the failing code. The level that follows is read in the last book, and in the first
    // after a symbol of 3; the signs are negative.
    y.zeros(31);
    y.bits(0b1'11'1, 4);
    SymbolWriter chroma;
    chroma.firstDc(0);
    chroma.dcDifference(0);
    Arrays arrays = this->scanned({y.bytes(), chroma.bytes(), chroma.bytes()}, 2, 2);
    // The position steps back by one and the value goes to scan index 1 of block 1, where 20 was. AVX2 takes nothing
    // for the run, so the level fails at the same zeros and its value is 0.
    EXPECT_EQ(arrays.component(0)[65], this->isAvx2 ? 0 : -4);
}

TYPED_TEST(ThreeStreamScanTest, DamagedDataEndsAndStaysInsideTheArrays) {
    Random random = seeded(2402);
    for (int round = 0; round < 6000; ++round) {
        const std::uint32_t yBlocks = 1u << randomBelow(random, 6);
        const std::uint32_t chromaBlocks = std::max(1u, yBlocks >> randomBelow(random, 3));
        typename TestFixture::Ranges ranges = {randomBytes(random), randomBytes(random), randomBytes(random)};
        this->scanned(ranges, yBlocks, chromaBlocks);
        ASSERT_FALSE(testing::Test::HasFailure()) << round;
    }
}

TYPED_TEST(ThreeStreamScanTest, AWrappedBitCountEndsTheComponent) {
    // The suffix of a run asks for more than the last partial word holds, with bits that remain.
    for (std::uint32_t filler = 0; filler < 70; ++filler) {
        SymbolWriter y;
        y.firstDc(0);
        y.dcDifference(0);
        for (std::uint32_t i = 0; i < filler; ++i)
            y.triple(0, 1);
        y.prefix(28);
        std::vector<std::uint8_t> bytes = y.bytes();
        bytes.push_back(0xFF);
        SymbolWriter chroma;
        chroma.firstDc(3);
        chroma.dcDifference(0);
        Arrays arrays = this->scanned({bytes, chroma.bytes(), chroma.bytes()}, 2, 2);
        EXPECT_EQ(arrays.component(2)[64], 3);
    }
}

TYPED_TEST(ThreeStreamScanTest, AWholeBlockOfValuesIsClearedFirst) {
    SymbolWriter writer;
    writer.firstDc(0);
    for (int block = 1; block < 4; ++block)
        writer.dcDifference(0);
    Arrays arrays = this->scanned({writer.bytes(), writer.bytes(), writer.bytes()}, 4, 4);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(arrays.valuesOf(i), std::vector<std::int16_t>(256, 0));
}
