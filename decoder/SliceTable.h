#pragma once

#include <cstdint>
#include <vector>

#include "Bitstream.h"

// How a macroblock row is cut into slices, and where the bytes of every slice start.
//
// Only one offset a row is kept. The sizes stay in the compressed bytes: a table of a slice each would cost a host
// more than a hundred megabytes for a hundred bytes that declare the largest picture.
class SliceTable {
public:
    // Cuts a row of `widthInMb` macroblocks into as many slices of 1 << log2SliceSizeInMb macroblocks as fit, then at
    // most one of each smaller power of two. `table` stands at the first table entry and ends with the caller's data;
    // entries that are missing read as zero.
    SliceTable(std::uint32_t widthInMb, std::uint32_t heightInMb, std::uint32_t log2SliceSizeInMb,
               Bitstream const& table);
    ~SliceTable();

    SliceTable(SliceTable const&) = delete;
    SliceTable& operator=(SliceTable const&) = delete;

    std::uint32_t slicesPerRow() const;

    // Macroblocks of a slice: 1, 2, 4 or 8.
    std::uint32_t sliceSizeInMb(std::uint32_t column) const;

    // Macroblocks to the left of a slice.
    std::uint32_t firstMb(std::uint32_t column) const;

    // Bytes of a slice, its header included.
    std::uint32_t codedSize(std::uint32_t row, std::uint32_t column) const;

    // Bytes from the end of the table to the first slice of a row, or to the end of the last slice for the row behind
    // the last.
    std::uint64_t rowOffset(std::uint32_t row) const;

    std::uint64_t tableBytes() const;

private:
    Bitstream m_table;
    std::uint32_t m_heightInMb;
    std::uint32_t m_log2SliceSizeInMb;
    std::uint32_t m_fullSlices;    // slices of the largest size in a row
    std::uint32_t m_mbsBehindFull; // macroblocks of a row behind them; its set bits are the smaller slices
    std::uint32_t m_slicesPerRow;
    std::vector<std::uint64_t> m_rowOffsets; // m_heightInMb + 1
};
