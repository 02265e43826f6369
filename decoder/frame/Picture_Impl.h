#pragma once

#include "DecodeMonitor.h"
#include "Frame.h"
#include "Picture.h"
#include "Slice.h"
#include "SliceLoop.h"

template <OptimizationTarget target>
Picture<target>::Picture(TemporalOrder order, Frame const& owner, Bitstream const& pictureBits)
    : PictureLayout(order, owner, pictureBits) {
    static_assert(sizeof(SliceGroup<target>) <= SliceGroup<target>::kMaxBytes);
    static_assert(alignof(SliceGroup<target>) <= kSliceMemoryAlignment);
    const SliceWalk walk{rowsToVisit(), numberOfGroups(), sliceOrder(), maxThreads(), sizeof(SliceGroup<target>)};
    forEachSliceGroup(walk, decodeGroupOf, this);
    reportMissingRows(walk.numRows);
}

template <OptimizationTarget target>
std::uint32_t Picture<target>::numberOfGroups() const {
    const bool keepsWholeBlocks = getDownSampleFactor() == 0 || pictureBuffer().bitDepth > 8;
    const std::uint32_t slicesAtMost = SliceGroup<target>::maxSlices(frame().chroma_format == 3, keepsWholeBlocks);
    return (number_of_slices_per_mb_row() + slicesAtMost - 1) / slicesAtMost;
}

template <OptimizationTarget target>
void Picture<target>::decodeGroupOf(void const* picture, void* memory, std::uint32_t row, std::uint32_t group) {
    const PlacedSliceGroup<target> placed(memory);
    static_cast<Picture const*>(picture)->decodeGroup(placed.group(), row, group);
}

template <OptimizationTarget target>
void Picture<target>::decodeGroup(SliceGroup<target>& sliceGroup, std::uint32_t row, std::uint32_t group) const {
    // Groups of a row differ by one slice at most.
    const std::uint64_t slices = number_of_slices_per_mb_row();
    const auto first = static_cast<std::uint32_t>(slices * group / numberOfGroups());
    const auto end = static_cast<std::uint32_t>(slices * (group + 1) / numberOfGroups());
    Bitstream bits = sliceBits(row, first);
    for (std::uint32_t column = first; column < end; ++column) {
        if (frame().monitor != nullptr && frame().monitor->wantsStop())
            break;
        sliceGroup.add(row, column, *this, bits);
        bits.advance(coded_size_of_slice(row, column));
    }
    sliceGroup.decode();
}
