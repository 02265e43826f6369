#include "VLCWriter.h"

#include <string>

#include <gtest/gtest.h>

#include "NaiveReader.h"
#include "Random.h"

TEST(VLCWriterTest, WritesTheMostSignificantBitFirst) {
    VLCWriter writer;
    writer.put(0b101, 3);
    writer.put(0b00110, 5);
    EXPECT_EQ(bitsOf(writer.takeBytes()), "10100110");
}

TEST(VLCWriterTest, FillsTheLastByteWithZeros) {
    VLCWriter writer;
    writer.put(0b111, 3);
    EXPECT_EQ(bitsOf(writer.takeBytes()), "11100000");
}

TEST(VLCWriterTest, HasNoBytesBeforeTheFirstBit) {
    VLCWriter writer;
    writer.put(1, 0);
    EXPECT_EQ(writer.numBits(), 0u);
    EXPECT_TRUE(writer.takeBytes().empty());
}

TEST(VLCWriterTest, IgnoresBitsAboveTheCount) {
    VLCWriter writer;
    writer.put(~std::uint64_t{0}, 2);
    writer.put(~std::uint64_t{0} << 3, 3);
    EXPECT_EQ(bitsOf(writer.takeBytes()), "11000000");
}

TEST(VLCWriterTest, TakesWholeWordsAtEveryBitOffset) {
    const std::uint64_t word = 0x8123456789ABCDEF;
    for (std::uint32_t offset = 0; offset < 40; ++offset) {
        VLCWriter writer;
        writer.putZeros(offset);
        writer.put(word, 64);
        const std::vector<std::uint8_t> bytes = writer.takeBytes();
        NaiveBits bits(bytes);
        EXPECT_EQ(bits.take(offset), 0u) << offset;
        EXPECT_EQ(bits.take(64), word) << offset;
        EXPECT_LT(bits.left(), 8u) << offset;
    }
}

TEST(VLCWriterTest, IsEmptyAfterItsBytesAreTaken) {
    VLCWriter writer;
    writer.put(0x1FF, 9);
    EXPECT_EQ(writer.takeBytes().size(), 2u);
    EXPECT_EQ(writer.numBits(), 0u);
    writer.put(1, 1);
    EXPECT_EQ(bitsOf(writer.takeBytes()), "10000000");
}

TEST(VLCWriterTest, WritesRandomFieldsThatReadBack) {
    Random random = seeded(101);
    VLCWriter writer;
    VLCCounter counter;
    std::string expected;
    for (int i = 0; i < 20000; ++i) {
        const std::uint32_t numBits = randomBelow(random, 65);
        const std::uint64_t value = (std::uint64_t{random()} << 32) | random();
        writer.put(value, numBits);
        counter.put(value, numBits);
        for (std::uint32_t bit = numBits; bit-- > 0;)
            expected += (value >> bit) % 2 != 0 ? '1' : '0';
        ASSERT_EQ(writer.numBits(), expected.size());
    }
    EXPECT_EQ(counter.numBits(), expected.size());
    expected.append((8 - expected.size() % 8) % 8, '0');
    EXPECT_EQ(bitsOf(writer.takeBytes()), expected);
}
