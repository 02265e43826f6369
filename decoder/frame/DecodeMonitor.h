#pragma once

#include <cstdint>

#include "PixelBuffer.h"

/// A slice that could not be decoded.
struct SliceFailure {
    std::uint32_t picture = 0;      ///< 0 for the first, 1 for the second picture of the frame
    std::uint32_t mbRow = 0;        ///< macroblock row of the picture
    std::uint32_t slice_column = 0; ///< slice of the row, from the left
    std::uint64_t byteOffset = 0;   ///< of the slice's first byte in the frame; at most the size of the frame
    std::uint32_t component = 0;    ///< the first that failed: 0 Y, 1 Cb, 2 Cr
};

class PictureLayout;

/// A row of macroblocks whose slices all start past the end of the data. None of them is opened.
class MissingRow {
public:
    /// Row `mbRow` of the picture, counted from 0.
    MissingRow(PictureLayout const& picture, std::uint32_t mbRow) : m_picture(picture), m_mbRow(mbRow) {}

    /// The number of slices of the row.
    std::uint32_t numSlices() const;

    /// What DecodeMonitor::sliceFailed receives for a slice of the row.
    SliceFailure failure(std::uint32_t slice_column) const;

    /// The rectangle of a slice of the row.
    PixelBuffer rectangle(std::uint32_t slice_column) const;

private:
    PictureLayout const& m_picture;
    std::uint32_t m_mbRow;
};

/// Notifications for a host while a frame is decoded. They come from any thread that decodes, several at once, and must
/// not throw.
class DecodeMonitor {
public:
    virtual ~DecodeMonitor();

    /// Returns whether the decode should stop. Called before each slice is begun, and before each row that is missing.
    /// A slice that is not begun leaves its rectangle unchanged.
    virtual bool wantsStop() noexcept;

    /// A slice has failed. Its rectangle of the output, described by `rectangle` (width and height in pixels, `pixels`
    /// at its first sample), is unchanged and may be written by this call. `width` may exceed the reduced picture's by
    /// the excess columns that the decode call is allowed to write.
    virtual void sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept;

    /// All slices of a row have failed because the data end before it. Called in the order of the rows by the thread
    /// that called the decode, after the other slices of the picture. Unless overridden it calls sliceFailed for each
    /// slice of the row, from the left.
    virtual void rowMissing(MissingRow const& row) noexcept;
};
