#include "DecodeMonitor.h"

#include "Picture.h"

std::uint32_t MissingRow::numSlices() const {
    return m_picture.number_of_slices_per_mb_row();
}

SliceFailure MissingRow::failure(std::uint32_t slice_column) const {
    return m_picture.failure(m_mbRow, slice_column, 0);
}

PixelBuffer MissingRow::rectangle(std::uint32_t slice_column) const {
    return m_picture.sliceBuffer(m_mbRow, slice_column);
}

DecodeMonitor::~DecodeMonitor() = default;

bool DecodeMonitor::wantsStop() noexcept {
    return false;
}

void DecodeMonitor::sliceFailed(SliceFailure const&, PixelBuffer const&) noexcept {}

void DecodeMonitor::rowMissing(MissingRow const& row) noexcept {
    for (std::uint32_t column = 0; column < row.numSlices(); ++column)
        sliceFailed(row.failure(column), row.rectangle(column));
}
