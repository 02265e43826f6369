#pragma once

#include <cstdint>

#include "CoefficientScan_Impl.h"

// Y, Cb and Cr of a slice read in one call, their DCs side by side, into block order at full size.
//
// Unlike the single scan this one reports nothing: invalid codes are passed over. A value whose position lies outside
// its array is dropped, and a component ends when its bits are gone.
template <OptimizationTarget target>
struct ThreeStreamScan {
    struct Range {
        Bitstream bits;
        std::uint64_t size;
    };

    Range ranges[3];
    std::int16_t* coefficients[3];
    std::uint32_t numBlocks[3];
    std::uint32_t log2NumBlocks[3];

    void run() {
        // The arrays lie back to back, so one sweep clears all three.
        const std::size_t numValues = 64 * (std::size_t{numBlocks[0]} + numBlocks[1] + numBlocks[2]);
        __builtin_memset(coefficients[0], 0, numValues * sizeof(std::int16_t));

        CoeffVLCStream<target> streams[3] = {
            {ranges[0].bits, ranges[0].size}, {ranges[1].bits, ranges[1].size}, {ranges[2].bits, ranges[2].size}};
        scanDcs(streams);
        for (int i = 0; i < 3; ++i)
            scanAcs(streams[i], coefficients[i], numBlocks[i], log2NumBlocks[i]);
    }

private:
    void scanDcs(CoeffVLCStream<target> (&streams)[3]) {
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

    static void scanAcs(CoeffVLCStream<target>& stream, std::int16_t* values, std::uint32_t blocks,
                        std::uint32_t log2Blocks) {
        std::uint32_t position = blocks;
        std::uint32_t block = 0;
        // A wrapped bit count would never end by itself.
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
};
