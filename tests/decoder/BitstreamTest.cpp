#include "Bitstream.h"

#include <vector>

#include <gtest/gtest.h>

#include "GuardedBytes.h"

namespace {

const std::vector<std::uint8_t> kBytes = {0x12, 0x34, 0x56, 0x78, 0x9A};

} // namespace

TEST(BitstreamTest, AdvanceMovesByTheDistanceWhileBytesRemain) {
    Bitstream bits{kBytes.data(), kBytes.size()};
    bits.advance(2);
    EXPECT_EQ(bits.data, kBytes.data() + 2);
    EXPECT_EQ(bits.size, 3u);
    bits.advance(0);
    EXPECT_EQ(bits.data, kBytes.data() + 2);
    EXPECT_EQ(bits.size, 3u);
}

TEST(BitstreamTest, AdvanceStopsAtTheEndAndTheCountNeverWraps) {
    for (const std::uint64_t distance : {std::uint64_t{5}, std::uint64_t{6}, ~std::uint64_t{0}}) {
        Bitstream bits{kBytes.data(), kBytes.size()};
        bits.advance(distance);
        EXPECT_EQ(bits.data, kBytes.data() + 5);
        EXPECT_EQ(bits.size, 0u);
        bits.advance(1);
        EXPECT_EQ(bits.data, kBytes.data() + 5);
        EXPECT_EQ(bits.size, 0u);
    }
}

TEST(BitstreamTest, FieldsAreBigEndianAndLeaveTheCursorWhereItStands) {
    const Bitstream bits{kBytes.data(), kBytes.size()};
    EXPECT_EQ(bits.byteAt(1), 0x34u);
    EXPECT_EQ(bits.word16At(1), 0x3456u);
    EXPECT_EQ(bits.word32At(1), 0x3456789Au);
    EXPECT_EQ(bits.data, kBytes.data());
    EXPECT_EQ(bits.size, 5u);
}

TEST(BitstreamTest, BytesAtAndBeyondTheEndReadAsZeroAndAreNotTouched) {
    const GuardedBytes held(kBytes);
    const Bitstream bits = held.bits();
    EXPECT_EQ(bits.byteAt(4), 0x9Au);
    EXPECT_EQ(bits.byteAt(5), 0u);
    EXPECT_EQ(bits.word16At(4), 0x9A00u);
    EXPECT_EQ(bits.word16At(5), 0u);
    EXPECT_EQ(bits.word32At(2), 0x56789A00u);
    EXPECT_EQ(bits.word32At(3), 0x789A0000u);
    EXPECT_EQ(bits.word32At(std::uint64_t{1} << 40), 0u);
}

TEST(BitstreamTest, ACursorWithoutBytesReadsZerosEverywhere) {
    const Bitstream bits;
    EXPECT_EQ(bits.byteAt(0), 0u);
    EXPECT_EQ(bits.word32At(0), 0u);
}
