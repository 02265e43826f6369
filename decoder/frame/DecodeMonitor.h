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
    std::uint32_t x = 0;            ///< the slice's first pixel in the whole picture, of the size that is decoded:
    std::uint32_t y = 0;            ///< column and line
    std::uint32_t lineStep = 1;     ///< lines from one line of the slice to the next: 2 for a field
};

class PictureLayout;

/// A row of macroblocks whose slices all start past the end of the data. None of them is opened.
class MissingRow {
public:
    /// Row `mbRow` of the picture, counted from 0, with the slices [firstSlice, endSlice), which are those that the
    /// output needs.
    MissingRow(PictureLayout const& picture, std::uint32_t mbRow, std::uint32_t firstSlice, std::uint32_t endSlice)
        : m_picture(picture), m_mbRow(mbRow), m_firstSlice(firstSlice), m_endSlice(endSlice) {}

    /// The number of slices.
    std::uint32_t numSlices() const { return m_endSlice - m_firstSlice; }

    /// What DecodeMonitor::sliceFailed receives for one of the slices, counted from 0.
    SliceFailure failure(std::uint32_t index) const;

    /// The rectangle of one of the slices.
    PixelBuffer rectangle(std::uint32_t index) const;

private:
    PictureLayout const& m_picture;
    std::uint32_t m_mbRow;
    std::uint32_t m_firstSlice;
    std::uint32_t m_endSlice;
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
    /// the excess columns that the decode call is allowed to write. Where the decode goes to a PictureOutput, `pixels`
    /// is null, and the slice's place follows from `failure`.
    virtual void sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept;

    /// All slices of a row have failed because the data end before it. Called in the order of the rows by the thread
    /// that called the decode, after the other slices of the picture. Unless overridden it calls sliceFailed for each
    /// slice of the row, from the left.
    virtual void rowMissing(MissingRow const& row) noexcept;
};
