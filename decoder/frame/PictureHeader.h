#pragma once

#include <cstdint>

#include "Bitstream.h"

/// The header of one coded picture. Nothing in it is checked.
struct PictureHeader {
    std::uint32_t picture_header_size = 0;   ///< bytes from the picture's first byte to the slice table
    std::uint32_t picture_size = 0;          ///< bytes from the picture's first byte to the next picture
    std::uint32_t log2_slice_size_in_mb = 0; ///< 0 to 3; the largest slice has 1 << log2_slice_size_in_mb macroblocks

    /// Reads the header of the picture at `pictureBits`. Bytes that are missing read as zero.
    static PictureHeader picture_header(Bitstream const& pictureBits);
};

/// How a row of macroblocks is cut into slices: as many of the largest as fit, then at most one of each smaller power
/// of two.
class RowDivision {
public:
    /// A row of `widthInMb` macroblocks, whose largest slices have 1 << log2SliceSizeInMb.
    RowDivision(std::uint32_t widthInMb, std::uint32_t log2SliceSizeInMb);

    /// Slices of the row.
    std::uint32_t slicesPerRow() const { return m_slicesPerRow; }

    /// Macroblocks of a slice: 1, 2, 4 or 8.
    std::uint32_t sliceSizeInMb(std::uint32_t column) const;

    /// Macroblocks to the left of a slice.
    std::uint32_t firstMb(std::uint32_t column) const;

private:
    std::uint32_t m_log2SliceSizeInMb;
    std::uint32_t m_fullSlices;   // slices of the largest size
    std::uint32_t m_mbsAfterFull; // macroblocks after them; its set bits are the smaller slices
    std::uint32_t m_slicesPerRow;
};
