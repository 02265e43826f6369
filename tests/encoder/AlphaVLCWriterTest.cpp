#include "AlphaVLCWriter.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "NaiveReader.h"
#include "Random.h"

namespace {

using Samples = std::vector<std::uint16_t>;

std::vector<NaiveAlphaRun> runsOf(Samples const& samples, std::uint32_t alphaBits,
                                  AlphaRunCoding runCoding = AlphaRunCoding::Shortest,
                                  AlphaDifferenceCoding differenceCoding = AlphaDifferenceCoding::Shortest) {
    return readAlphaRuns(codedAlpha(samples, alphaBits, runCoding, differenceCoding), alphaBits, samples.size());
}

Samples randomSamples(Random& random, std::uint32_t alphaBits) {
    Samples samples(256 * (1 + randomBelow(random, 8)));
    const std::uint32_t longestRun = 1 + randomBelow(random, 3) * randomBelow(random, 300);
    const std::uint32_t mask = (1u << alphaBits) - 1;
    std::uint32_t value = random() & mask;
    for (std::size_t i = 0; i < samples.size();) {
        value = (randomBelow(random, 4) == 0 ? random() : value + randomBelow(random, 160) - 80) & mask;
        for (std::uint32_t run = 1 + randomBelow(random, longestRun); run > 0 && i < samples.size(); --run)
            samples[i++] = static_cast<std::uint16_t>(value);
    }
    return samples;
}

std::string writtenBits(VLCWriter& writer) {
    const std::uint64_t numBits = writer.numBits();
    return bitsOf(writer.takeBytes()).substr(0, numBits);
}

} // namespace

TEST(AlphaVLCWriterTest, GivesTheCodesWorkedOutByHand) {
    // From -1 to 254 the long form holds 255; from 254 to 253 the short form holds 1.
    EXPECT_EQ(bitsOf(codedAlpha(Samples{254, 253, 253, 253, 253}, 8, AlphaRunCoding::Shortest,
                                AlphaDifferenceCoding::Shortest)),
              std::string("111111111") + "1" + "00001" + "00011" + "0000");
}

TEST(AlphaVLCWriterTest, AFirstSampleOfZeroIsAShortDifferenceOfOne) {
    EXPECT_EQ(bitsOf(codedAlpha(Samples{0}, 8, AlphaRunCoding::Shortest, AlphaDifferenceCoding::Shortest)), "00000100");
    EXPECT_EQ(bitsOf(codedAlpha(Samples{0}, 16, AlphaRunCoding::Shortest, AlphaDifferenceCoding::Shortest)),
              "0000000010000000");
}

TEST(AlphaVLCWriterTest, ShortDifferencesReachEightAndSixtyFour) {
    for (const std::uint32_t alphaBits : {8u, 16u}) {
        const int reach = alphaBits == 8 ? 8 : 64;
        for (int difference = -reach - 1; difference <= reach + 1; ++difference) {
            const Samples samples = {100, static_cast<std::uint16_t>(100 + difference)};
            const std::vector<NaiveAlphaRun> runs = runsOf(samples, alphaBits);
            EXPECT_EQ(samplesOf(runs), samples) << difference;
            if (difference != 0) {
                ASSERT_EQ(runs.size(), 2u);
                EXPECT_EQ(runs[1].longDifference, std::abs(difference) > reach) << difference;
            }
        }
    }
}

TEST(AlphaVLCWriterTest, RunsTakeTheShortestOfThreeCodes) {
    for (const std::uint32_t length : {1u, 2u, 16u, 17u, 2047u, 2048u}) {
        const std::vector<NaiveAlphaRun> runs = runsOf(Samples(length, 7), 8);
        ASSERT_EQ(runs.size(), 1u) << length;
        EXPECT_EQ(runs[0].length, length);
        EXPECT_EQ(runs[0].lengthBits, length == 1 ? 1u : length <= 16 ? 5u : 16u) << length;
    }
}

TEST(AlphaVLCWriterTest, ARunBeyondTheLongestCodeGoesOnAfterADifferenceOfZero) {
    const std::vector<NaiveAlphaRun> runs = runsOf(Samples(2049, 9), 16);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].length, 2048u);
    EXPECT_TRUE(runs[1].longDifference);
    EXPECT_EQ(runs[1].value, 9u);
    EXPECT_EQ(runs[1].length, 1u);
}

TEST(AlphaVLCWriterTest, TheLongFormServesShortRunsToo) {
    const Samples samples = {5, 5, 6, 7, 7, 7};
    const std::vector<NaiveAlphaRun> runs = runsOf(samples, 8, AlphaRunCoding::LongForm);
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[0].lengthBits, 16u);
    EXPECT_EQ(runs[1].lengthBits, 1u);
    EXPECT_EQ(runs[2].lengthBits, 16u);
    EXPECT_EQ(samplesOf(runs), samples);
}

TEST(AlphaVLCWriterTest, SplitRunsAreJoinedByDifferencesOfZero) {
    const Samples samples(100, 33);
    const std::vector<NaiveAlphaRun> runs = runsOf(samples, 8, AlphaRunCoding::Split);
    ASSERT_GT(runs.size(), 1u);
    for (std::size_t i = 1; i < runs.size(); ++i) {
        EXPECT_TRUE(runs[i].longDifference) << i;
        EXPECT_EQ(runs[i].value, 33u) << i;
    }
    EXPECT_EQ(samplesOf(runs), samples);
}

TEST(AlphaVLCWriterTest, LongDifferencesServeSmallStepsToo) {
    const Samples samples = {10, 11, 10, 10, 255, 0};
    const std::vector<NaiveAlphaRun> runs =
        runsOf(samples, 8, AlphaRunCoding::Shortest, AlphaDifferenceCoding::LongForm);
    EXPECT_TRUE(std::all_of(runs.begin(), runs.end(), [](NaiveAlphaRun const& run) { return run.longDifference; }));
    EXPECT_EQ(samplesOf(runs), samples);
}

TEST(AlphaVLCWriterTest, EveryFormOfARunCanBeWrittenByItself) {
    VLCWriter bits;
    AlphaVLCWriter writer(bits, 8);
    writer.longFormRun(1);
    writer.longFormRun(16);
    writer.shortestRun(16);
    EXPECT_EQ(writtenBits(bits), std::string("0000000000000000") + "0000000000001111" + "01111");
}

TEST(AlphaVLCWriterTest, RandomPlanesReadBackInEveryCoding) {
    Random random = seeded(301);
    for (int i = 0; i < 200; ++i) {
        const std::uint32_t alphaBits = randomBelow(random, 2) == 0 ? 8 : 16;
        const Samples samples = randomSamples(random, alphaBits);
        for (const auto runCoding : {AlphaRunCoding::Shortest, AlphaRunCoding::LongForm, AlphaRunCoding::Split})
            for (const auto differences : {AlphaDifferenceCoding::Shortest, AlphaDifferenceCoding::LongForm})
                ASSERT_EQ(samplesOf(runsOf(samples, alphaBits, runCoding, differences)), samples)
                    << "case " << i << " run coding " << static_cast<int>(runCoding);
    }
}
