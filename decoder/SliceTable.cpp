#include "SliceTable.h"

#include <bit>

SliceTable::SliceTable(std::uint32_t widthInMb, std::uint32_t heightInMb, std::uint32_t log2SliceSizeInMb,
                       Bitstream const& table)
    : m_table(table),
      m_heightInMb(heightInMb),
      m_log2SliceSizeInMb(log2SliceSizeInMb),
      m_fullSlices(widthInMb >> log2SliceSizeInMb),
      m_mbsBehindFull(widthInMb - (m_fullSlices << log2SliceSizeInMb)),
      m_slicesPerRow(m_fullSlices + static_cast<std::uint32_t>(std::popcount(m_mbsBehindFull))) {
    m_rowOffsets.resize(std::size_t{heightInMb} + 1);
    std::uint64_t offset = 0;
    for (std::uint32_t row = 0; row < heightInMb; ++row) {
        m_rowOffsets[row] = offset;
        // Rows whose entries lie behind the data add nothing.
        const bool hasEntries = 2 * std::uint64_t{m_slicesPerRow} * row < m_table.size;
        for (std::uint32_t column = 0; hasEntries && column < m_slicesPerRow; ++column)
            offset += codedSize(row, column);
    }
    m_rowOffsets[heightInMb] = offset;
}

SliceTable::~SliceTable() = default;

std::uint32_t SliceTable::slicesPerRow() const {
    return m_slicesPerRow;
}

std::uint64_t SliceTable::rowOffset(std::uint32_t row) const {
    return m_rowOffsets[row];
}

std::uint64_t SliceTable::tableBytes() const {
    return 2 * std::uint64_t{m_slicesPerRow} * m_heightInMb;
}

std::uint32_t SliceTable::sliceSizeInMb(std::uint32_t column) const {
    if (column < m_fullSlices)
        return 1u << m_log2SliceSizeInMb;
    std::uint32_t left = m_mbsBehindFull;
    for (std::uint32_t i = m_fullSlices; i < column; ++i)
        left -= std::bit_floor(left);
    return std::bit_floor(left);
}

std::uint32_t SliceTable::firstMb(std::uint32_t column) const {
    if (column <= m_fullSlices)
        return column << m_log2SliceSizeInMb;
    std::uint32_t mbs = m_fullSlices << m_log2SliceSizeInMb;
    for (std::uint32_t i = m_fullSlices; i < column; ++i)
        mbs += sliceSizeInMb(i);
    return mbs;
}

std::uint32_t SliceTable::codedSize(std::uint32_t row, std::uint32_t column) const {
    return m_table.word16At(2 * (std::uint64_t{m_slicesPerRow} * row + column));
}
