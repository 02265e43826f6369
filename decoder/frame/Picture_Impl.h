#pragma once

#include "DecodeMonitor.h"
#include "FormedPicture.h"
#include "Frame.h"
#include "LaneSupport.h"
#include "Picture.h"
#include "Slice.h"
#include "SliceLoop.h"
#include "TargetSupport.h"

template <OptimizationTarget target>
Picture<target>::Picture(TemporalOrder temporalOrder, Frame const& owner, Bitstream const& pictureBits)
    : PictureLayout(temporalOrder, owner, pictureBits) {
    static_assert(alignof(SliceGroup<target>) <= kSliceMemoryAlignment);
    if (isEmpty())
        return;
    PictureFacts facts = this->facts();
    facts.reconstruction = currentReconstructionForm(target);
    if (frame().output != nullptr)
        decodeRows(facts);
    else
        decodeWhole(facts);
}

template <OptimizationTarget target>
SliceGroupForm Picture<target>::groupFormFor(PictureFacts const& facts, std::uint32_t slicesPerRow) const {
    // Baseline never uses lanes.
    LaneScanFunction* scanInLanes = nullptr;
    if constexpr (kHasVectorForms<target>)
        scanInLanes = laneScanOfPicture();
    return SliceGroup<target>::formFor(facts.form, slicesPerRow, scanInLanes);
}

template <OptimizationTarget target>
void Picture<target>::decodeWhole(PictureFacts const& facts) const {
    const SliceGroupForm groupForm = groupFormFor(facts, number_of_slices_per_mb_row());
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
    addSlices(sliceGroup, decode.facts, nullptr, row, first, end);
    sliceGroup.decode();
    reportFailures(sliceGroup, row, first);
}

template <OptimizationTarget target>
void Picture<target>::addSlices(SliceGroup<target>& sliceGroup, PictureFacts const& facts,
                                FormedRow<target> const* formedRow, std::uint32_t row, std::uint32_t first,
                                std::uint32_t end) const {
    Bitstream bits = sliceBits(row, first);
    for (std::uint32_t column = first; column < end; ++column) {
        if (frame().monitor != nullptr && frame().monitor->wantsStop())
            break;
        SliceInput input = sliceInput(row, column, bits);
        if (formedRow != nullptr)
            input.rectangle = formedRow->codedRectangle(input.rectangle);
        sliceGroup.add(facts, input);
        bits.advance(input.codedSize);
    }
}

template <OptimizationTarget target>
void Picture<target>::reportFailures(SliceGroup<target> const& sliceGroup, std::uint32_t row,
                                     std::uint32_t first) const {
    for (std::uint32_t i = 0; i < sliceGroup.numSlices(); ++i)
        if (sliceGroup.failedComponent(i) != SliceGroup<target>::kNoComponent)
            reportFailure(row, first + i, sliceGroup.failedComponent(i));
}

// A row is the unit of work, since the last pixel of a slice may depend on the slice to its right.
template <OptimizationTarget target>
void Picture<target>::decodeRows(PictureFacts const& sharedFacts) const {
    PictureFacts facts = sharedFacts;
    FormedPicture formed(*frame().output, pictureBuffer(), alphaBitsOfOutput());
    formed.convertsHalvesByInstruction = kHasVectorForms<target> && canConvertHalves();
    facts.formed = &formed;
    // What is written is read at once.
    facts.form.streams = false;
    const SliceSpan slices = slicesOf(formed.output.region, formed.readsNextChroma());
    if (slices.isEmpty())
        return;
    static_assert(sizeof(SliceGroup<target>) % alignof(RowMemory) == 0);
    const SliceGroupForm groupForm = groupFormFor(facts, slices.endColumn - slices.firstColumn);
    const RowDecode decode{*this, facts, groupForm, slices};
    const std::uint32_t rows = rowsInData();
    const std::uint32_t endRow = rows < slices.endRow ? rows : slices.endRow;
    const std::uint32_t numRows = endRow > slices.firstRow ? endRow - slices.firstRow : 0;
    const SliceWalk walk{numRows, 1, SliceOrder::Any, maxThreads(),
                         sizeof(RowMemory) + SliceGroup<target>::bytes(groupForm)};
    forEachSliceGroup(walk, decodeRowOf, &decode);
    reportMissingSlices({slices.firstRow + numRows, slices.endRow, slices.firstColumn, slices.endColumn});
}

template <OptimizationTarget target>
void Picture<target>::decodeRowOf(void const* context, void* memory, std::uint32_t row, std::uint32_t) {
    RowDecode const& decode = *static_cast<RowDecode const*>(context);
    decode.picture.decodeRow(decode, memory, decode.slices.firstRow + row);
}

template <OptimizationTarget target>
void Picture<target>::decodeRow(RowDecode const& decode, void* memory, std::uint32_t row) const {
    auto& rowMemory = *static_cast<RowMemory*>(memory);
    void* const groupMemory = &rowMemory + 1;
    FormedPicture const& formed = *decode.facts.formed;
    const SliceSpan slices = decode.slices;
    FormedRow<target> formedRow(formed, linesOfRow(row), firstMb(slices.firstColumn) * formed.mbSize, rowMemory);
    for (std::uint32_t first = slices.firstColumn; first < slices.endColumn; first += decode.groupForm.maxSlices) {
        const std::uint32_t left = slices.endColumn - first;
        const std::uint32_t count = left < decode.groupForm.maxSlices ? left : decode.groupForm.maxSlices;
        const PlacedSliceGroup<target> placed(groupMemory, decode.groupForm);
        addSlices(placed.group(), decode.facts, &formedRow, row, first, first + count);
        placed.group().decodeInto(formedRow);
        reportFailures(placed.group(), row, first);
        if (placed.group().numSlices() < count)
            break;
    }
    formedRow.finish();
}
