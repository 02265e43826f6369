#pragma once

#include "Picture.h"
#include "Slice.h"
#include "SliceLoop.h"

template <OptimizationTarget target>
Picture<target>::Picture(TemporalOrder temporalOrder, Frame const& owner, Bitstream const& pictureBits)
    : PictureLayout(temporalOrder, owner, pictureBits) {
    const std::uint32_t groups =
        (number_of_slices_per_mb_row() + SliceGroup<target>::kMaxSlices - 1) / SliceGroup<target>::kMaxSlices;
    forEachSliceGroup(height_in_mb(), groups, decodeSlicesOf, this);
}

template <OptimizationTarget target>
void Picture<target>::decodeSlicesOf(void const* picture, std::uint32_t row, std::uint32_t group) {
    static_cast<Picture const*>(picture)->decodeSlices(row, group * SliceGroup<target>::kMaxSlices);
}

template <OptimizationTarget target>
void Picture<target>::decodeSlices(std::uint32_t row, std::uint32_t firstColumn) const {
    Bitstream bits = rowBits(row);
    for (std::uint32_t column = 0; column < firstColumn; ++column)
        bits.advance(coded_size_of_slice(row, column));

    SliceGroup<target> group;
    for (std::uint32_t column = firstColumn; column < number_of_slices_per_mb_row() && !group.full(); ++column) {
        group.add(row, column, *this, bits);
        bits.advance(coded_size_of_slice(row, column));
    }
    group.decode();
}
