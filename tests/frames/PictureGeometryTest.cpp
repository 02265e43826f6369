#include <cstdint>

#include <gtest/gtest.h>

#include "FlatFrames.h"

// Pictures: which lines a field takes, how a row is divided into slices, where slices and pictures are found.

namespace {

FrameSpec fieldSpec(std::uint32_t interlace_mode, std::uint32_t width, std::uint32_t height) {
    FrameSpec spec;
    spec.interlace_mode = interlace_mode;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    return spec;
}

// The first picture shows luma 100, the second -100.
MadeFrame twoFields(FrameSpec const& spec) {
    return makeFrame(spec, flatSlices([](SlicePlace const& place, int component, std::uint32_t) {
                         return component != 0 ? 0 : place.pictureIndex == 0 ? 100 : -100;
                     }));
}

// The first luma sample of a line, or -1 where the line was not written.
int lumaOfLine(OutputBuffer const& output, DecodeRequest const& request, std::int64_t line) {
    return isUntouched(output, request, line, 0) && isUntouched(output, request, line, 1)
               ? -1
               : sampleAt(output, request, line, 1);
}

void expectFields(FrameSpec const& spec, int evenLuma, int oddLuma) {
    const MadeFrame made = twoFields(spec);
    for (const OptimizationTarget target : runnableTargets()) {
        for (const int direction : {1, -1}) {
            DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            request.lineStride *= direction;
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t line = 0; line < spec.vertical_size; ++line)
                ASSERT_EQ(lumaOfLine(output, request, line), line % 2 == 0 ? evenLuma : oddLuma) << line;
        }
    }
}

// Every slice shows its own luma value, by row and column.
int lumaOfSlice(std::uint32_t row, std::uint32_t column) {
    return static_cast<int>((37 * row + 11 * column) % 200) - 100;
}

void expectDivision(std::uint32_t widthInMb, std::uint32_t log2_slice_size_in_mb,
                    std::vector<std::uint32_t> const& sizes) {
    FrameSpec spec;
    spec.horizontal_size = 16 * widthInMb;
    spec.vertical_size = 32;
    spec.log2_slice_size_in_mb = log2_slice_size_in_mb;
    const MadeFrame made = makeFrame(spec, flatSlices([](SlicePlace const& place, int component, std::uint32_t) {
                                         return component != 0 ? 0 : lumaOfSlice(place.mbRow, place.sliceColumn);
                                     }));
    ASSERT_EQ(made.slices.size(), 2 * sizes.size());
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::uint32_t row = 0; row < 2; ++row) {
            std::int64_t mb = 0;
            for (std::uint32_t column = 0; column < sizes.size(); ++column) {
                for (std::uint32_t i = 0; i < sizes[column]; ++i, ++mb) {
                    const int expected = code8(lumaOfSlice(row, column));
                    ASSERT_EQ(sampleAt(output, request, 16 * row, 32 * mb + 1), expected) << mb;
                    ASSERT_EQ(sampleAt(output, request, 16 * row + 15, 32 * mb + 31), expected) << mb;
                }
            }
            ASSERT_EQ(mb, widthInMb);
        }
    }
}

} // namespace

TEST(FieldGeometryTest, Mode1PutsTheFirstPictureOnTheEvenLinesOf1081) {
    expectFields(fieldSpec(1, 16, 1081), code8(100), code8(-100));
}

TEST(FieldGeometryTest, Mode2PutsTheFirstPictureOnTheOddLinesOf1081) {
    expectFields(fieldSpec(2, 16, 1081), code8(-100), code8(100));
}

TEST(FieldGeometryTest, Mode3WritesTheEvenLinesTo1078OfThe1081AndNoOther) {
    const FrameSpec spec = fieldSpec(3, 16, 1081);
    const MadeFrame made = twoFields(spec);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 1081; ++line)
            ASSERT_EQ(lumaOfLine(output, request, line), line % 2 == 0 && line <= 1078 ? code8(100) : -1) << line;
    }
}

TEST(FieldGeometryTest, EveryModeAndSmallHeightEqualsTheModel) {
    for (std::uint32_t mode = 0; mode < 4; ++mode) {
        for (std::uint32_t height = 1; height < 70; ++height) {
            const MadeFrame made = twoFields(fieldSpec(mode, 16, height));
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                for (const OptimizationTarget target : runnableTargets())
                    ASSERT_TRUE(decodesLikeModel(made.bytes, requestFor(made.bytes, reduction, 8, 0, target)))
                        << height;
            }
        }
    }
}

TEST(FieldGeometryTest, TheLastRowOfAFieldOf541LinesHolds13Lines) {
    FrameSpec spec = fieldSpec(1, 16, 1081);
    const MadeFrame made = makeFrame(spec, flatSlices([](SlicePlace const& place, int component, std::uint32_t) {
                                         return component == 0 && place.pictureIndex == 0 && place.mbRow == 33 ? 90 : 0;
                                     }));
    EXPECT_EQ(made.slices.size(), 34u + 34u);
    const DecodeRequest request = requestFor(made.bytes);
    const OutputBuffer output = decoded(made.bytes, request);
    EXPECT_EQ(sampleAt(output, request, 2 * 527, 1), code8(0));
    for (std::int64_t line = 528; line < 541; ++line)
        EXPECT_EQ(sampleAt(output, request, 2 * line, 1), code8(90));
    EXPECT_TRUE(isUntouched(output, request, 2 * 541, 1));
}

TEST(FieldGeometryTest, ASingleLineInATwoPictureModeIsWrittenByTheFieldThatHasIt) {
    for (const std::uint32_t mode : {1u, 2u}) {
        const MadeFrame made = twoFields(fieldSpec(mode, 16, 1));
        EXPECT_EQ(made.slices.size(), 1u);
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            EXPECT_EQ(lumaOfLine(output, request, 0), mode == 1 ? code8(100) : code8(-100));
            EXPECT_EQ(lumaOfLine(output, request, 1), -1);
        }
    }
}

TEST(FieldGeometryTest, APictureWithoutRowsOrSlicesDecodesToNothing) {
    for (std::uint32_t mode = 0; mode < 4; ++mode) {
        for (auto const& [width, height] : {std::pair{0u, 40u}, std::pair{40u, 0u}, std::pair{0u, 0u}}) {
            const MadeFrame made = twoFields(fieldSpec(mode, width, height));
            for (const OptimizationTarget target : runnableTargets()) {
                DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
                request.lineStride = 128;
                EXPECT_TRUE(isUntouched(decoded(made.bytes, request)));
            }
        }
    }
}

TEST(SliceDivisionTest, Width120InSlicesOf8Gives15) {
    expectDivision(120, 3, std::vector<std::uint32_t>(15, 8));
}
TEST(SliceDivisionTest, Width45InSlicesOf8GivesFiveThenA4AndA1) {
    expectDivision(45, 3, {8, 8, 8, 8, 8, 4, 1});
}
TEST(SliceDivisionTest, Width7InSlicesOf4GivesA4A2AndA1) {
    expectDivision(7, 2, {4, 2, 1});
}
TEST(SliceDivisionTest, Width7InSlicesOf8GivesA4A2AndA1) {
    expectDivision(7, 3, {4, 2, 1});
}
TEST(SliceDivisionTest, Width1InSlicesOf8GivesASingle1) {
    expectDivision(1, 3, {1});
}
TEST(SliceDivisionTest, SlicesOf1GiveOneForEachMacroblock) {
    expectDivision(9, 0, std::vector<std::uint32_t>(9, 1));
}
TEST(SliceDivisionTest, Width9InSlicesOf2GivesFour2sAndA1) {
    expectDivision(9, 1, {2, 2, 2, 2, 1});
}

TEST(PictureTest, TheSecondPictureIsFoundByThePictureSizeOfTheFirst) {
    FrameSpec spec = fieldSpec(1, 48, 40);
    spec.junk = 0xE7;
    for (const std::uint32_t gap : {0u, 1u, 7u, 500u}) {
        spec.extraPictureBytes = gap;
        expectFields(spec, code8(100), code8(-100));
    }
}

TEST(PictureTest, APictureSizeBelowTheSumOfTheSlicesFindsTheSecondPictureWhereItSays) {
    // A size of 0 makes the second picture one with the first; the bytes after it are not read.
    MadeFrame made = twoFields(fieldSpec(1, 48, 40));
    for (std::size_t i = 1; i <= 4; ++i)
        made.bytes[made.pictureOffsets[0] + i] = 0;
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 40; ++line)
            ASSERT_EQ(lumaOfLine(output, request, line), code8(100)) << line;
    }
}

TEST(PictureTest, AFrameOfOneFieldLeavesAPictureThatFollowsUnread) {
    MadeFrame made = twoFields(fieldSpec(1, 48, 40));
    made.bytes[8 + 12] = static_cast<std::uint8_t>((made.bytes[8 + 12] & ~0x0Cu) | 3u << 2);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 40; ++line)
            ASSERT_EQ(lumaOfLine(output, request, line), line % 2 == 0 ? code8(100) : -1) << line;
    }
}

TEST(PictureTest, APictureSizeBeyondTheDataLosesTheSecondPictureOnly) {
    MadeFrame made = twoFields(fieldSpec(1, 48, 40));
    made.bytes[made.pictureOffsets[0] + 1] = 0x7F;
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 40; ++line)
            EXPECT_EQ(lumaOfLine(output, request, line), line % 2 == 0 ? code8(100) : -1);
    }
}

TEST(PictureTest, PictureHeadersOfEveryLengthAreSkipped) {
    for (std::uint32_t size = 8; size < 32; ++size) {
        FrameSpec spec = fieldSpec(1, 40, 24);
        spec.picture_header_size = size;
        spec.junk = 0x3C;
        expectFields(spec, code8(100), code8(-100));
    }
}

TEST(PictureTest, ASliceTableThatRunsPastTheDataLosesItsPictureOnly) {
    const MadeFrame made = twoFields(fieldSpec(1, 48, 80));
    std::vector<std::uint8_t> bytes = made.bytes;
    bytes.resize(made.sliceTableOffsets[1] + 1);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(bytes, request);
        for (std::int64_t line = 0; line < 80; ++line)
            EXPECT_EQ(lumaOfLine(output, request, line), line % 2 == 0 ? code8(100) : -1);
    }
}

TEST(PictureTest, ASliceTableEntryOf0IsASliceOnTopOfTheNext) {
    FrameSpec spec;
    spec.horizontal_size = 64;
    spec.log2_slice_size_in_mb = 0;
    MadeFrame made = flatFrame(spec, 100, 0, 0);
    made.bytes[made.sliceTableOffsets[0] + 2] = 0;
    made.bytes[made.sliceTableOffsets[0] + 3] = 0;
    for (const OptimizationTarget target : runnableTargets())
        EXPECT_TRUE(decodesLikeModel(made.bytes, requestFor(made.bytes, 0, 8, 0, target)));
}
