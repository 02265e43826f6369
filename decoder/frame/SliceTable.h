#pragma once

#include <cstdint>
#include <vector>

#include "Bitstream.h"

// How a macroblock row is cut into slices, and where the bytes of every slice start.
//
// Only the offset of every kSlicesPerCheckpoint-th slice of a row is kept; the others are summed up from there. The
// sizes stay in the compressed bytes: a table of a slice each would cost a host more than a hundred megabytes for a
// hundred bytes that declare the largest picture. Rows whose entries all lie past the end of the data cost nothing, so
// time and memory grow with the bytes of the table that exist.
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

    // Bytes from the end of the table to a slice.
    std::uint64_t sliceOffset(std::uint32_t row, std::uint32_t column) const;

    std::uint64_t tableBytes() const;

private:
    static constexpr std::uint32_t kSlicesPerCheckpoint = 64;

    // The sum of the sizes of a row's slices from `column` to before `end`.
    std::uint64_t bytesOf(std::uint32_t row, std::uint32_t column, std::uint32_t end) const;

    Bitstream m_table;
    std::uint32_t m_heightInMb;
    std::uint32_t m_log2SliceSizeInMb;
    std::uint32_t m_fullSlices;    // slices of the largest size in a row
    std::uint32_t m_mbsBehindFull; // macroblocks of a row behind them; its set bits are the smaller slices
    std::uint32_t m_slicesPerRow;
    std::uint32_t m_checkpointsPerRow;
    std::uint32_t m_rowsWithEntries = 0;      // rows of which the data hold an entry, or a part of one
    std::uint64_t m_bytesOfAllSlices = 0;     // as far as the data hold their entries
    std::vector<std::uint64_t> m_checkpoints; // bytes to every kSlicesPerCheckpoint-th slice of these rows
};
