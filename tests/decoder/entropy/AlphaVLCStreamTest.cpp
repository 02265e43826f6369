#include "AlphaVLCStream.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "FrameMaker.h"
#include "GuardedBytes.h"
#include "Random.h"
#include "SlowScan.h"
#include "SymbolWriter.h"

namespace {

template <class On>
class AlphaVLCStreamTest : public TargetTest<On> {
protected:
    using Stream = AlphaVLCStream<On::target>;

    Stream over(std::vector<std::uint8_t> const& bytes, unsigned int alphaBits) {
        return Stream(m_held.hold(bytes), alphaBits);
    }

    // Fills exactly `numSamples` samples: the array has no room for more.
    std::vector<std::uint16_t> filled(std::vector<std::uint8_t> const& bytes, unsigned int alphaBits,
                                      std::uint32_t numSamples) {
        const auto samples = std::make_unique<std::uint16_t[]>(numSamples);
        over(bytes, alphaBits).fillSamples(samples.get(), numSamples);
        return {samples.get(), samples.get() + numSamples};
    }

    GuardedBytes m_held;
};

TYPED_TEST_SUITE(AlphaVLCStreamTest, BothTargets, TargetNames);

// The differences and runs of an alpha plane, written one by one.
class AlphaWriter {
public:
    explicit AlphaWriter(std::uint32_t alphaBits) : m_alphaBits(alphaBits) {}
    AlphaWriter& modulo(std::uint32_t difference) {
        m_bits.put(1, 1);
        m_bits.put(difference, m_alphaBits);
        return *this;
    }
    AlphaWriter& shortDifference(std::int32_t difference) {
        const auto magnitude = static_cast<std::uint32_t>(difference < 0 ? -difference : difference);
        m_bits.put(0, 1);
        m_bits.put(2 * (magnitude - 1) + (difference < 0 ? 1 : 0), m_alphaBits == 16 ? 7 : 4);
        return *this;
    }
    AlphaWriter& run(std::uint32_t length) {
        if (length == 1) {
            m_bits.put(1, 1);
        } else if (length <= 16) {
            m_bits.put(length - 1, 5);
        } else {
            longRun(length);
        }
        return *this;
    }
    AlphaWriter& longRun(std::uint32_t length) {
        m_bits.put(0, 5);
        m_bits.put(length - 1, 11);
        return *this;
    }
    std::vector<std::uint8_t> const& bytes() const { return m_bits.bytes(); }

private:
    std::uint32_t m_alphaBits;
    BitWriter m_bits;
};

} // namespace

TYPED_TEST(AlphaVLCStreamTest, TheConstantsHaveTheValuesOfTheFormat) {
    EXPECT_EQ(TestFixture::Stream::kSmallAlphaDiffCodeLength_8b, 5u);
    EXPECT_EQ(TestFixture::Stream::kSmallAlphaDiffCodeLength_16b, 8u);
    EXPECT_EQ(TestFixture::Stream::kNumShortRunVLCBits, 5u);
    EXPECT_EQ(TestFixture::Stream::kNumLongRunFLCBits, 11u);
}

TYPED_TEST(AlphaVLCStreamTest, LongDifferencesAreReadAsTheyAreAndMarkedModulo) {
    auto eight = this->over(bytesOfBits("1 11111111"), 8);
    EXPECT_FALSE(eight.isModuloAlphaDifference());
    EXPECT_EQ(eight.alpha_difference(), 255u);
    EXPECT_TRUE(eight.isModuloAlphaDifference());
    auto sixteen = this->over(bytesOfBits("1 1000000000000001"), 16);
    EXPECT_EQ(sixteen.alpha_difference(), 0x8001u);
    EXPECT_TRUE(sixteen.isModuloAlphaDifference());
}

TYPED_TEST(AlphaVLCStreamTest, ShortDifferencesOf8BitsAreOneToEightWithEitherSignAndNeverZero) {
    for (std::uint32_t v = 0; v < 16; ++v) {
        BitWriter bits;
        bits.put(v, 5);
        auto stream = this->over(bits.bytes(), 8);
        const std::uint32_t magnitude = v / 2 + 1;
        EXPECT_EQ(stream.alpha_difference(), v % 2 == 0 ? magnitude : 0u - magnitude) << v;
        EXPECT_FALSE(stream.isModuloAlphaDifference());
    }
}

TYPED_TEST(AlphaVLCStreamTest, ShortDifferencesOf16BitsAreOneToSixtyFourWithEitherSign) {
    for (std::uint32_t v = 0; v < 128; ++v) {
        BitWriter bits;
        bits.put(v, 8);
        auto stream = this->over(bits.bytes(), 16);
        const std::uint32_t magnitude = v / 2 + 1;
        EXPECT_EQ(stream.alpha_difference(), v % 2 == 0 ? magnitude : 0u - magnitude) << v;
    }
}

TYPED_TEST(AlphaVLCStreamTest, AShortDifferenceClearsTheModuloMark) {
    auto stream = this->over(bytesOfBits("1 00000001 0 0001"), 8);
    stream.alpha_difference();
    EXPECT_TRUE(stream.isModuloAlphaDifference());
    EXPECT_EQ(stream.alpha_difference(), 0xFFFFFFFFu);
    EXPECT_FALSE(stream.isModuloAlphaDifference());
}

TYPED_TEST(AlphaVLCStreamTest, RunsHaveThreeForms) {
    EXPECT_EQ(this->over(bytesOfBits("1"), 8).run(), 1u);
    EXPECT_EQ(this->over(bytesOfBits("0 0011"), 8).run(), 4u);
    for (std::uint32_t field = 1; field < 16; ++field) {
        BitWriter bits;
        bits.put(field, 5);
        EXPECT_EQ(this->over(bits.bytes(), 8).run(), field + 1);
    }
    for (std::uint32_t field = 0; field < 2048; ++field) {
        BitWriter bits;
        bits.put(field, 16);
        EXPECT_EQ(this->over(bits.bytes(), 16).run(), field + 1);
    }
}

TYPED_TEST(AlphaVLCStreamTest, ALongAndAShortStepDownFromMinusOneGive254And253) {
    BitWriter bits;
    bits.put(0b1'11111111, 9);
    bits.put(1, 1); // a run of one
    bits.put(0b0'0001, 5);
    bits.put(0b0'0011, 5);
    EXPECT_EQ(this->filled(bits.bytes(), 8, 5), (std::vector<std::uint16_t>{254, 253, 253, 253, 253}));
}

TYPED_TEST(AlphaVLCStreamTest, AFirstStepOfPlusOneGivesZero) {
    for (const std::uint32_t depth : {8u, 16u})
        EXPECT_EQ(this->filled(AlphaWriter(depth).shortDifference(1).run(3).bytes(), depth, 3),
                  std::vector<std::uint16_t>(3, 0));
}

TYPED_TEST(AlphaVLCStreamTest, AFirstLongDifferenceGivesOneLessModuloTheDepth) {
    EXPECT_EQ(this->filled(AlphaWriter(8).modulo(0).run(1).bytes(), 8, 1)[0], 255);
    EXPECT_EQ(this->filled(AlphaWriter(8).modulo(100).run(1).bytes(), 8, 1)[0], 99);
    EXPECT_EQ(this->filled(AlphaWriter(16).modulo(0).run(1).bytes(), 16, 1)[0], 65535);
    EXPECT_EQ(this->filled(AlphaWriter(16).modulo(40000).run(1).bytes(), 16, 1)[0], 39999);
}

TYPED_TEST(AlphaVLCStreamTest, AValueOfMoreThan2048SamplesGoesOnWithALongDifferenceOfZero) {
    const auto samples = this->filled(AlphaWriter(8).modulo(78).run(2048).modulo(0).run(500).bytes(), 8, 2548);
    EXPECT_EQ(samples, std::vector<std::uint16_t>(2548, 77));
}

TYPED_TEST(AlphaVLCStreamTest, LongDifferencesOf65535And1ActAsMinusAndPlusOne) {
    const auto samples = this->filled(
        AlphaWriter(16).modulo(1001).run(1).modulo(65535).run(1).modulo(1).run(1).modulo(1).run(1).bytes(), 16, 4);
    EXPECT_EQ(samples, (std::vector<std::uint16_t>{1000, 999, 1000, 1001}));
}

TYPED_TEST(AlphaVLCStreamTest, AShortStepBelowZeroStores65535AtEitherDepthAndOneUpReturnsToZero) {
    for (const std::uint32_t depth : {8u, 16u}) {
        AlphaWriter writer(depth);
        writer.shortDifference(1).run(1).shortDifference(-1).run(1).shortDifference(1).run(1);
        EXPECT_EQ(this->filled(writer.bytes(), depth, 3), (std::vector<std::uint16_t>{0, 0xFFFF, 0}));
    }
}

TYPED_TEST(AlphaVLCStreamTest, ALongDifferenceBringsAValueBackIntoTheDepth) {
    AlphaWriter writer(8);
    writer.modulo(0).run(1);          // 255
    writer.shortDifference(8).run(1); // 263, outside eight bits
    writer.modulo(0).run(1);          // 263 modulo 256
    EXPECT_EQ(this->filled(writer.bytes(), 8, 3), (std::vector<std::uint16_t>{255, 263, 7}));
}

TYPED_TEST(AlphaVLCStreamTest, ARunLongerThanWhatRemainsIsCut) {
    EXPECT_EQ(this->filled(AlphaWriter(8).modulo(5).run(2048).bytes(), 8, 100), std::vector<std::uint16_t>(100, 4));
}

TYPED_TEST(AlphaVLCStreamTest, ARedundantLongFormOfAShortRunIsValid) {
    AlphaWriter writer(8);
    writer.modulo(5).longRun(1).shortDifference(2).longRun(2).shortDifference(-1).longRun(16);
    std::vector<std::uint16_t> expected = {4, 6, 6};
    expected.resize(19, 5);
    EXPECT_EQ(this->filled(writer.bytes(), 8, 19), expected);
}

TYPED_TEST(AlphaVLCStreamTest, AnEmptyRangeGivesARampFromZeroByOne) {
    for (const std::uint32_t depth : {8u, 16u}) {
        const auto samples = this->filled({}, depth, 2048);
        for (std::uint32_t i = 0; i < 2048; ++i)
            ASSERT_EQ(samples[i], i);
    }
}

TYPED_TEST(AlphaVLCStreamTest, ARangeThatEndsEarlyGoesOnAsARampWithoutAMask) {
    // Nine bits of difference, one of run, and six zero bits, of which five are a step of +1.
    const auto samples = this->filled(AlphaWriter(8).modulo(0xFF).run(1).bytes(), 8, 600);
    EXPECT_EQ(samples[0], 254);
    for (std::uint32_t i = 1; i < 600; ++i)
        ASSERT_EQ(samples[i], 254 + i);
}

TYPED_TEST(AlphaVLCStreamTest, NoSamplesReadOneSymbolPairAndStoreNothing) {
    auto stream = this->over(AlphaWriter(8).modulo(3).run(9).shortDifference(1).run(1).bytes(), 8);
    stream.fillSamples(nullptr, 0);
    EXPECT_EQ(stream.alpha_difference(), 1u);
}

TYPED_TEST(AlphaVLCStreamTest, BitsAfterTheLastSampleAreIgnored) {
    std::vector<std::uint8_t> bytes = AlphaWriter(16).modulo(9).run(4).bytes();
    bytes.insert(bytes.end(), 20, 0xFF);
    EXPECT_EQ(this->filled(bytes, 16, 4), std::vector<std::uint16_t>(4, 8));
}

TYPED_TEST(AlphaVLCStreamTest, EncodedPlanesReadBackInEveryFormOfTheirRuns) {
    Random random = seeded(2501);
    for (int round = 0; round < 300; ++round) {
        const std::uint32_t depth = 8 + 8 * randomBelow(random, 2);
        std::vector<std::uint16_t> plane(1 + randomBelow(random, 2048));
        std::uint32_t value = random();
        for (std::size_t i = 0; i < plane.size();) {
            value = randomBelow(random, 2) == 0 ? random() : value + randomBelow(random, 120) - 60;
            for (std::uint32_t run = 1 + randomBelow(random, 1u << randomBelow(random, 12));
                 run > 0 && i < plane.size(); --run)
                plane[i++] = static_cast<std::uint16_t>(value & (depth == 8 ? 0xFFu : 0xFFFFu));
        }
        const auto bytes = encodedAlpha(plane, depth, randomBelow(random, 2) == 0, randomBelow(random, 2) == 0);
        ASSERT_EQ(this->filled(bytes, depth, static_cast<std::uint32_t>(plane.size())), plane);
    }
}

TYPED_TEST(AlphaVLCStreamTest, AnyBytesGiveTheSamplesOfTheSlowModel) {
    Random random = seeded(2502);
    for (int round = 0; round < 3000; ++round) {
        const std::uint32_t depth = 8 + 8 * randomBelow(random, 2);
        std::vector<std::uint8_t> bytes(randomBelow(random, 60));
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(randomBelow(random, 3) == 0 ? random() & random() : random());
        const std::uint32_t numSamples = 1 + randomBelow(random, 2048);
        const SlowAlphaResult model = slowScanAlpha(bytes, numSamples, depth, TypeParam::target);
        const auto samples = this->filled(bytes, depth, numSamples);
        // After a wrapped count the samples are open.
        ASSERT_TRUE(model.wrapped || samples == model.samples) << round;
    }
}
