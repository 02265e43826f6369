#include "Slice422MacroblockWriter.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "Random.h"
#include "WriterHarness.h"

namespace {

template <class On>
class Slice422MacroblockWriterTest : public TargetTest<On> {
protected:
    static WriterCase make(std::uint32_t width, std::uint32_t height, std::uint32_t bitDepth = 8,
                           std::uint32_t downSampleFactor = 0) {
        WriterCase c;
        c.target = On::target;
        c.kind = WriterKind::C422;
        c.width = width;
        c.height = height;
        c.bitDepth = bitDepth;
        c.downSampleFactor = downSampleFactor;
        c.sliceMbs = (width + c.mbSize() - 1) / c.mbSize();
        return c;
    }
};

TYPED_TEST_SUITE(Slice422MacroblockWriterTest, BothTargets, TargetNames);

using Samples = std::vector<std::uint32_t>;

// Codes of 16 bits that tell component, block, row and column apart. A sample of code c at this depth is c / 128 - 256.
constexpr std::uint32_t codeOf(std::uint32_t component, std::uint32_t block, std::uint32_t row, std::uint32_t column) {
    return component << 12 | block << 8 | row << 4 | column;
}

MacroblockBlocks labelled() {
    MacroblockBlocks blocks;
    for (std::uint32_t block = 0; block < 4; ++block) {
        for (std::uint32_t row = 0; row < 8; ++row) {
            for (std::uint32_t column = 0; column < 8; ++column) {
                const auto sampleOf = [&](std::uint32_t component) {
                    return static_cast<float>(codeOf(component, block, row, column)) / 128.0f - 256.0f;
                };
                blocks.y[block][row][column] = sampleOf(1);
                blocks.cb[block][row][column] = sampleOf(2);
                blocks.cr[block][row][column] = sampleOf(3);
            }
        }
    }
    return blocks;
}

// The same for reduced sizes, where samples are integers and codes have 8 bits: a sample of code c is 2c - 256.
MacroblockBlocks labelledBytes() {
    MacroblockBlocks blocks;
    for (std::uint32_t block = 0; block < 4; ++block) {
        for (std::uint32_t row = 0; row < 4; ++row) {
            for (std::uint32_t column = 0; column < 4; ++column) {
                const float code = static_cast<float>(block * 16 + row * 4 + column);
                blocks.y[block][row][column] = 2 * code - 256;
                blocks.cb[block][row][column] = 2 * (code + 64) - 256;
                blocks.cr[block][row][column] = 2 * (code + 128) - 256;
            }
        }
    }
    return blocks;
}

} // namespace

TYPED_TEST(Slice422MacroblockWriterTest, EverySampleOfAMacroblockHasItsPlace) {
    const WriterOutput output = written(this->make(16, 16, 16), labelled());
    for (std::uint32_t row = 0; row < 16; ++row) {
        for (std::uint32_t x = 0; x < 16; ++x) {
            const std::uint32_t lumaBlock = row / 8 * 2 + x / 8;
            const std::uint32_t chroma = x % 2 == 0 ? 2 : 3;
            ASSERT_EQ(output.at(row, 2 * x), codeOf(chroma, row / 8, row % 8, x / 2)) << row << " " << x;
            ASSERT_EQ(output.at(row, 2 * x + 1), codeOf(1, lumaBlock, row % 8, x % 8)) << row << " " << x;
        }
        EXPECT_TRUE(output.isUntouched(row, 32));
    }
    EXPECT_TRUE(output.isUntouched(16, 0));
}

TYPED_TEST(Slice422MacroblockWriterTest, MacroblocksStand32SamplesApart) {
    for (const std::uint32_t bitDepth : {8u, 16u}) {
        const WriterCase c = this->make(48, 16, bitDepth);
        const WriterOutput output = written(c, {MacroblockBlocks::flat(-256, 0, 0), MacroblockBlocks::flat(0, 0, 0),
                                                MacroblockBlocks::flat(300, 0, 0)});
        for (std::uint32_t mb = 0; mb < 3; ++mb) {
            const std::uint32_t maximum = bitDepth == 8 ? 255 : 65535;
            const std::uint32_t luma = mb == 0 ? 0 : mb == 1 ? (maximum + 1) / 2 : maximum;
            for (std::uint32_t x = 0; x < 16; ++x)
                ASSERT_EQ(output.at(15, 32 * mb + 2 * x + 1), luma);
        }
        EXPECT_TRUE(output.isUntouched(0, 96));
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, AWidthOf5EndsInCbAndYAndNothingAfter) {
    const WriterOutput output = written(this->make(5, 16, 16), labelled());
    for (std::uint32_t row = 0; row < 16; ++row) {
        EXPECT_EQ(output.at(row, 8), codeOf(2, row / 8, row % 8, 2));
        EXPECT_EQ(output.at(row, 9), codeOf(1, row / 8 * 2, row % 8, 4));
        EXPECT_TRUE(output.isUntouched(row, 10));
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, AWidthOf10TakesTheRightPairsChromaFromColumn4) {
    const WriterOutput output = written(this->make(10, 16, 16), labelled());
    EXPECT_EQ(output.samples(0, 16, 4),
              (Samples{codeOf(2, 0, 0, 4), codeOf(1, 1, 0, 0), codeOf(3, 0, 0, 4), codeOf(1, 1, 0, 1)}));
    EXPECT_EQ(output.samples(9, 16, 4),
              (Samples{codeOf(2, 1, 1, 4), codeOf(1, 3, 1, 0), codeOf(3, 1, 1, 4), codeOf(1, 3, 1, 1)}));
    EXPECT_TRUE(output.isUntouched(0, 20));
}

TYPED_TEST(Slice422MacroblockWriterTest, AHeightOf3WritesThreeRowsOfTheUpperBlocks) {
    const WriterOutput output = written(this->make(16, 3, 16), labelled());
    EXPECT_EQ(output.at(2, 1), codeOf(1, 0, 2, 0));
    EXPECT_EQ(output.at(2, 17), codeOf(1, 1, 2, 0));
    for (std::uint32_t x = 0; x < 32; ++x)
        EXPECT_TRUE(output.isUntouched(3, x));
}

TYPED_TEST(Slice422MacroblockWriterTest, EachDepthClampsAtItsOwnMaximum) {
    struct {
        std::uint32_t bitDepth, maximum;
    } const depths[] = {{8, 255}, {10, 1023}, {15, 32768}, {16, 65535}};
    for (auto const& depth : depths) {
        const WriterOutput high = written(this->make(15, 15, depth.bitDepth), MacroblockBlocks::flat(300, 256, 1e12f));
        const WriterOutput low =
            written(this->make(15, 15, depth.bitDepth), MacroblockBlocks::flat(-300, -256, -1e12f));
        for (std::uint32_t i = 0; i < 30; ++i) {
            EXPECT_EQ(high.at(14, i), depth.maximum) << i;
            EXPECT_EQ(low.at(14, i), 0u) << i;
        }
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, TenBitSamplesKeepTheirValueInTheLowBits) {
    const WriterOutput output = written(this->make(16, 16, 10), MacroblockBlocks::flat(-224, 255.5f, -256));
    EXPECT_EQ(output.samples(0, 0, 4), (Samples{1023, 64, 0, 64}));
}

TYPED_TEST(Slice422MacroblockWriterTest, TheColourCodingAndTheAlphaPlaneAreIgnored) {
    WriterCase c = this->make(13, 11, 8);
    const MacroblockBlocks blocks = MacroblockBlocks::flat(100, 50, -50);
    const auto expected = written(c, blocks).bytes();
    c.colorCoding = 2;
    EXPECT_EQ(written(c, blocks, std::vector<std::uint16_t>(256, 3)).bytes(), expected);
}

TYPED_TEST(Slice422MacroblockWriterTest, TheLastPixelOfAnOddRowHasTheCodesOfAllOthers) {
    Random random = seeded(4201);
    for (int round = 0; round < 200; ++round) {
        // On either side of the middle between two codes.
        const float code = static_cast<float>(randomBelow(random, 32768)) + 0.5f;
        const float sample = std::nextafter(code / 64.001953125f - 256.0f, randomBelow(random, 2) == 0 ? -1e9f : 1e9f);
        const MacroblockBlocks blocks = MacroblockBlocks::flat(sample, sample, sample);
        const std::uint32_t expected = written(this->make(16, 16, 15), blocks).at(0, 0);
        for (std::uint32_t width = 1; width <= 16; ++width) {
            const WriterOutput output = written(this->make(width, 16, 15), blocks);
            for (std::uint32_t i = 0; i < 2 * width; ++i)
                ASSERT_EQ(output.at(0, i), expected) << "width " << width << " sample " << i;
        }
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, HalfSizeBlocksHaveThePlacesOfFullSizeOnesHalved) {
    const WriterOutput output = written(this->make(8, 8, 8, 1), labelledBytes());
    for (std::uint32_t row = 0; row < 8; ++row) {
        for (std::uint32_t x = 0; x < 8; ++x) {
            const std::uint32_t chroma = (x % 2 == 0 ? 64 : 128) + row / 4 * 16 + row % 4 * 4 + x / 2;
            ASSERT_EQ(output.at(row, 2 * x), chroma);
            ASSERT_EQ(output.at(row, 2 * x + 1), (row / 4 * 2 + x / 4) * 16 + row % 4 * 4 + x % 4);
        }
        EXPECT_TRUE(output.isUntouched(row, 16));
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, QuarterSizeBlocksHaveThePlacesOfFullSizeOnesQuartered) {
    const WriterOutput output = written(this->make(4, 4, 8, 2), labelledBytes());
    for (std::uint32_t row = 0; row < 4; ++row) {
        for (std::uint32_t x = 0; x < 4; ++x) {
            const std::uint32_t chroma = (x % 2 == 0 ? 64 : 128) + row / 2 * 16 + row % 2 * 4 + x / 2;
            ASSERT_EQ(output.at(row, 2 * x), chroma);
            ASSERT_EQ(output.at(row, 2 * x + 1), (row / 2 * 2 + x / 2) * 16 + row % 2 * 4 + x % 2);
        }
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, ReducedMacroblocksStandAsFarApartAsTheyAreWide) {
    for (std::uint32_t factor = 1; factor <= 3; ++factor) {
        const std::uint32_t mbSize = 16u >> factor;
        const WriterOutput output = written(this->make(2 * mbSize, mbSize, 8, factor),
                                            {MacroblockBlocks::flat(-256, 0, 0), MacroblockBlocks::flat(300, 0, 0)});
        for (std::uint32_t x = 0; x < 2 * mbSize; ++x)
            EXPECT_EQ(output.at(0, 2 * x + 1), x < mbSize ? 0u : 255u);
        EXPECT_TRUE(output.isUntouched(0, 4 * mbSize));
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, EighthSizeShowsTheFirstBlocksCrInBothRows) {
    const WriterOutput output = written(this->make(2, 2, 8, 3), labelledBytes());
    EXPECT_EQ(output.samples(0, 0, 4), (Samples{64, 0, 128, 16}));
    EXPECT_EQ(output.samples(1, 0, 4), (Samples{64 + 16, 32, 128, 48}));
}

TYPED_TEST(Slice422MacroblockWriterTest, EighthSizeWritesItsFirstRowAlwaysAndItsSecondFromHeight2) {
    for (const std::uint32_t height : {0u, 1u, 2u}) {
        const WriterOutput output = written(this->make(2, height, 8, 3), labelledBytes());
        EXPECT_EQ(output.samples(0, 0, 4), (Samples{64, 0, 128, 16}));
        EXPECT_EQ(output.isUntouched(1, 0), height < 2);
        EXPECT_TRUE(output.isUntouched(2, 0));
    }
}

TYPED_TEST(Slice422MacroblockWriterTest, EighthSizeTakesNoAccountOfTheWidth) {
    WriterCase c = this->make(1, 2, 8, 3);
    const WriterOutput output = written(c, labelledBytes());
    EXPECT_EQ(output.samples(0, 0, 4), (Samples{64, 0, 128, 16}));
    EXPECT_TRUE(output.isUntouched(0, 4));
}

TYPED_TEST(Slice422MacroblockWriterTest, DeepReducedOutputWritesTheCornersOfFullSizeBlocks16PixelsApart) {
    const WriterOutput output = written(this->make(16, 8, 16, 1), {labelled(), labelled()});
    for (std::uint32_t mb = 0; mb < 2; ++mb) {
        EXPECT_EQ(output.at(0, 32 * mb + 1), codeOf(1, 0, 0, 0));
        EXPECT_EQ(output.at(0, 32 * mb + 7), codeOf(1, 0, 0, 3));
        EXPECT_EQ(output.at(0, 32 * mb + 9), codeOf(1, 1, 0, 0));
        EXPECT_EQ(output.at(4, 32 * mb + 1), codeOf(1, 2, 0, 0));
        EXPECT_EQ(output.at(0, 32 * mb + 8), codeOf(2, 0, 0, 4));
        EXPECT_TRUE(output.isUntouched(0, 32 * mb + 16));
    }
    EXPECT_TRUE(output.isUntouched(8, 0));
}

TYPED_TEST(Slice422MacroblockWriterTest, ANegativeStrideRunsTowardsLowerAddressesAndChangesNoLine) {
    WriterCase c = this->make(13, 14, 10);
    const WriterOutput down = written(c, labelled());
    c.upwards = true;
    const WriterOutput up = written(c, labelled());
    for (std::uint32_t row = 0; row < 14; ++row)
        EXPECT_EQ(up.samples(row, 0, 26), down.samples(row, 0, 26));
}

TYPED_TEST(Slice422MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtFullSize) {
    Random random = seeded(4202);
    checkEveryForm(TypeParam::target, WriterKind::C422, 0, random);
}

TYPED_TEST(Slice422MacroblockWriterTest, EveryFormWidthAndHeightEqualsTheModelAtReducedSizes) {
    Random random = seeded(4203);
    for (std::uint32_t factor = 1; factor <= 3; ++factor)
        checkEveryForm(TypeParam::target, WriterKind::C422, factor, random);
}

TYPED_TEST(Slice422MacroblockWriterTest, FullSizeIntegerBlocksGiveTheCodesOfFloatsButForDeepGroupsOnAvx2) {
    Random random = seeded(4204);
    checkIntegerBlocks(TypeParam::target, WriterKind::C422, random);
}
