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

// Baseline never uses lanes.
template <OptimizationTarget target>
LaneFunctions const* lanesOfPicture() {
    if constexpr (kHasVectorForms<target>)
        return laneFunctionsOfPicture();
    return nullptr;
}

template <OptimizationTarget target>
void Picture<target>::decodeWhole(PictureFacts const& facts) const {
    const SliceOrder order = sliceOrder();
    const std::uint32_t numRows = rowsInData();
    const std::uint64_t numSlices = std::uint64_t{numRows} * number_of_slices_per_mb_row();
    constexpr std::uint64_t kMost = SliceGroup<target>::kMaxSlicesInLanes;
    LaneFunctions const* const lanes = lanesOfPicture<target>();
    const SliceGroupForm ofSeveralRows = SliceGroup<target>::formFor(
        facts.form, static_cast<std::uint32_t>(numSlices < kMost ? numSlices : kMost), lanes);
    if (order == SliceOrder::Any && ofSeveralRows.lanes != nullptr)
        decodeInRanges(facts, ofSeveralRows, numRows);
    else
        decodeInGroups(facts, order, numRows, lanes);
    reportMissingRows(numRows);
}

template <OptimizationTarget target>
void Picture<target>::decodeInRanges(PictureFacts const& facts, SliceGroupForm const& groupForm,
                                     std::uint32_t numRows) const {
    const Decode decode{*this, facts, groupForm, 1};
    const SliceRangeWalk walk{numRows * number_of_slices_per_mb_row(), groupForm.maxSlices,
                              SliceGroup<target>::kLeastSlicesInLanes, maxThreads(),
                              SliceGroup<target>::bytes(groupForm)};
    forEachSliceRange(walk, decodeRangeOf, &decode);
}

template <OptimizationTarget target>
void Picture<target>::decodeRangeOf(void const* context, void* memory, std::uint32_t first, std::uint32_t count) {
    Decode const& decode = *static_cast<Decode const*>(context);
    decode.picture.decodeSlices(decode, memory, first, count);
}

template <OptimizationTarget target>
void Picture<target>::decodeInGroups(PictureFacts const& facts, SliceOrder order, std::uint32_t numRows,
                                     LaneFunctions const* lanes) const {
    const SliceGroupForm groupForm = SliceGroup<target>::formFor(facts.form, number_of_slices_per_mb_row(), lanes);
    std::uint32_t groupsPerRow = (number_of_slices_per_mb_row() + groupForm.maxSlices - 1) / groupForm.maxSlices;
    if (order == SliceOrder::LastGroupFirst && groupsPerRow == 1)
        groupsPerRow = 2;
    const Decode decode{*this, facts, groupForm, groupsPerRow};
    const SliceWalk walk{numRows, groupsPerRow, order, maxThreads(), SliceGroup<target>::bytes(groupForm)};
    forEachSliceGroup(walk, decodeGroupOf, &decode);
}

template <OptimizationTarget target>
void Picture<target>::decodeGroupOf(void const* context, void* memory, std::uint32_t row, std::uint32_t group) {
    Decode const& decode = *static_cast<Decode const*>(context);
    // Groups of a row differ by one slice at most.
    const std::uint64_t slices = decode.picture.number_of_slices_per_mb_row();
    const std::uint64_t first = slices * group / decode.groupsPerRow, end = slices * (group + 1) / decode.groupsPerRow;
    decode.picture.decodeSlices(decode, memory, row * slices + first, static_cast<std::uint32_t>(end - first));
}

template <OptimizationTarget target>
void Picture<target>::decodeSlices(Decode const& decode, void* memory, std::uint64_t first, std::uint32_t count) const {
    const PlacedSliceGroup<target> placed(memory, decode.groupForm);
    const SliceNumbers numbers{0, 0, number_of_slices_per_mb_row()};
    addSlicesOfRows(placed.group(), decode.facts, nullptr, numbers, first, count);
    placed.group().decode();
    reportFailures(placed.group(), numbers, first);
}

template <OptimizationTarget target>
void Picture<target>::addSlicesOfRows(SliceGroup<target>& sliceGroup, PictureFacts const& facts,
                                      FormedRow<target> const* formedRow, SliceNumbers const& numbers,
                                      std::uint64_t first, std::uint32_t count) const {
    const std::uint64_t end = first + count;
    for (std::uint64_t next = first; next < end;) {
        const auto column = static_cast<std::uint32_t>(next % numbers.slicesPerRow);
        const std::uint32_t inRow = numbers.slicesPerRow - column;
        const std::uint32_t added = inRow < end - next ? inRow : static_cast<std::uint32_t>(end - next);
        addSlices(sliceGroup, facts, formedRow,
                  numbers.firstRow + static_cast<std::uint32_t>(next / numbers.slicesPerRow),
                  numbers.firstColumn + column, numbers.firstColumn + column + added);
        next += added;
        // Slices that were not added because the decode is to stop are at the end.
        if (sliceGroup.numSlices() != next - first)
            break;
    }
}

template <OptimizationTarget target>
void Picture<target>::addSlices(SliceGroup<target>& sliceGroup, PictureFacts const& facts,
                                FormedRow<target> const* formedRow, std::uint32_t row, std::uint32_t first,
                                std::uint32_t end) const {
    prefetchSlices(row, first, end);
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
void Picture<target>::reportFailures(SliceGroup<target> const& sliceGroup, SliceNumbers const& numbers,
                                     std::uint64_t first) const {
    for (std::uint32_t i = 0; i < sliceGroup.numSlices(); ++i) {
        if (sliceGroup.failedComponent(i) == SliceGroup<target>::kNoComponent)
            continue;
        const std::uint64_t number = first + i;
        reportFailure(numbers.firstRow + static_cast<std::uint32_t>(number / numbers.slicesPerRow),
                      numbers.firstColumn + static_cast<std::uint32_t>(number % numbers.slicesPerRow),
                      sliceGroup.failedComponent(i));
    }
}

// Whole rows are the unit of work, since the last pixel of a slice may depend on the slice to its right.
template <OptimizationTarget target>
void Picture<target>::decodeRows(PictureFacts const& sharedFacts) const {
    PictureFacts facts = sharedFacts;
    FormedPicture formed(*frame().output, pictureBuffer(), alphaBitsOfOutput());
    formed.convertsHalvesByInstruction = kHasVectorForms<target> && canConvertHalves();
    const bool isHalf = formed.output.form == PixelForm::RgbaHalf;
    formed.isWide = facts.reconstruction == ReconstructionForm::Wide && (!isHalf || formed.convertsHalvesByInstruction);
    facts.formed = &formed;
    // What is written is read at once.
    facts.form.streams = false;
    const SliceSpan slices = slicesOf(formed.output.region, formed.readsNextChroma());
    if (slices.isEmpty())
        return;
    static_assert(sizeof(SliceGroup<target>) % alignof(RowMemory) == 0);
    constexpr std::uint32_t kMost = SliceGroup<target>::kMaxSlicesInLanes;
    constexpr std::uint32_t kLeast = SliceGroup<target>::kLeastSlicesInLanes;
    const std::uint32_t slicesPerRow = slices.endColumn - slices.firstColumn;
    const std::uint32_t rows = rowsInData();
    const std::uint32_t endRow = rows < slices.endRow ? rows : slices.endRow;
    const std::uint32_t numRows = endRow > slices.firstRow ? endRow - slices.firstRow : 0;
    // Short rows are read several at a time in lanes.
    std::uint32_t mostRows = slicesPerRow < kMost ? kMost / slicesPerRow : 1;
    mostRows = mostRows < numRows ? mostRows : numRows;
    const SliceGroupForm groupForm =
        SliceGroup<target>::formFor(facts.form, slicesPerRow * mostRows, lanesOfPicture<target>());
    const RowDecode decode{*this, facts, groupForm, slices};
    SliceRangeWalk walk{numRows, 1, 1, maxThreads(), sizeof(RowMemory) + SliceGroup<target>::bytes(groupForm)};
    if (groupForm.lanes != nullptr && mostRows > 1) {
        walk.mostUnits = mostRows;
        walk.leastUnits = (kLeast + slicesPerRow - 1) / slicesPerRow;
    }
    forEachSliceRange(walk, decodeRowsOf, &decode);
    reportMissingSlices({slices.firstRow + numRows, slices.endRow, slices.firstColumn, slices.endColumn});
}

template <OptimizationTarget target>
void Picture<target>::decodeRowsOf(void const* context, void* memory, std::uint32_t row, std::uint32_t numRows) {
    RowDecode const& decode = *static_cast<RowDecode const*>(context);
    decode.picture.decodeRowRange(decode, memory, decode.slices.firstRow + row, numRows);
}

// The rows of a range, of which a FormedRow has one after the other.
template <OptimizationTarget target>
struct RowsInTurn {
    Picture<target> const& picture;
    FormedRow<target>& formedRow;
    std::uint32_t row;
    std::uint32_t firstX;

    static void beginNext(void* context) {
        RowsInTurn& rows = *static_cast<RowsInTurn*>(context);
        ++rows.row;
        rows.formedRow.beginNext(rows.picture.linesOfRow(rows.row), rows.firstX);
    }
};

template <OptimizationTarget target>
void Picture<target>::decodeRowRange(RowDecode const& decode, void* memory, std::uint32_t firstRow,
                                     std::uint32_t numRows) const {
    auto& rowMemory = *static_cast<RowMemory*>(memory);
    void* const groupMemory = &rowMemory + 1;
    FormedPicture const& formed = *decode.facts.formed;
    const SliceSpan span = decode.slices;
    const SliceNumbers numbers{firstRow, span.firstColumn, span.endColumn - span.firstColumn};
    const std::uint32_t numSlices = numRows * numbers.slicesPerRow;
    const std::uint32_t firstX = firstMb(span.firstColumn) * formed.mbSize;
    FormedRow<target> formedRow(formed, linesOfRow(firstRow), firstX, rowMemory);
    RowsInTurn<target> rows{*this, formedRow, firstRow, firstX};
    // Groups differ by one slice at most.
    const std::uint32_t numGroups = (numSlices + decode.groupForm.maxSlices - 1) / decode.groupForm.maxSlices;
    for (std::uint64_t group = 0; group < numGroups; ++group) {
        const auto first = static_cast<std::uint32_t>(numSlices * group / numGroups);
        const std::uint32_t count = static_cast<std::uint32_t>(numSlices * (group + 1) / numGroups) - first;
        const PlacedSliceGroup<target> placed(groupMemory, decode.groupForm);
        addSlicesOfRows(placed.group(), decode.facts, &formedRow, numbers, first, count);
        const std::uint32_t inRow = first % numbers.slicesPerRow;
        // The first row has been begun. Every other one has not where a group starts with it.
        const std::uint32_t untilNextRow = inRow == 0 && first != 0 ? 0 : numbers.slicesPerRow - inRow;
        placed.group().decodeInto(formedRow,
                                  {RowsInTurn<target>::beginNext, &rows, untilNextRow, numbers.slicesPerRow});
        reportFailures(placed.group(), numbers, first);
        if (placed.group().numSlices() < count)
            break;
    }
    formedRow.finish();
}
