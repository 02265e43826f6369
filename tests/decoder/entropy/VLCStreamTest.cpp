#include "VLCStream.h"

#include <vector>

#include <gtest/gtest.h>

#include "DecoderAccess.h"
#include "DecoderTargets.h"
#include "GuardedBytes.h"
#include "Random.h"

namespace {

template <class On>
class VLCStreamTest : public TargetTest<On> {
protected:
    using Reader = BitReader<On::target>;
};

TYPED_TEST_SUITE(VLCStreamTest, BothTargets, TargetNames);

std::uint32_t bitAt(std::vector<std::uint8_t> const& bytes, std::uint64_t bit) {
    return bit / 8 < bytes.size() ? (bytes[bit / 8] >> (7 - bit % 8)) & 1u : 0u;
}

std::uint32_t bitsAt(std::vector<std::uint8_t> const& bytes, std::uint64_t bit, std::uint32_t n) {
    std::uint32_t value = 0;
    for (std::uint32_t i = 0; i < n; ++i)
        value = value << 1 | bitAt(bytes, bit + i);
    return value;
}

std::vector<std::uint8_t> randomBytes(Random& random, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(random());
    return bytes;
}

} // namespace

TYPED_TEST(VLCStreamTest, AFreshStreamHasLoadedNothingAndHasNoFlagSet) {
    const GuardedBytes held({0xA5, 0x3C, 0x0F});
    const typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.bitBuffer(), 0u);
    EXPECT_EQ(reader.bitCount(), 0u);
    EXPECT_EQ(reader.bytesLeft(), 3u);
    EXPECT_FALSE(reader.readPastEnd());
    EXPECT_FALSE(reader.invalidCode());
}

TYPED_TEST(VLCStreamTest, ThreeBytesInReadsOfFourAndTwelveBitsEndInZerosAfterTheLastByte) {
    const GuardedBytes held({0xA5, 0x3C, 0x0F});
    typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.getBits(4), 0xAu);
    EXPECT_EQ(reader.bitCount(), 20u);
    EXPECT_EQ(reader.bitBuffer(), 0x53C0Fu);
    EXPECT_EQ(reader.getBits(12), 0x53Cu);
    EXPECT_EQ(reader.bitCount(), 8u);
    EXPECT_EQ(reader.bitBuffer(), 0x0Fu);
    EXPECT_FALSE(reader.readPastEnd());
    EXPECT_EQ(reader.getBits(12), 0xF0u);
    EXPECT_EQ(reader.bitCount(), 4u);
    EXPECT_EQ(reader.bitBuffer(), 0u);
    EXPECT_TRUE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, ReadingNoBitsReturnsZeroAndChangesNothing) {
    const GuardedBytes held({0xFF, 0x80});
    typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.getBits(0), 0u);
    EXPECT_EQ(reader.bitCount(), 0u);
    EXPECT_EQ(reader.bytesLeft(), 2u);
    reader.getBits(3);
    EXPECT_EQ(reader.getBits(0), 0u);
    EXPECT_EQ(reader.bitCount(), 13u);
    EXPECT_EQ(reader.bitBuffer(), 0x1F80u);
    reader.getBits(13);
    EXPECT_EQ(reader.getBits(0), 0u);
    EXPECT_FALSE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, AnEmptyRangeGivesZerosEightAtATimeAndSaysSoAtTheFirstRead) {
    const GuardedBytes held;
    typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.getBits(1), 0u);
    EXPECT_TRUE(reader.readPastEnd());
    EXPECT_EQ(reader.bitCount(), 7u);
    EXPECT_EQ(reader.getBits(7), 0u);
    EXPECT_EQ(reader.bitCount(), 0u);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(reader.getBits(8), 0u);
        ASSERT_EQ(reader.bitCount(), 0u);
    }
    EXPECT_TRUE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, EightBytesAreReadToTheirLastBitBeforeTheEndIsNoticed) {
    const GuardedBytes held({1, 2, 3, 4, 5, 6, 7, 8});
    typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.getBits(32), 0x01020304u);
    EXPECT_EQ(reader.bytesLeft(), 0u);
    EXPECT_EQ(reader.getBits(32), 0x05060708u);
    EXPECT_FALSE(reader.readPastEnd());
    EXPECT_EQ(reader.getBits(1), 0u);
    EXPECT_TRUE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, FiveBytesBitByBitGiveFortyBitsAndTheEndShowsAtTheFortyFirst) {
    const std::vector<std::uint8_t> bytes = {0xDE, 0xAD, 0xBE, 0xEF, 0x55};
    const GuardedBytes held(bytes);
    typename TestFixture::Reader reader(held.bits());
    for (std::uint32_t bit = 0; bit < 40; ++bit) {
        ASSERT_EQ(reader.getBits(1), bitAt(bytes, bit)) << bit;
        ASSERT_FALSE(reader.readPastEnd()) << bit;
    }
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(reader.getBits(1), 0u);
        ASSERT_TRUE(reader.readPastEnd());
    }
}

TYPED_TEST(VLCStreamTest, ARequestAcrossWordsTakesHighBitsFromTheOldAndLowBitsFromTheNewWord) {
    std::vector<std::uint8_t> bytes(16);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(17 * i + 3);
    const GuardedBytes held(bytes);
    typename TestFixture::Reader reader(held.bits());
    reader.getBits(32);
    reader.getBits(19);
    EXPECT_EQ(reader.bitCount(), 13u);
    EXPECT_EQ(reader.getBits(32), bitsAt(bytes, 51, 32));
    EXPECT_EQ(reader.bitCount(), 45u);
    EXPECT_EQ(reader.bitBuffer() >> 45, 0u);
}

TYPED_TEST(VLCStreamTest, ARequestBeyondTheLastPartialWordWrapsTheCountAndStaysInsideMemory) {
    // Nine bytes: one word of eight and a last one of one. Two bits of the first are left when twenty are asked for.
    const GuardedBytes held({0, 0, 0, 0, 0, 0, 0, 3, 0xFF});
    typename TestFixture::Reader reader(held.bits());
    reader.getBits(32);
    reader.getBits(30);
    EXPECT_EQ(reader.bitCount(), 2u);
    EXPECT_EQ(reader.getBits(20), 3u << 18);
    EXPECT_GT(reader.bitCount(), std::uint64_t{1} << 63);
    EXPECT_FALSE(reader.readPastEnd());
    EXPECT_EQ(reader.bytesLeft(), 0u);
    for (unsigned int n = 0; n < 200; ++n)
        reader.getBits(n % 33);
    EXPECT_FALSE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, LookingAheadTakesNothing) {
    const GuardedBytes held({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC});
    typename TestFixture::Reader reader(held.bits());
    EXPECT_EQ(reader.peekBits32(), 0x12345678u);
    EXPECT_EQ(reader.bitCount(), 0u);
    EXPECT_EQ(reader.bytesLeft(), 6u);
    reader.getBits(4);
    EXPECT_EQ(reader.peekBits32(), 0x23456789u);
    EXPECT_EQ(reader.peekBits32(), 0x23456789u);
    EXPECT_EQ(reader.getBits(8), 0x23u);
    EXPECT_FALSE(reader.readPastEnd());
}

TYPED_TEST(VLCStreamTest, LookingAheadBeyondTheRangeSeesZerosEvenWhereOtherBytesFollow) {
    const std::vector<std::uint8_t> bytes = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    for (std::size_t size = 0; size <= 12; ++size) {
        typename TestFixture::Reader reader(Bitstream{bytes.data(), size});
        for (std::uint32_t bit = 0; bit < 8 * size; ++bit) {
            const std::uint64_t left = 8 * size - bit;
            const std::uint32_t expected =
                left >= 32 ? 0xFFFFFFFFu : static_cast<std::uint32_t>(~(0xFFFFFFFFull >> left));
            ASSERT_EQ(reader.peekBits32(), expected) << size << " bytes, bit " << bit;
            reader.getBits(1);
        }
        ASSERT_EQ(reader.peekBits32(), 0u);
        ASSERT_FALSE(reader.readPastEnd());
    }
}

TYPED_TEST(VLCStreamTest, BytesAfterTheRangeNeverReachAResult) {
    const std::vector<std::uint8_t> bytes(24, 0xFF);
    for (std::size_t size = 0; size <= 16; ++size) {
        typename TestFixture::Reader reader(Bitstream{bytes.data(), size});
        for (std::uint32_t bit = 0; bit < 8 * size; ++bit)
            ASSERT_EQ(reader.getBits(1), 1u);
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(reader.getBits(1), 0u);
    }
}

TYPED_TEST(VLCStreamTest, EveryReadOfRandomLengthGivesTheBitsOfTheRangeAndThenZeros) {
    Random random = seeded(2101);
    GuardedBytes held;
    for (int round = 0; round < 3000; ++round) {
        const std::vector<std::uint8_t> bytes = randomBytes(random, randomBelow(random, 41));
        typename TestFixture::Reader reader(held.hold(bytes));
        const std::uint64_t numBits = 8 * bytes.size();
        for (std::uint64_t bit = 0; bit < numBits + 40;) {
            ASSERT_EQ(reader.peekBits32(), bitsAt(bytes, bit, 32)) << "bit " << bit << " of " << numBits;
            // Longer reads across the end wrap the count.
            const std::uint32_t n = bit + 32 <= numBits ? randomBelow(random, 33) : randomBelow(random, 2);
            ASSERT_EQ(reader.getBits(n), bitsAt(bytes, bit, n)) << "bit " << bit << " of " << numBits;
            bit += n;
            ASSERT_EQ(reader.readPastEnd(), bit > numBits);
            ASSERT_LT(reader.bitCount(), 64u);
            ASSERT_EQ(reader.bitBuffer() >> reader.bitCount(), 0u);
        }
    }
}

TYPED_TEST(VLCStreamTest, NoSequenceOfReadsLeavesTheRange) {
    Random random = seeded(2102);
    GuardedBytes held;
    for (int round = 0; round < 3000; ++round) {
        typename TestFixture::Reader reader(held.hold(randomBytes(random, randomBelow(random, 25))));
        for (int i = 0; i < 40; ++i) {
            reader.peekBits32();
            reader.getBits(randomBelow(random, 36));
        }
    }
}
