#include "CombinationCode.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoeffVLCWriter.h"
#include "NaiveReader.h"
#include "Random.h"
#include "VLCWriter.h"

namespace {

std::string codeBits(CombinationCode const& code, std::uint32_t value) {
    VLCWriter writer;
    code.put(writer, value);
    const std::uint64_t numBits = writer.numBits();
    return bitsOf(writer.takeBytes()).substr(0, numBits);
}

std::vector<CombinationCode> allCodes() {
    std::vector<CombinationCode> codes;
    codes.push_back(kFirstDCCode);
    for (CombinationCode const& code : kDCDifferenceCodes)
        codes.push_back(code);
    for (CombinationCode const& code : kRunCodes)
        codes.push_back(code);
    for (CombinationCode const& code : kLevelCodes)
        codes.push_back(code);
    return codes;
}

NaiveValue readBack(CombinationCode const& code, std::uint32_t value, std::uint64_t& numBits) {
    VLCWriter writer;
    code.put(writer, value);
    numBits = writer.numBits();
    const std::vector<std::uint8_t> bytes = writer.takeBytes();
    NaiveBits bits(bytes);
    return readCode(bits, {code.lastRiceQ, code.riceBits, code.expGolombBits});
}

std::string symbolBits(VLCWriter& writer) {
    const std::uint64_t numBits = writer.numBits();
    return bitsOf(writer.takeBytes()).substr(0, numBits);
}

} // namespace

TEST(CombinationCodeTest, GivesTheCodesWorkedOutByHand) {
    EXPECT_EQ(codeBits(kRunCodes[0], 0), "1");
    EXPECT_EQ(codeBits(kRunCodes[0], 2), "001");
    EXPECT_EQ(codeBits(kRunCodes[0], 3), "00010");
    EXPECT_EQ(codeBits(kRunCodes[0], 4), "00011");
    EXPECT_EQ(codeBits(kRunCodes[0], 5), "0000100");
    EXPECT_EQ(codeBits(kDCDifferenceCodes[3], 5), "1101");
    EXPECT_EQ(codeBits(kDCDifferenceCodes[3], 18), "011010");
    EXPECT_EQ(codeBits(kFirstDCCode, 32), "01000000");
    EXPECT_EQ(codeBits(kFirstDCCode, 5), "100101");
}

TEST(CombinationCodeTest, ReadsBackForEveryCodeAndEverySixteenBitValue) {
    for (CombinationCode const& code : allCodes()) {
        for (std::uint32_t value = 0; value < 70000; value += value < 5000 ? 1 : 37) {
            std::uint64_t numBits = 0;
            ASSERT_EQ(readBack(code, value, numBits).value, value)
                << code.lastRiceQ << " " << code.riceBits << " " << code.expGolombBits;
            VLCCounter counter;
            code.put(counter, value);
            ASSERT_EQ(counter.numBits(), numBits) << value;
        }
    }
}

TEST(CombinationCodeTest, ReadsBackAtTheEdgesOfThirtyTwoBits) {
    for (CombinationCode const& code : allCodes()) {
        for (const std::uint32_t value : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            std::uint64_t numBits = 0;
            EXPECT_EQ(readBack(code, value, numBits).value, value);
        }
    }
}

TEST(CombinationCodeTest, NoCodeIsThePrefixOfTheNext) {
    for (CombinationCode const& code : allCodes()) {
        for (std::uint32_t value = 0; value < 300; ++value) {
            const std::string shorter = codeBits(code, value);
            EXPECT_NE(codeBits(code, value + 1).substr(0, shorter.size()), shorter) << value;
        }
    }
}

// Decoders give up at prefixes of 30 or 31 zeros. The widest symbols of 16-bit coefficients are a difference of 65535,
// folded to 131070, a level of 32768 and a run over a whole component.
TEST(CombinationCodeTest, CoefficientsOfSixteenBitsNeedPrefixesFarBelowTheLimit) {
    std::uint32_t longest = 0;
    std::uint64_t numBits = 0;
    longest = std::max(longest, readBack(kFirstDCCode, 65536, numBits).prefix);
    for (CombinationCode const& code : kDCDifferenceCodes)
        longest = std::max(longest, readBack(code, 131070, numBits).prefix);
    for (CombinationCode const& code : kLevelCodes)
        longest = std::max(longest, readBack(code, 32767, numBits).prefix);
    for (CombinationCode const& code : kRunCodes)
        longest = std::max(longest, readBack(code, 32 * 63 - 1, numBits).prefix);
    EXPECT_EQ(longest, 16u);
    EXPECT_LE(longest, kLongestPortablePrefix);
}

TEST(CoeffVLCWriterTest, WritesTheSignOfADifferenceAgainstTheLastDirection) {
    VLCWriter bits;
    CoeffVLCWriter<VLCWriter> writer(bits);
    writer.dc_coeff_difference(-3); // against the direction of the start, so odd: 5 in the fourth code
    writer.dc_coeff_difference(-1); // in the direction of the last one, so even: 2 in the fourth code
    writer.dc_coeff_difference(1);  // against it: 1 in the second code
    EXPECT_EQ(symbolBits(bits), std::string("1101") + "1010" + "11");
}

TEST(CoeffVLCWriterTest, ADifferenceOfZeroMakesTheNextDirectionPositive) {
    VLCWriter bits;
    CoeffVLCWriter<VLCWriter> writer(bits);
    writer.dc_coeff_difference(-1);
    writer.dc_coeff_difference(0);
    writer.dc_coeff_difference(1); // 2 in the first code
    EXPECT_EQ(symbolBits(bits), std::string("1001") + "10" + "011");
}

TEST(CoeffVLCWriterTest, TheFirstDcLeavesTheDirectionAlone) {
    VLCWriter bits;
    CoeffVLCWriter<VLCWriter> writer(bits);
    writer.first_dc_coeff(-3);
    writer.dc_coeff_difference(1);
    EXPECT_EQ(symbolBits(bits), std::string("100101") + "1010");
}

TEST(CoeffVLCWriterTest, RunsAndLevelsChooseTheCodeOfTheNext) {
    VLCWriter bits;
    CoeffVLCWriter<VLCWriter> writer(bits);
    writer.run(0);                 // code of a run of 4: 1
    writer.abs_level_minus_1(0);   // code of a level symbol of 1: 1
    writer.sign(true);             // 1
    writer.run(20);                // code of a run of 0: 17 after the first escape, six zeros and four bits
    writer.abs_level_minus_1(4);   // code of a level symbol of 0: 1 after the first escape
    writer.sign(false);            // 0
    writer.run(3);                 // code of runs from 15 on: 1 11
    writer.abs_level_minus_1(100); // code of a level symbol of 4: 98 after the first escape
    EXPECT_EQ(symbolBits(bits), std::string("111") + "00000010011" + "000101" + "0" + "111" + "000001100110");
}
