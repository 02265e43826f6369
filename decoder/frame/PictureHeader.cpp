#include "PictureHeader.h"

#include <bit>

PictureHeader PictureHeader::picture_header(Bitstream const& pictureBits) {
    PictureHeader header;
    header.picture_header_size = pictureBits.byteAt(0) >> 3;
    header.picture_size = pictureBits.word32At(1);
    header.log2_slice_size_in_mb = pictureBits.byteAt(7) >> 4 & 3;
    return header;
}

RowDivision::RowDivision(std::uint32_t widthInMb, std::uint32_t log2SliceSizeInMb)
    : m_log2SliceSizeInMb(log2SliceSizeInMb),
      m_fullSlices(widthInMb >> log2SliceSizeInMb),
      m_mbsAfterFull(widthInMb - (m_fullSlices << log2SliceSizeInMb)),
      m_slicesPerRow(m_fullSlices + static_cast<std::uint32_t>(std::popcount(m_mbsAfterFull))) {}

std::uint32_t RowDivision::sliceSizeInMb(std::uint32_t column) const {
    if (column < m_fullSlices)
        return 1u << m_log2SliceSizeInMb;
    std::uint32_t left = m_mbsAfterFull;
    for (std::uint32_t i = m_fullSlices; i < column; ++i)
        left -= std::bit_floor(left);
    return std::bit_floor(left);
}

std::uint32_t RowDivision::firstMb(std::uint32_t column) const {
    if (column <= m_fullSlices)
        return column << m_log2SliceSizeInMb;
    std::uint32_t mbs = m_fullSlices << m_log2SliceSizeInMb;
    for (std::uint32_t i = m_fullSlices; i < column; ++i)
        mbs += sliceSizeInMb(i);
    return mbs;
}
