#include "ComponentCoding.h"

#include <algorithm>
#include <bit>
#include <string>

#include <gtest/gtest.h>

#include "CoefficientScan.h"
#include "NaiveReader.h"
#include "Random.h"
#include "Targets.h"
#include "TestPictures.h"

namespace {

using Coefficients = std::vector<std::int16_t>;

std::vector<std::uint8_t> codedBlocks(Coefficients const& blockOrder) {
    return codedComponent(streamOrderOf(blockOrder), static_cast<std::uint32_t>(blockOrder.size() / 64));
}

template <OptimizationTarget target>
bool scan(std::vector<std::uint8_t> const& range, Coefficients& streamOrder) {
    const std::size_t numValues = streamOrder.size();
    ComponentScan componentScan;
    componentScan.range = {range.data(), range.size()};
    streamOrder.resize(numValues + kScanPadding);
    componentScan.coefficients = streamOrder.data();
    componentScan.numBlocks = static_cast<std::uint32_t>(numValues / 64);
    componentScan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(componentScan.numBlocks));
    scanComponents<target>(&componentScan, 1);
    streamOrder.resize(numValues);
    return componentScan.succeeded;
}

// What the decoder's own scan makes of a range, in stream order.
Coefficients scanned(std::vector<std::uint8_t> const& range, std::size_t numValues, OptimizationTarget target) {
    Coefficients streamOrder(numValues, 0x5A5A);
    bool succeeded = false;
#define RAVELO_SCAN_IF_CHOSEN(which)                                                                                   \
    if (target == (which))                                                                                             \
        succeeded = scan<which>(range, streamOrder);
    RAVELO_FOR_EACH_TARGET(RAVELO_SCAN_IF_CHOSEN)
    EXPECT_TRUE(succeeded);
    return streamOrder;
}

void expectReadsBack(Coefficients const& blockOrder, std::string const& what) {
    const std::uint32_t numBlocks = static_cast<std::uint32_t>(blockOrder.size() / 64);
    const std::vector<std::uint8_t> range = codedBlocks(blockOrder);
    const NaiveComponent naive = readComponent(range, numBlocks);
    EXPECT_EQ(naive.coefficients, blockOrder) << what;
    EXPECT_LT(naive.tailBits, 8u) << what;
    EXPECT_EQ(codedComponentSize(streamOrderOf(blockOrder), numBlocks), range.size()) << what;
    for (const OptimizationTarget target : runnableTargets())
        EXPECT_EQ(scanned(range, blockOrder.size(), target), streamOrderOf(blockOrder)) << what;
}

Coefficients randomCoefficients(Random& random, std::uint32_t numBlocks, std::uint32_t magnitude, std::uint32_t oneIn) {
    Coefficients coefficients(std::size_t{numBlocks} * 64);
    for (std::int16_t& value : coefficients)
        if (randomBelow(random, oneIn) == 0)
            value = static_cast<std::int16_t>(static_cast<int>(randomBelow(random, 2 * magnitude + 1)) -
                                              static_cast<int>(magnitude));
    return coefficients;
}

} // namespace

TEST(ComponentCodingTest, AComponentOfZerosIsItsDcsAlone) {
    // The first DC takes six bits, the first difference four, the second and third one each, with four blocks.
    const std::vector<std::uint8_t> range = codedBlocks(Coefficients(4 * 64));
    EXPECT_EQ(bitsOf(range), "1000001000110000");
}

TEST(ComponentCodingTest, PositionsRunFrequencyByFrequencyOverAllBlocks) {
    Coefficients coefficients(4 * 64);
    coefficients[0 * 64 + 1] = 1;
    coefficients[3 * 64 + 1] = -1;
    coefficients[1 * 64 + 2] = 2;
    coefficients[3 * 64 + 3] = 1;
    // Twelve bits of DCs, then run, level and sign of positions 4, 7, 9 and 15, so runs of 0, 2, 1 and 5.
    const std::string expected = std::string("100000100011") + "110" + "00111" + "01010" + "000010010" + "000000";
    EXPECT_EQ(bitsOf(codedBlocks(coefficients)), expected);
    expectReadsBack(coefficients, "four coefficients");
}

TEST(ComponentCodingTest, TheLastPositionIsCoded) {
    for (const std::uint32_t numBlocks : {2u, 4u, 8u, 16u, 32u}) {
        Coefficients coefficients(std::size_t{numBlocks} * 64);
        coefficients.back() = -7;
        expectReadsBack(coefficients, "last position of " + std::to_string(numBlocks));
    }
}

TEST(ComponentCodingTest, ExtremeLevelsReadBack) {
    Coefficients coefficients(2 * 64);
    const std::int16_t values[] = {32767, -32768, 1, -1, -32767, 32766, 0, -32768};
    for (std::size_t i = 0; i < coefficients.size(); ++i)
        coefficients[i] = values[i % 8];
    expectReadsBack(coefficients, "extremes");
}

TEST(ComponentCodingTest, DcsThatJumpOverTheWholeRangeReadBack) {
    Coefficients coefficients(32 * 64);
    for (std::size_t block = 0; block < 32; ++block)
        coefficients[block * 64] = block % 2 == 0 ? std::int16_t{32767} : std::int16_t{-32768};
    expectReadsBack(coefficients, "alternating DCs");
}

TEST(ComponentCodingTest, RandomComponentsOfEveryTextureReadBack) {
    Random random = seeded(201);
    for (int i = 0; i < 600; ++i) {
        const std::uint32_t numBlocks = 2u << randomBelow(random, 5);
        const std::uint32_t magnitudes[] = {1, 2, 9, 300, 32767};
        const std::uint32_t magnitude = magnitudes[randomBelow(random, 5)];
        const std::uint32_t spacings[] = {1, 2, 7, 60, 1000};
        const std::uint32_t oneIn = spacings[randomBelow(random, 5)];
        expectReadsBack(randomCoefficients(random, numBlocks, magnitude, oneIn),
                        "case " + std::to_string(i) + ": " + std::to_string(numBlocks) + " blocks, magnitude " +
                            std::to_string(magnitude) + ", one in " + std::to_string(oneIn));
    }
}

TEST(ComponentCodingTest, StreamOrderPutsTheSameFrequencyOfAllBlocksSideBySide) {
    Coefficients coefficients(2 * 64);
    for (std::size_t i = 0; i < coefficients.size(); ++i)
        coefficients[i] = static_cast<std::int16_t>(i);
    const Coefficients streamOrder = streamOrderOf(coefficients);
    EXPECT_EQ(streamOrder[0], 0);
    EXPECT_EQ(streamOrder[1], 64);
    EXPECT_EQ(streamOrder[2], 1);
    EXPECT_EQ(streamOrder[127], 127);
}
