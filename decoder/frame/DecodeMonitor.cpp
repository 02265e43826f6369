#include "DecodeMonitor.h"

#include "Picture.h"

SliceFailure MissingRow::failure(std::uint32_t index) const {
    return m_picture.failure(m_mbRow, m_firstSlice + index, 0);
}

PixelBuffer MissingRow::rectangle(std::uint32_t index) const {
    return m_picture.sliceBuffer(m_mbRow, m_firstSlice + index);
}

DecodeMonitor::~DecodeMonitor() = default;

bool DecodeMonitor::wantsStop() noexcept {
    return false;
}

void DecodeMonitor::sliceFailed(SliceFailure const&, PixelBuffer const&) noexcept {}

void DecodeMonitor::rowMissing(MissingRow const& row) noexcept {
    for (std::uint32_t index = 0; index < row.numSlices(); ++index)
        sliceFailed(row.failure(index), row.rectangle(index));
}
