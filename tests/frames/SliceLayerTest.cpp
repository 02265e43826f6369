#include <algorithm>
#include <cstdint>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "Random.h"

// Slices: their headers, their ranges, and what damage in one of them means for the others.

namespace {

constexpr std::size_t kQuantizationIndex = 1; // places in a slice header
constexpr std::size_t kCodedSizeY = 2;
constexpr std::size_t kCodedSizeCb = 4;

FrameSpec specOf(std::uint32_t chroma_format, std::uint32_t width, std::uint32_t height) {
    FrameSpec spec;
    spec.chroma_format = chroma_format;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    spec.log2_slice_size_in_mb = 0;
    return spec;
}

void expectModelOnBothTargets(std::vector<std::uint8_t> const& bytes) {
    for (const OptimizationTarget target : runnableTargets()) {
        for (std::uint32_t reduction = 0; reduction < 4; ++reduction)
            EXPECT_TRUE(decodesLikeModel(bytes, requestFor(bytes, reduction, 8, 0, target)));
    }
}

// Of the 16 macroblocks of a 64x64 picture, exactly `lost` keep what the buffer held.
void expectOnlyLost(std::vector<std::uint8_t> const& bytes, std::uint32_t lost, std::uint32_t reduction = 0) {
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(bytes, reduction, 8, 0, target);
        const OutputBuffer output = decoded(bytes, request);
        const std::int64_t mbSize = 16 >> reduction;
        for (std::uint32_t mb = 0; mb < 16; ++mb) {
            for (std::int64_t pixel = 0; pixel < mbSize * mbSize; ++pixel) {
                const std::int64_t line = mb / 4 * mbSize + pixel / mbSize;
                const std::int64_t index = 2 * (mb % 4 * mbSize + pixel % mbSize) + 1;
                if (mb == lost)
                    ASSERT_TRUE(isUntouched(output, request, line, index)) << mb;
                else
                    ASSERT_EQ(sampleAt(output, request, line, index), code8(70)) << mb;
            }
        }
    }
}

} // namespace

TEST(SliceTest, ASliceWhoseLumaFailsLosesItsOwnRectangleOnly) {
    for (std::uint32_t lost = 0; lost < 16; ++lost) {
        MadeFrame made = flatFrame(specOf(2, 64, 64), 70, -30, 20);
        // A prefix of more than 30 zeros.
        std::fill_n(made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceOffsets[lost] + 6), 4, 0);
        expectOnlyLost(made.bytes, lost);
    }
}

TEST(SliceTest, ASliceWhoseCbOrCrFailsLosesItsLumaToo) {
    for (const int component : {1, 2}) {
        MadeFrame made = flatFrame(specOf(2, 64, 64), 70, -30, 20);
        const std::size_t slice = made.sliceOffsets[5];
        std::size_t offset = slice + 6 + made.bytes[slice + kCodedSizeY + 1];
        if (component == 2)
            offset += made.bytes[slice + kCodedSizeCb + 1];
        std::fill(made.bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                  made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceOffsets[6]), 0);
        expectOnlyLost(made.bytes, 5);
    }
}

TEST(SliceTest, ARangeOf0BytesFailsOnBothTargets) {
    for (const std::size_t field : {kCodedSizeY, kCodedSizeCb}) {
        MadeFrame made = flatFrame(specOf(2, 64, 64), 70, -30, 20);
        put16At(made.bytes, made.sliceOffsets[9] + field, 0);
        expectOnlyLost(made.bytes, 9);
    }
}

TEST(SliceTest, MoreThan64ZeroBitsAfterTheLastSymbolFail) {
    FrameSpec spec = specOf(2, 64, 64);
    const SliceMaker flat = flatSlices(70, -30, 20);
    for (const std::uint32_t numTailBytes : {7u, 9u}) {
        const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
            flat(place, content);
            content.numTailBytes = place.mbRow == 1 && place.sliceColumn == 2 ? numTailBytes : 0;
        });
        expectOnlyLost(made.bytes, numTailBytes == 9 ? 6 : 16);
    }
}

TEST(SliceTest, EighthSizeReadsNothingAfterTheDcs) {
    const SliceMaker flat = flatSlices(70, -30, 20);
    const MadeFrame made = makeFrame(specOf(2, 64, 64), [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.numTailBytes = 20;
    });
    const DecodeRequest full = requestFor(made.bytes);
    EXPECT_TRUE(isUntouched(decoded(made.bytes, full)));
    expectModelOnBothTargets(made.bytes);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 3, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t line = 0; line < 8; ++line)
            EXPECT_EQ(sampleAt(output, request, line, 1), code8(70));
    }
}

TEST(SliceTest, ALastSliceWithoutBytesReadsZerosAndIsLost) {
    const MadeFrame made = flatFrame(specOf(2, 64, 64), 70, -30, 20);
    std::vector<std::uint8_t> bytes = made.bytes;
    bytes.resize(made.sliceOffsets[15]);
    expectOnlyLost(bytes, 15);
}

TEST(SliceTest, SliceHeadersOfEveryLengthAreSkipped) {
    for (const std::uint32_t alpha_channel_type : {0u, 1u}) {
        for (std::uint32_t extra = 0; extra < 24; ++extra) {
            FrameSpec spec = specOf(2, 64, 64);
            spec.alpha_channel_type = alpha_channel_type;
            spec.extraSliceHeaderBytes = extra;
            spec.junk = 0xC3;
            expectOnlyLost(flatFrameWithAlpha(spec, 70, -30, 20, 9).bytes, 16);
        }
    }
}

TEST(SliceTest, EverySliceHeaderSizeFrom0To31EqualsTheModel) {
    Random random = seeded(4201);
    for (const std::uint32_t alpha_channel_type : {0u, 2u}) {
        for (std::uint32_t size = 0; size < 32; ++size) {
            FrameSpec spec = specOf(3, 80, 40);
            spec.alpha_channel_type = alpha_channel_type;
            MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, random));
            for (const std::size_t slice : made.sliceOffsets)
                made.bytes[slice] = static_cast<std::uint8_t>(size << 3);
            expectModelOnBothTargets(made.bytes);
        }
    }
}

TEST(SliceTest, ASliceHeaderOf6BytesWithAlphaTakesTheCrSizeFromTheLumaData) {
    // The luma range begins at byte 6, where the field of the Cr size is too. Luma starts with a DC of 0, so the
    // field names far more bytes than the slice has and Cr runs to the end of the data.
    FrameSpec spec = specOf(3, 16, 16);
    spec.alpha_channel_type = 1;
    const MadeFrame made = flatFrameWithAlpha(spec, 0, -30, 20, 9);
    const std::size_t slice = made.sliceOffsets[0];
    std::vector<std::uint8_t> bytes = made.bytes;
    bytes[slice] = 6 << 3;
    bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(slice) + 6,
                bytes.begin() + static_cast<std::ptrdiff_t>(slice) + 8);
    DecodeRequest request = requestFor(bytes);
    const SlowFrame parsed = slowParseFrame(bytes, request);
    EXPECT_EQ(parsed.slices[0].y, made.slices[0].y);
    EXPECT_EQ(parsed.slices[0].cb, made.slices[0].cb);
    expectModelOnBothTargets(bytes);
}

TEST(SliceTest, WithAlphaTheCrSizeStandsInTheHeaderAndTheSliceTableHasNoPartInIt) {
    // The table's entry of the only slice says 3 bytes, which is less than its header.
    FrameSpec spec = specOf(3, 16, 16);
    spec.alpha_channel_type = 1;
    MadeFrame made = flatFrameWithAlpha(spec, 70, -30, 20, 9);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> expected = decoded(made.bytes, request).bytes();
    put16At(made.bytes, made.sliceTableOffsets[0], 3);
    EXPECT_EQ(decoded(made.bytes, request).bytes(), expected);
}

TEST(SliceTest, ADerivedCrSizeThatWrapsReachesToTheEndOfTheData) {
    // The table says that the slice is shorter than its parts; the Cr range then ends with the data, which is where it
    // ends anyway.
    MadeFrame made = flatFrame(specOf(2, 16, 16), 70, -30, 20);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> expected = decoded(made.bytes, request).bytes();
    for (const std::uint32_t codedSize : {0u, 5u, 7u}) {
        put16At(made.bytes, made.sliceTableOffsets[0], codedSize);
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest onTarget = requestFor(made.bytes, 0, 8, 0, target);
            EXPECT_EQ(decoded(made.bytes, onTarget).bytes(), expected) << codedSize;
        }
    }
}

TEST(SliceTest, ARangeLongerThanTheDataEndsWithIt) {
    MadeFrame made = flatFrame(specOf(2, 64, 64), 70, -30, 20);
    put16At(made.bytes, made.sliceOffsets[3] + kCodedSizeCb, 0xFFFF);
    expectModelOnBothTargets(made.bytes);
    put16At(made.bytes, made.sliceOffsets[15] + kCodedSizeY, 0xFFFF);
    expectModelOnBothTargets(made.bytes);
}

TEST(SliceTest, A422FrameWithAlphaReadsTheCrSizeAndShowsNoAlpha) {
    Random random = seeded(4202);
    for (std::uint32_t alpha_channel_type = 1; alpha_channel_type < 16; ++alpha_channel_type) {
        FrameSpec spec = specOf(2, 70, 37);
        spec.alpha_channel_type = alpha_channel_type;
        const std::uint32_t contentSeed = static_cast<std::uint32_t>(random());
        Random content(contentSeed);
        const MadeFrame made = makeFrame(spec, randomSlices(spec, Texture::Photo, content));
        expectModelOnBothTargets(made.bytes);
        const DecodeRequest request = requestFor(made.bytes);
        EXPECT_EQ(request.lineStride, 5 * 32);
    }
}

TEST(SliceTest, AlphaOfAShortLastRowHoldsOnlyItsRealLines) {
    for (std::uint32_t height = 17; height < 33; ++height) {
        FrameSpec spec = specOf(3, 40, height);
        spec.alpha_channel_type = 2;
        spec.log2_slice_size_in_mb = 3;
        // The slices of a row end in a plane whose last sample differs, so a decoder that read more would see it.
        const SliceMaker flat = flatSlices(70, -30, 20);
        const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
            flat(place, content);
            for (std::size_t i = 0; i < content.alpha.size(); ++i)
                content.alpha[i] = static_cast<std::uint16_t>(257 * (i / (16 * place.sliceMbs)));
        });
        for (const OptimizationTarget target : runnableTargets()) {
            const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
            const OutputBuffer output = decoded(made.bytes, request);
            for (std::int64_t line = 0; line < height; ++line)
                ASSERT_EQ(sampleAt(output, request, line, 4 * 39), line % 16) << height;
        }
        expectModelOnBothTargets(made.bytes);
    }
}

TEST(SliceTest, AnEmptyAlphaRangeGivesTheRamp) {
    FrameSpec spec = specOf(3, 16, 16);
    spec.alpha_channel_type = 1;
    MadeFrame made = flatFrameWithAlpha(spec, 70, -30, 20, 9);
    // Without the alpha bytes the frame ends with the Cr range.
    made.bytes.resize(made.bytes.size() - encodedAlpha(made.slices[0].alpha, 8, false, false).size());
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t i = 0; i < 256; ++i)
            EXPECT_EQ(sampleAt(output, request, i / 16, 4 * (i % 16)), i);
    }
}

TEST(SliceTest, BitsAfterTheLastAlphaSampleAreIgnored) {
    FrameSpec spec = specOf(3, 16, 16);
    spec.alpha_channel_type = 1;
    MadeFrame made = flatFrameWithAlpha(spec, 70, -30, 20, 9);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> expected = decoded(made.bytes, request).bytes();
    made.bytes.insert(made.bytes.end(), 100, 0xFF);
    EXPECT_EQ(decoded(made.bytes, request).bytes(), expected);
}

TEST(SliceTest, AnAlphaRunLongerThanThePlaneIsCut) {
    // A flat plane of one macroblock is one run of 256; its code is changed to the longest there is.
    FrameSpec spec = specOf(3, 16, 16);
    spec.alpha_channel_type = 1;
    MadeFrame made = flatFrameWithAlpha(spec, 70, -30, 20, 9);
    const DecodeRequest request = requestFor(made.bytes);
    const std::vector<std::uint8_t> expected = decoded(made.bytes, request).bytes();
    BitWriter alpha;
    alpha.put(1, 1);
    alpha.put(10, 8);
    alpha.put(0, 5);
    alpha.put(2047, 11);
    const std::size_t codedAlphaSize = encodedAlpha(made.slices[0].alpha, 8, false, false).size();
    ASSERT_EQ(codedAlphaSize, alpha.bytes().size());
    std::copy(alpha.bytes().begin(), alpha.bytes().end(),
              made.bytes.end() - static_cast<std::ptrdiff_t>(codedAlphaSize));
    EXPECT_EQ(decoded(made.bytes, request).bytes(), expected);
}

TEST(SliceTest, EverySliceHasItsOwnQuantizationIndex) {
    const SliceMaker flat = flatSlices(16, 0, 0);
    const MadeFrame made = makeFrame(specOf(2, 64, 64), [&](SlicePlace const& place, SliceContent& content) {
        flat(place, content);
        content.quantization_index = static_cast<std::uint8_t>(4 * place.mbRow + place.sliceColumn);
    });
    EXPECT_EQ(made.bytes[made.sliceOffsets[6] + kQuantizationIndex], 6);
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request = requestFor(made.bytes, 0, 8, 0, target);
        const OutputBuffer output = decoded(made.bytes, request);
        for (std::int64_t mb = 0; mb < 16; ++mb)
            EXPECT_EQ(sampleAt(output, request, 16 * (mb / 4), 32 * (mb % 4) + 1), code8(static_cast<int>(mb)));
    }
}
