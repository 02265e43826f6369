#include "ThreeStreamScan.h"

#include "CoeffVLCStream_Impl.h"
#include "PlainScan_Impl.h"

// All instances are here: these operations use no instruction that the targets differ in.

template <OptimizationTarget target>
void ThreeStreamScan<target>::run() {
    // The arrays are contiguous, so one call clears all three.
    const std::size_t numValues = 64 * (std::size_t{numBlocks[0]} + numBlocks[1] + numBlocks[2]);
    __builtin_memset(coefficients[0], 0, numValues * sizeof(std::int16_t));

    CoeffVLCStream<target> streams[3] = {
        {ranges[0].bits, ranges[0].size}, {ranges[1].bits, ranges[1].size}, {ranges[2].bits, ranges[2].size}};
    scanDcs(streams);
    for (int i = 0; i < 3; ++i)
        scanAcs(streams[i], coefficients[i], numBlocks[i], log2NumBlocks[i]);
}

template <OptimizationTarget target>
void ThreeStreamScan<target>::scanDcs(CoeffVLCStream<target> (&streams)[3]) {
    std::uint32_t sums[3];
    for (int i = 0; i < 3; ++i) {
        sums[i] = static_cast<std::uint32_t>(streams[i].first_dc_coeff());
        coefficients[i][0] = static_cast<std::int16_t>(sums[i]);
    }
    for (std::uint32_t block = 1; block < numBlocks[0]; ++block) {
        const int numStreams = block < numBlocks[1] ? 3 : 1;
        for (int i = 0; i < numStreams; ++i) {
            sums[i] += static_cast<std::uint32_t>(streams[i].dc_coeff_difference());
            coefficients[i][64 * block] = static_cast<std::int16_t>(sums[i]);
        }
    }
}

template <OptimizationTarget target>
void ThreeStreamScan<target>::scanAcs(CoeffVLCStream<target>& stream, std::int16_t* values, std::uint32_t blocks,
                                      std::uint32_t log2Blocks) {
    std::uint32_t position = blocks;
    std::uint32_t block = 0;
    // With a wrapped bit count the loop would never end by itself.
    while (!stream.endOfData() && !stream.bitCountWrapped()) {
        const std::uint32_t skipped = stream.run();
        block = (block + skipped) & (blocks - 1);
        const int absLevelMinus1 = stream.abs_level_minus_1();
        const std::int16_t level = signedLevel(absLevelMinus1, stream.sign());
        const std::uint64_t index = std::uint64_t{(position + skipped) >> log2Blocks} + 64 * std::uint64_t{block};
        if (index < 64 * std::uint64_t{blocks})
            values[index] = level;
        block = (block + 1) & (blocks - 1);
        position += skipped + 1;
    }
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::golombGetQ() {
    if (kHasVectorForms<target>) {
        const std::uint32_t next = this->peekBits32();
        const unsigned int q = next == 0 ? 32u : static_cast<unsigned int>(__builtin_clz(next));
        this->getBits(q + 1);
        return q;
    }
    unsigned int q = 0;
    while (this->getBits(1) == 0) {
        ++q;
        // Past the end, and after a wrapped bit count, the zeros would never end.
        const bool onlyZerosRemain = m_bitBuffer == 0 && m_bitstream.size == 0;
        if (onlyZerosRemain || bitCountWrapped())
            return q;
    }
    return q;
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::run3(CoeffVLCStream& second, unsigned int& secondRun, CoeffVLCStream& third,
                                          unsigned int& thirdRun) {
    const unsigned int firstRun = run();
    secondRun = second.run();
    thirdRun = third.run();
    return firstRun;
}

template <OptimizationTarget target>
unsigned int CoeffVLCStream<target>::golombCombinationCode3(CoeffVLCStream& second, CoeffVLCStream& third,
                                                            GolombCombinationCodeParams const* firstParams,
                                                            GolombCombinationCodeParams const* secondParams,
                                                            GolombCombinationCodeParams const* thirdParams,
                                                            unsigned int& valueOfSecond, unsigned int& valueOfThird) {
    // All prefixes before any suffix: the three look-ahead chains do not wait for each other.
    const unsigned int firstQ = golombGetQ();
    const unsigned int secondQ = second.golombGetQ();
    const unsigned int thirdQ = third.golombGetQ();
    const unsigned int valueOfFirst = codeAfterPrefix(firstQ, firstParams);
    valueOfSecond = second.codeAfterPrefix(secondQ, secondParams);
    valueOfThird = third.codeAfterPrefix(thirdQ, thirdParams);
    return valueOfFirst;
}

using Params = GolombCombinationCodeParams const*;

#define RAVELO_THREE_STREAM_INSTANCES(target)                                                                          \
    template class ThreeStreamScan<target>;                                                                            \
    template unsigned int CoeffVLCStream<target>::golombGetQ();                                                        \
    template unsigned int CoeffVLCStream<target>::run3(CoeffVLCStream&, unsigned int&, CoeffVLCStream&,                \
                                                       unsigned int&);                                                 \
    template unsigned int CoeffVLCStream<target>::golombCombinationCode3(                                              \
        CoeffVLCStream&, CoeffVLCStream&, Params, Params, Params, unsigned int&, unsigned int&);

RAVELO_FOR_EACH_TARGET(RAVELO_THREE_STREAM_INSTANCES)
