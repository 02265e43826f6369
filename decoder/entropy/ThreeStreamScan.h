#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "Targets.h"

// Operations on the three components of a slice side by side. Frames do not use them: they take the scan of
// CoefficientScan.h, which reads the components of several slices. Their bodies are in ThreeStreamScan.cpp.
//
// Slice::scanned_coefficients3 reads Y, Cb and Cr in one call; ThreeStreamScan below does its work.
//
// CoeffVLCStream::run3 reads one run from each of three streams, that of the object first. The streams must be three
// distinct objects.
//
// CoeffVLCStream::golombCombinationCode3 reads one code from each of three streams. There is no limit on the prefixes
// here, and no failure.
//
// CoeffVLCStream::golombGetQ counts the zero bits of a prefix without a limit and takes the one bit after them too.
// Where only zeros are left or the bit count has wrapped, Baseline returns what it has counted; AVX2 never counts more
// than 32. So it asks the bit reader for up to 33 bits, which nothing on the path of a frame does.

template <OptimizationTarget target>
class CoeffVLCStream;

// Y, Cb and Cr of a slice read in one call, their DCs side by side, into block order at full size.
//
// Unlike the scan of a frame this one reports nothing: invalid codes are skipped. A value whose position is
// outside its array is dropped, and a component ends when its bits are gone.
template <OptimizationTarget target>
class ThreeStreamScan {
public:
    struct Range {
        Bitstream bits;
        std::uint64_t size;
    };

    Range ranges[3];
    std::int16_t* coefficients[3];
    std::uint32_t numBlocks[3];
    std::uint32_t log2NumBlocks[3];

    void run();

private:
    void scanDcs(CoeffVLCStream<target> (&streams)[3]);
    static void scanAcs(CoeffVLCStream<target>& stream, std::int16_t* values, std::uint32_t blocks,
                        std::uint32_t log2Blocks);
};

RAVELO_INSTANCES_ELSEWHERE(ThreeStreamScan);
