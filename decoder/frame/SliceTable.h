#pragma once

#include <cstdint>
#include <vector>

#include "Bitstream.h"
#include "PictureHeader.h"

// Where the bytes of every slice of a picture start.
//
// Only the offset of every kSlicesPerCheckpoint-th slice of a row is kept; the others are summed up from there. The
// sizes stay in the compressed bytes: a table of a slice each would cost a host more than a hundred megabytes for a
// hundred bytes that declare the largest picture. Rows whose entries are all past the end of the data cost nothing, so
// time and memory grow with the bytes of the table that exist.
class SliceTable {
public:
    // `table` is at the first table entry and ends with the caller's data; entries that are missing read as zero.
    SliceTable(RowDivision const& division, std::uint32_t heightInMb, Bitstream const& table);
    ~SliceTable();

    SliceTable(SliceTable const&) = delete;
    SliceTable& operator=(SliceTable const&) = delete;

    RowDivision const& division() const { return m_division; }

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
    RowDivision m_division;
    std::uint32_t m_slicesPerRow;
    std::uint32_t m_checkpointsPerRow;
    std::uint32_t m_rowsWithEntries = 0;      // rows of which the data hold an entry, or a part of one
    std::uint64_t m_bytesOfAllSlices = 0;     // as far as the data hold their entries
    std::vector<std::uint64_t> m_checkpoints; // bytes to every kSlicesPerCheckpoint-th slice of these rows
};
