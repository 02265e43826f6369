#include "RateSearch.h"

#include <atomic>
#include <cmath>
#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "FrameEncoder.h"
#include "Random.h"
#include "TestPictures.h"

namespace {

// Slices whose size falls with a power of the index, each a little different.
RateTarget modelTarget(std::size_t numSlices, double wantedBytes, double exponent) {
    RateTarget target;
    target.numSlices = numSlices;
    target.fixedBytes = 100;
    target.wantedBytes = wantedBytes;
    target.pixels = 1000;
    target.sliceBytes = [exponent](std::size_t slice, std::uint32_t index) {
        return static_cast<std::uint32_t>((900.0 + static_cast<double>(slice % 7) * 30) * std::pow(index, -exponent));
    };
    return target;
}

double bytesWith(RateTarget const& target, std::vector<std::uint8_t> const& indices) {
    double bytes = static_cast<double>(target.fixedBytes);
    for (std::size_t slice = 0; slice < indices.size(); ++slice)
        bytes += target.sliceBytes(slice, indices[slice]);
    return bytes;
}

std::string failureOf(RateTarget const& target) {
    try {
        searchRate(target);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

void expectRate(SourcePicture const& picture, double bitsPerPixel, EncoderSettings settings) {
    settings.bitsPerPixel = bitsPerPixel;
    const EncodedFrame frame = encodeFrame(picture, settings);
    EXPECT_NEAR(frame.bitsPerPixel, bitsPerPixel, 0.03 * bitsPerPixel) << describe(picture);
    const double pixels = static_cast<double>(picture.width) * picture.height;
    EXPECT_DOUBLE_EQ(frame.bitsPerPixel, 8 * static_cast<double>(frame.bytes.size()) / pixels);
}

} // namespace

TEST(RateSearchTest, MeetsEveryRateBetweenTheEndsOfTheIndex) {
    for (const double exponent : {0.3, 0.7, 1.5}) {
        const double finest = bytesWith(modelTarget(60, 0, exponent), std::vector<std::uint8_t>(60, 1));
        const double coarsest = bytesWith(modelTarget(60, 0, exponent), std::vector<std::uint8_t>(60, 255));
        for (double wanted = coarsest; wanted <= finest; wanted *= 1.07) {
            const RateTarget target = modelTarget(60, wanted, exponent);
            const std::vector<std::uint8_t> indices = searchRate(target);
            ASSERT_EQ(indices.size(), 60u);
            EXPECT_NEAR(bytesWith(target, indices), wanted, 0.03 * wanted);
        }
    }
}

TEST(RateSearchTest, MixesNeighboursWhereOneStepIsTooCoarse) {
    // At indices 1 and 2 the frame has about 60000 and 37000 bytes.
    const RateTarget target = modelTarget(60, 50000, 0.7);
    const std::vector<std::uint8_t> indices = searchRate(target);
    EXPECT_EQ(std::set<std::uint8_t>(indices.begin(), indices.end()), (std::set<std::uint8_t>{1, 2}));
    // Both are spread: no quarter of the frame has one alone.
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        const auto begin = indices.begin() + static_cast<std::ptrdiff_t>(15 * quarter);
        EXPECT_EQ(std::set<std::uint8_t>(begin, begin + 15).size(), 2u) << quarter;
    }
}

TEST(RateSearchTest, AMixtureCountsTheBytesOfItsOwnSlices) {
    RateTarget target = modelTarget(60, 0, 0.7);
    target.sliceBytes = [](std::size_t slice, std::uint32_t index) {
        return static_cast<std::uint32_t>((slice < 20 ? 3000 : 50) * std::pow(index, -0.7));
    };
    const double atOne = bytesWith(target, std::vector<std::uint8_t>(60, 1));
    const double atTwo = bytesWith(target, std::vector<std::uint8_t>(60, 2));
    for (const double share : {0.25, 0.5, 0.75}) {
        target.wantedBytes = atTwo + share * (atOne - atTwo);
        EXPECT_NEAR(bytesWith(target, searchRate(target)), target.wantedBytes, 0.03 * target.wantedBytes) << share;
    }
}

TEST(RateSearchTest, AsksForFewIndices) {
    std::set<std::uint32_t> asked;
    RateTarget target = modelTarget(1000, 200000, 0.9);
    const auto sliceBytes = target.sliceBytes;
    target.sliceBytes = [&asked, &sliceBytes](std::size_t slice, std::uint32_t index) {
        asked.insert(index);
        return sliceBytes(slice, index);
    };
    searchRate(target);
    EXPECT_LE(asked.size(), 8u); // as many as halving the whole range takes
}

// An eighth of the slices shows where to look, and a frame that is close enough ends the search.
TEST(RateSearchTest, MeasuresFewSlicesThatItDoesNotUse) {
    for (double wanted = 20000; wanted < 900000; wanted *= 1.3) {
        std::size_t calls = 0;
        RateTarget target = modelTarget(1000, wanted, 0.9);
        const auto sliceBytes = target.sliceBytes;
        target.sliceBytes = [&](std::size_t slice, std::uint32_t index) {
            ++calls;
            return sliceBytes(slice, index);
        };
        const std::vector<std::uint8_t> indices = searchRate(target);
        const std::set<std::uint8_t> used(indices.begin(), indices.end());
        EXPECT_LE(calls, 1000 * used.size() + 8 * 125) << wanted;
    }
}

TEST(RateSearchTest, ThreadsDoNotChangeTheResult) {
    for (const double wanted : {30000.0, 52000.0}) {
        RateTarget target = modelTarget(60, wanted, 0.7);
        const std::vector<std::uint8_t> expected = searchRate(target);
        for (const std::uint32_t maxThreads : {2u, 5u}) {
            target.maxThreads = maxThreads;
            EXPECT_EQ(searchRate(target), expected) << wanted;
        }
    }
}

// So an encode stops while it searches.
TEST(RateSearchTest, AnExceptionFromASliceEndsTheSearch) {
    for (const std::uint32_t maxThreads : {1u, 3u}) {
        RateTarget target = modelTarget(60, 50000, 0.7);
        target.maxThreads = maxThreads;
        std::atomic<int> calls{0};
        target.sliceBytes = [&calls](std::size_t, std::uint32_t) -> std::uint32_t {
            if (++calls == 70)
                throw EncodeStopped();
            return 800;
        };
        EXPECT_THROW(searchRate(target), EncodeStopped);
        EXPECT_LT(calls, 70 + 60) << "the index that was being measured is the last";
    }
}

TEST(RateSearchTest, FailsWithTheNearestRateWhereNothingMeetsTheWanted) {
    RateTarget target = modelTarget(1, 5000, 0.7);
    EXPECT_EQ(failureOf(target), "no quantization_index gives 40 bits per pixel within 3 %; the nearest is 8");
    target.wantedBytes = 50;
    EXPECT_EQ(failureOf(target), "no quantization_index gives 0.4 bits per pixel within 3 %; the nearest is 0.944");
}

TEST(RateSearchTest, ReachesTheEndsOfTheIndex) {
    RateTarget target = modelTarget(10, 0, 0.7);
    target.wantedBytes = bytesWith(target, std::vector<std::uint8_t>(10, 1)) * 1.02;
    EXPECT_EQ(searchRate(target), std::vector<std::uint8_t>(10, 1));
    target.wantedBytes = bytesWith(target, std::vector<std::uint8_t>(10, 255)) / 1.02;
    EXPECT_EQ(searchRate(target), std::vector<std::uint8_t>(10, 255));
}

TEST(RateSearchTest, ARateIsMissedByThreePercentAtMost) {
    RateTarget target = modelTarget(10, 0, 0.7);
    const double finest = bytesWith(target, std::vector<std::uint8_t>(10, 1));
    const double coarsest = bytesWith(target, std::vector<std::uint8_t>(10, 255));
    for (const double missed : {0.0299, -0.0299}) {
        target.wantedBytes = (missed > 0 ? finest : coarsest) / (1 - missed);
        EXPECT_EQ(failureOf(target), "") << missed;
    }
    for (const double missed : {0.0301, 0.04, -0.0301, -0.04}) {
        target.wantedBytes = (missed > 0 ? finest : coarsest) / (1 - missed);
        EXPECT_NE(failureOf(target), "") << missed;
    }
}

TEST(RateSearchTest, EncodedPicturesMeetTheirRate) {
    Random random = seeded(701);
    for (const ChromaFormat chromaFormat : {ChromaFormat::C422, ChromaFormat::C444}) {
        const SourcePicture picture = wavePicture(emptyPicture(420, 300, chromaFormat, 10, 0), random);
        for (const double bitsPerPixel : {0.6, 1.0, 1.5, 2.0, 3.0, 4.0, 6.0}) {
            EncoderSettings settings;
            settings.interlace_mode = randomBelow(random, 3);
            settings.log2_slice_size_in_mb = randomBelow(random, 4);
            expectRate(picture, bitsPerPixel, settings);
        }
    }
}

TEST(RateSearchTest, TheRateCountsAlphaAndHeaders) {
    Random random = seeded(702);
    const SourcePicture picture = wavePicture(emptyPicture(200, 100, ChromaFormat::C444, 8, 8), random);
    EncoderSettings settings;
    settings.header_size = 5000;
    expectRate(picture, 14, settings);
}

TEST(RateSearchTest, SmallPicturesMeetTheirRateWithSlicesFarApart) {
    Random random = seeded(703);
    const SourcePicture picture = wavePicture(emptyPicture(64, 64, ChromaFormat::C422, 8, 0), random);
    EncoderSettings settings;
    settings.log2_slice_size_in_mb = 0;
    for (const double bitsPerPixel : {2.0, 3.0, 5.0})
        expectRate(picture, bitsPerPixel, settings);
}

TEST(RateSearchTest, AnUnreachableRateOfAPictureIsAnError) {
    EncoderSettings settings;
    settings.bitsPerPixel = 20;
    EXPECT_THROW(encodeFrame(emptyPicture(64, 64, ChromaFormat::C422, 8, 0), settings), std::runtime_error);
}
