#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "FormedPicture.h"
#include "FrameHeader.h"
#include "PictureFacts.h"
#include "PictureHeader.h"
#include "PixelBuffer.h"
#include "SliceGroupForm.h"
#include "SliceLoop.h"
#include "SliceTable.h"
#include "Targets.h"

class Frame;
struct SliceFailure;
struct SliceInput;
template <OptimizationTarget target>
class SliceGroup;
template <OptimizationTarget target>
class FormedRow;

// Slices of a picture: some neighbours of some rows.
struct SliceSpan {
    std::uint32_t firstRow = 0;
    std::uint32_t endRow = 0;
    std::uint32_t firstColumn = 0;
    std::uint32_t endColumn = 0;

    bool isEmpty() const { return firstRow >= endRow || firstColumn >= endColumn; }
};

// The part of a picture that no target differs in: its header, its geometry and its slice table.
class PictureLayout {
public:
    PictureLayout(TemporalOrder order, Frame const& owner, Bitstream const& pictureBits);
    ~PictureLayout();

    PictureLayout(PictureLayout const&) = delete;
    PictureLayout& operator=(PictureLayout const&) = delete;

    Frame const& frame() const;
    TemporalOrder temporalOrder() const;
    PixelBuffer const& pictureBuffer() const;
    std::uint32_t picture_size() const;  // bytes from the picture's first byte to the next picture
    std::uint32_t vertical_size() const; // lines of this picture at full size
    std::uint32_t width_in_mb() const;
    std::uint32_t height_in_mb() const;
    std::uint32_t slice_size_in_mb(std::uint32_t column) const;
    std::uint32_t number_of_slices_per_mb_row() const;
    std::uint32_t coded_size_of_slice(std::uint32_t row, std::uint32_t column) const; // bytes, slice header included
    std::uint32_t getDownSampleFactor() const;                                        // a shift count, 0 to 3

    // Macroblocks to the left of a slice.
    std::uint32_t firstMb(std::uint32_t column) const;

    // The macroblock rows that start before the end of the data. The others hold no slice that could be decoded.
    std::uint32_t rowsInData() const;

    // True for a picture without macroblocks.
    bool isEmpty() const;

    // What the slices have in common. Throws for a bit depth that no writer knows.
    PictureFacts facts() const;

    // The bits of the alpha samples that reach the output, as the writers take them; 0 where there are none.
    std::uint32_t alphaBitsOfOutput() const;

    // One slice, whose bytes start at `bits`.
    SliceInput sliceInput(std::uint32_t row, std::uint32_t column, Bitstream const& bits) const;

    // A slice that failed, as it is reported.
    SliceFailure failure(std::uint32_t row, std::uint32_t column, std::uint32_t component) const;

    // Reports a slice that failed to the frame's monitor.
    void reportFailure(std::uint32_t row, std::uint32_t column, std::uint32_t component) const;

    // Reports the rows from `firstRow` to the last, which start past the end of the data, to the frame's monitor, if
    // there is one, until it wants to stop. No slice of them is opened.
    void reportMissingRows(std::uint32_t firstRow) const;
    // The same for some of the slices of some rows.
    void reportMissingSlices(SliceSpan const& slices) const;

    // The slices that a region depends on, or all of them where it is the whole picture: with all of what they have
    // beyond a reduced picture. `readsNextChroma` says whether the last pixel of a slice depends on the next slice.
    SliceSpan slicesOf(PixelRectangle const& region, bool readsNextChroma) const;

    // The lines of the output that the picture has: of its own, from one to the next of a field.
    std::uint32_t numLines() const;

    // The lines of the picture that a row of macroblocks has.
    RowLines linesOfRow(std::uint32_t row) const;

    // Where a slice's pixels go: the picture's buffer, with address, width and height of the slice.
    PixelBuffer sliceBuffer(std::uint32_t row, std::uint32_t column) const;

    // The most threads of a decode, as in SliceWalk: one for a picture so small that to wake a second one costs more
    // than it brings, otherwise what the frame allows.
    std::uint32_t maxThreads() const;

    // Which slices may be decoded at once. Slices write disjoint rectangles, but for the columns to the right of a
    // reduced picture: without room in the stride they fall on the left edge of the next line of the buffer. In the
    // order given, the picture's own pixels are written after them.
    SliceOrder sliceOrder() const;

    // Fetches the bytes of some neighbouring slices of a row into the cache, before their components are read side by
    // side from many places at once, which no processor foresees.
    void prefetchSlices(std::uint32_t row, std::uint32_t first, std::uint32_t end) const;

    // The cursor at the first byte of a slice.
    Bitstream sliceBits(std::uint32_t row, std::uint32_t column) const;

private:
    static Bitstream after(Bitstream bits, std::uint64_t numBytes);
    void initializePictureBuffer();

    TemporalOrder m_temporalOrder;
    Frame const& m_frame;
    PictureHeader m_header;
    std::uint32_t m_verticalSize;
    std::uint32_t m_widthInMb;
    std::uint32_t m_heightInMb;
    SliceTable m_sliceTable;
    Bitstream m_slices; // from the first slice to the end of the caller's data
    PixelBuffer m_pictureBuffer;
};

// One coded picture: the whole frame or one field. The constructor decodes it; when it returns, the picture's pixels
// are in the caller's buffer.
template <OptimizationTarget target>
class Picture : public PictureLayout {
public:
    Picture(TemporalOrder order, Frame const& owner, Bitstream const& pictureBits);

private:
    // What the decode of a group needs.
    struct Decode {
        Picture const& picture;
        PictureFacts const& facts;
        SliceGroupForm groupForm;
        std::uint32_t groupsPerRow; // where groups are neighbours of one row
    };

    static void decodeGroupOf(void const* context, void* memory, std::uint32_t row, std::uint32_t group);
    static void decodeRangeOf(void const* context, void* memory, std::uint32_t first, std::uint32_t count);

    // The decode to a PictureOutput: whole rows.
    struct RowDecode {
        Picture const& picture;
        PictureFacts const& facts;
        SliceGroupForm groupForm;
        SliceSpan slices;
    };

    void decodeWhole(PictureFacts const& facts) const;
    void decodeInGroups(PictureFacts const& facts, SliceOrder order, std::uint32_t numRows,
                        LaneFunctions const* lanes) const;
    // For the scan in lanes, which needs more slices than a row may have.
    void decodeInRanges(PictureFacts const& facts, SliceGroupForm const& groupForm, std::uint32_t numRows) const;
    void decodeRows(PictureFacts const& facts) const;
    static void decodeRowsOf(void const* context, void* memory, std::uint32_t row, std::uint32_t numRows);
    void decodeRowRange(RowDecode const& decode, void* memory, std::uint32_t firstRow, std::uint32_t numRows) const;
    // Slices are numbered row by row from this one on, with so many in a row.
    struct SliceNumbers {
        std::uint32_t firstRow;
        std::uint32_t firstColumn;
        std::uint32_t slicesPerRow;
    };
    // Adds slices of a row to a group until the frame's monitor wants to stop.
    void addSlices(SliceGroup<target>& sliceGroup, PictureFacts const& facts, FormedRow<target> const* formedRow,
                   std::uint32_t row, std::uint32_t first, std::uint32_t end) const;
    // The same for slices that may be of several rows, from the one with this number on.
    void addSlicesOfRows(SliceGroup<target>& sliceGroup, PictureFacts const& facts, FormedRow<target> const* formedRow,
                         SliceNumbers const& numbers, std::uint64_t first, std::uint32_t count) const;
    // The failures of a group whose first slice has this number.
    void reportFailures(SliceGroup<target> const& sliceGroup, SliceNumbers const& numbers, std::uint64_t first) const;
    // Slices that follow each other in the picture, with the number of the first.
    void decodeSlices(Decode const& decode, void* memory, std::uint64_t first, std::uint32_t count) const;
};

RAVELO_INSTANCES_ELSEWHERE(Picture);
