#include "SliceTable.h"

#include <algorithm>

SliceTable::SliceTable(RowDivision const& division, std::uint32_t heightInMb, Bitstream const& table)
    : m_table(table),
      m_heightInMb(heightInMb),
      m_division(division),
      m_slicesPerRow(division.slicesPerRow()),
      m_checkpointsPerRow((m_slicesPerRow + kSlicesPerCheckpoint - 1) / kSlicesPerCheckpoint) {
    if (m_slicesPerRow == 0)
        return;
    const std::uint64_t bytesPerRow = 2 * std::uint64_t{m_slicesPerRow};
    const std::uint64_t rowsInData = m_table.size / bytesPerRow + (m_table.size % bytesPerRow != 0 ? 1 : 0);
    m_rowsWithEntries = static_cast<std::uint32_t>(std::min<std::uint64_t>(heightInMb, rowsInData));
    m_checkpoints.reserve(std::size_t{m_rowsWithEntries} * m_checkpointsPerRow);
    for (std::uint32_t row = 0; row < m_rowsWithEntries; ++row) {
        for (std::uint32_t column = 0; column < m_slicesPerRow; column += kSlicesPerCheckpoint) {
            m_checkpoints.push_back(m_bytesOfAllSlices);
            m_bytesOfAllSlices += bytesOf(row, column, std::min(column + kSlicesPerCheckpoint, m_slicesPerRow));
        }
    }
}

SliceTable::~SliceTable() = default;

std::uint64_t SliceTable::sliceOffset(std::uint32_t row, std::uint32_t column) const {
    if (row >= m_rowsWithEntries)
        return m_bytesOfAllSlices;
    const std::uint32_t checkpoint = column / kSlicesPerCheckpoint;
    return m_checkpoints[std::size_t{row} * m_checkpointsPerRow + checkpoint] +
           bytesOf(row, checkpoint * kSlicesPerCheckpoint, column);
}

std::uint64_t SliceTable::bytesOf(std::uint32_t row, std::uint32_t column, std::uint32_t end) const {
    Bitstream entries = m_table;
    entries.advance(2 * (std::uint64_t{m_slicesPerRow} * row + column));
    std::uint64_t bytes = 0;
    for (; column < end; ++column) {
        bytes += entries.word16At(0);
        entries.advance(2);
    }
    return bytes;
}

std::uint64_t SliceTable::tableBytes() const {
    return 2 * std::uint64_t{m_slicesPerRow} * m_heightInMb;
}

std::uint32_t SliceTable::codedSize(std::uint32_t row, std::uint32_t column) const {
    return m_table.word16At(2 * (std::uint64_t{m_slicesPerRow} * row + column));
}
