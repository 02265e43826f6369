#pragma once

#include "DecodeMonitor.h"
#include "Frame.h"
#include "LaneSupport.h"
#include "Picture.h"
#include "Slice.h"
#include "SliceLoop.h"

template <OptimizationTarget target>
Picture<target>::Picture(TemporalOrder temporalOrder, Frame const& owner, Bitstream const& pictureBits)
    : PictureLayout(temporalOrder, owner, pictureBits) {
    static_assert(alignof(SliceGroup<target>) <= kSliceMemoryAlignment);
    if (isEmpty())
        return;
    PictureFacts facts = this->facts();
    facts.reconstruction = currentReconstructionForm(target);
    // Baseline never uses lanes.
    LaneScanFunction* const scanInLanes = kHasVectorForms<target> ? laneScanOfPicture() : nullptr;
    const SliceGroupForm groupForm =
        SliceGroup<target>::formFor(facts.form, number_of_slices_per_mb_row(), scanInLanes);
    const SliceOrder order = sliceOrder();
    std::uint32_t groupsPerRow = (number_of_slices_per_mb_row() + groupForm.maxSlices - 1) / groupForm.maxSlices;
    if (order == SliceOrder::LastGroupFirst && groupsPerRow == 1)
        groupsPerRow = 2;
    const Decode decode{*this, facts, groupForm, groupsPerRow};
    const SliceWalk walk{rowsInData(), groupsPerRow, order, maxThreads(), SliceGroup<target>::bytes(groupForm)};
    forEachSliceGroup(walk, decodeGroupOf, &decode);
    reportMissingRows(walk.numRows);
}

template <OptimizationTarget target>
void Picture<target>::decodeGroupOf(void const* context, void* memory, std::uint32_t row, std::uint32_t group) {
    Decode const& decode = *static_cast<Decode const*>(context);
    const PlacedSliceGroup<target> placed(memory, decode.groupForm);
    decode.picture.decodeGroup(decode, placed.group(), row, group);
}

template <OptimizationTarget target>
void Picture<target>::decodeGroup(Decode const& decode, SliceGroup<target>& sliceGroup, std::uint32_t row,
                                  std::uint32_t group) const {
    // Groups of a row differ by one slice at most.
    const std::uint64_t slices = number_of_slices_per_mb_row();
    const auto first = static_cast<std::uint32_t>(slices * group / decode.groupsPerRow);
    const auto end = static_cast<std::uint32_t>(slices * (group + 1) / decode.groupsPerRow);
    Bitstream bits = sliceBits(row, first);
    for (std::uint32_t column = first; column < end; ++column) {
        if (frame().monitor != nullptr && frame().monitor->wantsStop())
            break;
        const SliceInput input = sliceInput(row, column, bits);
        sliceGroup.add(decode.facts, input);
        bits.advance(input.codedSize);
    }
    sliceGroup.decode();
    for (std::uint32_t i = 0; i < sliceGroup.numSlices(); ++i)
        if (sliceGroup.failedComponent(i) != SliceGroup<target>::kNoComponent)
            reportFailure(row, first + i, sliceGroup.failedComponent(i));
}
