#include "Slice.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeMonitor.h"
#include "DecoderTargets.h"
#include "Frame.h"
#include "FrameMaker.h"
#include "GuardedBytes.h"
#include "Picture.h"
#include "Random.h"

namespace {

// The rectangles of slices that fail, which is what shows where a slice would have written.
class Rectangles : public DecodeMonitor {
public:
    void sliceFailed(SliceFailure const& failure, PixelBuffer const& rectangle) noexcept override {
        const std::lock_guard lock(m_mutex);
        m_found.push_back({failure, rectangle});
    }
    struct Found {
        SliceFailure failure;
        PixelBuffer rectangle;
    };
    Found const& at(std::uint32_t mbRow, std::uint32_t column) const {
        return *std::find_if(m_found.begin(), m_found.end(), [=](Found const& found) {
            return found.failure.mbRow == mbRow && found.failure.slice_column == column;
        });
    }
    std::size_t count() const { return m_found.size(); }

private:
    std::mutex m_mutex;
    std::vector<Found> m_found;
};

// A frame, its first picture and one opened slice of it.
template <OptimizationTarget target>
struct OpenedSlice {
    OpenedSlice(std::vector<std::uint8_t> const& bytes, std::size_t pictureOffset, std::size_t sliceOffset,
                std::uint32_t mbRow = 0, std::uint32_t column = 0, std::uint32_t downSampleFactor = 0,
                std::uint32_t bitDepth = 8)
        : held(bytes),
          frame(held.bits(), ColorCoding_YCbCr, bitDepth, pixels.data(), kStride, target, downSampleFactor),
          picture(TemporalOrder::First, frame, from(pictureOffset)),
          first(from(sliceOffset)),
          facts(picture.facts()) {
        slice.open(facts, picture.sliceInput(mbRow, column, first));
    }

    Bitstream from(std::size_t offset) const {
        Bitstream bits = held.bits();
        bits.advance(offset);
        return bits;
    }
    std::array<ComponentScan, 3> scans() {
        std::array<ComponentScan, 3> result;
        coefficients.resize(3 * (32 * 64 + kScanPadding));
        slice.prepareScans(result.data(), coefficients.data());
        return result;
    }
    // Where a range begins, in bytes from the slice's first.
    std::int64_t offsetOf(ComponentScan const& scan) const { return scan.range.data - first.data; }

    static constexpr std::int64_t kStride = 2048;
    std::vector<std::uint8_t> pixels = std::vector<std::uint8_t>(kStride * 64);
    GuardedBytes held;
    Frame frame;
    Picture<target> picture;
    Bitstream first;
    PictureFacts facts;
    Slice<target> slice;
    std::vector<std::int16_t> coefficients;
};

template <class On>
class SliceTest : public TargetTest<On> {
protected:
    using Opened = OpenedSlice<On::target>;

    // Decodes a frame of the given size without slice data and returns where its slices would have written.
    static void findRectangles(Rectangles& rectangles, FrameSpec const& spec, std::uint32_t bitDepth,
                               std::uint32_t downSampleFactor, std::uint8_t* pixels, std::int64_t stride) {
        MadeFrame made = makeFrame(spec, [](SlicePlace const&, SliceContent&) {});
        std::fill(made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceOffsets[0]), made.bytes.end(),
                  std::uint8_t{0});
        const GuardedBytes held(made.bytes);
        const Frame frame(held.bits(), ColorCoding_YCbCr, bitDepth, pixels, stride, On::target, downSampleFactor,
                          &rectangles);
    }

    // The ranges of the first slice of a frame.
    static std::array<ComponentScan, 3> scansOf(MadeFrame const& made, std::uint32_t downSampleFactor) {
        Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0], 0, 0, downSampleFactor);
        return opened.scans();
    }

    // The one code that a 16x16 picture of equal DCs has in luma.
    static std::uint32_t lumaOfDc(std::int16_t dc, std::uint8_t quantization_index, std::uint8_t matrixEntry,
                                  std::uint32_t bitDepth = 8, std::uint32_t downSampleFactor = 0,
                                  std::uint32_t chroma_format = 2) {
        FrameSpec spec;
        spec.chroma_format = chroma_format;
        spec.lumaMatrix.emplace().fill(matrixEntry);
        const MadeFrame made = makeFrame(spec, [&](SlicePlace const&, SliceContent& content) {
            content.quantization_index = quantization_index;
            for (std::size_t i = 0; i < content.y.size(); i += 64)
                content.y[i] = dc;
        });
        const GuardedBytes held(made.bytes);
        std::vector<std::uint16_t> pixels(64 * 16, 0xABAB);
        const Frame frame(held.bits(), ColorCoding_YCbCr, bitDepth, pixels.data(), 128, On::target, downSampleFactor);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(pixels.data());
        return bitDepth > 8 ? pixels[1] : bytes[1];
    }
};

TYPED_TEST_SUITE(SliceTest, BothTargets, TargetNames);

FrameSpec specOf(std::uint32_t width, std::uint32_t height, std::uint32_t chroma_format, std::uint32_t alpha = 0,
                 std::uint32_t log2 = 3) {
    FrameSpec spec;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    spec.chroma_format = chroma_format;
    spec.alpha_channel_type = alpha;
    spec.log2_slice_size_in_mb = log2;
    return spec;
}

MadeFrame photo(FrameSpec const& spec, std::uint32_t seed = 5) {
    Random random(seed);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}

} // namespace

// --- counting of bits ------------------------------------------------------------------------------------------------

TYPED_TEST(SliceTest, CountBitsOfOneLessThanAPowerOfTwoIsItsLogarithm) {
    for (std::uint32_t log2 = 0; log2 < 32; ++log2)
        EXPECT_EQ(countBits<TypeParam::target>((1u << log2) - 1), log2);
    EXPECT_EQ(countBits<TypeParam::target>(0xFFFFFFFF), 32u);
}

TYPED_TEST(SliceTest, CountBitsOfOtherMasksCountsTheRunAtTheBottomOnBaselineAndAllOnAvx2) {
    EXPECT_EQ(countBits<TypeParam::target>(0b1011), this->isAvx2 ? 3u : 2u);
    EXPECT_EQ(countBits<TypeParam::target>(0b1010), this->isAvx2 ? 2u : 0u);
    EXPECT_EQ(countBits<TypeParam::target>(0x80000000), this->isAvx2 ? 1u : 0u);
}

// --- header and ranges -----------------------------------------------------------------------------------------------

TYPED_TEST(SliceTest, WithoutAlphaTheCrRangeIsWhatTheTableEntryLeaves) {
    MadeFrame made = photo(specOf(64, 16, 2));
    const std::size_t slice = made.sliceOffsets[0];
    made.bytes[slice] = 9 << 3 | 7; // the low bits are ignored
    made.bytes[slice + 1] = 200;
    put16At(made.bytes, slice + 2, 30);
    put16At(made.bytes, slice + 4, 20);
    put16At(made.bytes, made.sliceTableOffsets[0], 100);
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], slice);
    const auto scans = opened.scans();
    EXPECT_EQ(opened.slice.quantizationIndex(), 200u);
    EXPECT_EQ(opened.offsetOf(scans[0]), 9);
    EXPECT_EQ(scans[0].range.size, 30u);
    EXPECT_EQ(opened.offsetOf(scans[1]), 39);
    EXPECT_EQ(scans[1].range.size, 20u);
    EXPECT_EQ(opened.offsetOf(scans[2]), 59);
    EXPECT_EQ(scans[2].range.size, 100u - 9 - 30 - 20);
}

TYPED_TEST(SliceTest, WithAlphaTheCrSizeStandsInTheHeaderAndTheTableEntryIsNotUsed) {
    MadeFrame made = photo(specOf(64, 16, 2, 1));
    const std::size_t slice = made.sliceOffsets[0];
    put16At(made.bytes, slice + 2, 30);
    put16At(made.bytes, slice + 4, 20);
    put16At(made.bytes, slice + 6, 11);
    put16At(made.bytes, made.sliceTableOffsets[0], 3);
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], slice);
    const auto scans = opened.scans();
    EXPECT_EQ(opened.offsetOf(scans[2]), 8 + 30 + 20);
    EXPECT_EQ(scans[2].range.size, 11u);
}

TYPED_TEST(SliceTest, WithAlphaAHeaderOfSixBytesTakesTheCrSizeFromTheStartOfTheYData) {
    MadeFrame made = photo(specOf(64, 16, 3, 2));
    const std::size_t slice = made.sliceOffsets[0];
    made.bytes[slice] = 6 << 3;
    put16At(made.bytes, slice + 2, 30);
    put16At(made.bytes, slice + 4, 20);
    put16At(made.bytes, slice + 6, 0x0009);
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], slice);
    const auto scans = opened.scans();
    EXPECT_EQ(opened.offsetOf(scans[0]), 6);
    EXPECT_EQ(scans[2].range.size, 9u);
}

TYPED_TEST(SliceTest, AHeaderSizeOfZeroPutsTheYRangeOnTopOfTheHeader) {
    MadeFrame made = photo(specOf(16, 16, 2));
    made.bytes[made.sliceOffsets[0]] = 0;
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0]);
    EXPECT_EQ(opened.offsetOf(opened.scans()[0]), 0);
}

TYPED_TEST(SliceTest, SizesBeyondTheDataAreRangesThatEndWithIt) {
    MadeFrame made = photo(specOf(16, 16, 2));
    const std::size_t slice = made.sliceOffsets[0];
    const std::uint64_t bytesAfterHeader = made.bytes.size() - slice - 6;
    put16At(made.bytes, slice + 2, 0xFFFF);
    typename TestFixture::Opened tooLongY(made.bytes, made.pictureOffsets[0], slice);
    auto scans = tooLongY.scans();
    EXPECT_EQ(scans[0].range.size, bytesAfterHeader);
    EXPECT_EQ(scans[1].range.size, 0u);
    EXPECT_EQ(scans[2].range.size, 0u);
    // A derived Cr size that wraps is a very large range.
    put16At(made.bytes, slice + 2, 4);
    put16At(made.bytes, slice + 4, 4);
    put16At(made.bytes, made.sliceTableOffsets[0], 0);
    typename TestFixture::Opened wrapped(made.bytes, made.pictureOffsets[0], slice);
    scans = wrapped.scans();
    EXPECT_EQ(scans[2].range.size, bytesAfterHeader - 8);
}

TYPED_TEST(SliceTest, ASliceWithoutBytesHasEmptyRangesAndIndexZero) {
    const MadeFrame made = photo(specOf(16, 16, 2));
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.bytes.size());
    const auto scans = opened.scans();
    EXPECT_EQ(opened.slice.quantizationIndex(), 0u);
    for (ComponentScan const& scan : scans)
        EXPECT_EQ(scan.range.size, 0u);
}

TYPED_TEST(SliceTest, TheBlocksOfAComponentFollowTheMacroblocksAndTheChromaFormat) {
    for (std::uint32_t log2 = 0; log2 < 4; ++log2) {
        for (std::uint32_t chroma_format = 0; chroma_format < 4; ++chroma_format) {
            const MadeFrame made = photo(specOf(16u << log2, 16, chroma_format, 0, log2));
            typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0]);
            const auto scans = opened.scans();
            const std::uint32_t chroma = (chroma_format == 3 ? 4u : 2u) << log2;
            EXPECT_EQ(scans[0].numBlocks, 4u << log2);
            EXPECT_EQ(scans[1].numBlocks, chroma);
            EXPECT_EQ(scans[2].numBlocks, chroma);
            for (ComponentScan const& scan : scans)
                EXPECT_EQ(1u << scan.log2NumBlocks, scan.numBlocks);
        }
    }
}

TYPED_TEST(SliceTest, OnlyEighthSizeAt8BitsStopsAfterTheDcs) {
    const MadeFrame made = photo(specOf(16, 16, 2));
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        for (const std::uint32_t bitDepth : {8u, 10u}) {
            typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0], 0, 0, factor,
                                                bitDepth);
            EXPECT_EQ(opened.scans()[0].dcOnly, factor == 3 && bitDepth == 8);
        }
    }
}

// --- scans of a slice ------------------------------------------------------------------------------------------------

TYPED_TEST(SliceTest, ScannedCoefficientsGivesYCbAndCrBlockAfterBlockAsTheCursorMoves) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const MadeFrame made = photo(specOf(128, 16, 3, 2));
        const std::vector<std::int16_t>* const components[3] = {&made.slices[0].y, &made.slices[0].cb,
                                                                &made.slices[0].cr};
        const auto scans = this->scansOf(made, factor);
        typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0], 0, 0, factor);
        const std::uint32_t kept = 64u >> 2 * factor;
        for (std::size_t component = 0; component < 3; ++component) {
            std::vector<std::int16_t> values(32 * kept);
            // Twice: the scan leaves the cursor where it is.
            for (int repetition = 0; repetition < 2; ++repetition) {
                ASSERT_TRUE(opened.slice.scanned_coefficients(values.data(), 32, scans[component].range.size, 5));
                for (std::size_t i = 0; i < values.size(); ++i)
                    ASSERT_EQ(values[i], (*components[component])[i / kept * 64 + i % kept]) << component << " " << i;
            }
            opened.slice.moveCursor(scans[component].range.size);
        }
        std::vector<std::uint16_t> samples(made.slices[0].alpha.size());
        opened.slice.scanned_alpha(samples.data(), static_cast<std::uint32_t>(samples.size()));
        EXPECT_EQ(samples, made.slices[0].alpha);
    }
}

TYPED_TEST(SliceTest, TheCursorStopsAtTheEndOfTheData) {
    const MadeFrame made = photo(specOf(16, 16, 3, 1));
    typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0]);
    opened.slice.moveCursor(~std::uint64_t{0});
    opened.slice.moveCursor(1);
    std::vector<std::int16_t> values(4 * 64);
    EXPECT_FALSE(opened.slice.scanned_coefficients(values.data(), 4, 100, 2));
    std::vector<std::uint16_t> samples(3);
    opened.slice.scanned_alpha(samples.data(), 3);
    EXPECT_EQ(samples, (std::vector<std::uint16_t>{0, 1, 2})); // the ramp of an empty range
}

TYPED_TEST(SliceTest, ScannedCoefficients3GivesAllThreeAtFullSizeWhateverTheReduction) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor) {
        const MadeFrame made = photo(specOf(128, 16, 2));
        typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0], 0, 0, factor);
        const auto scans = this->scansOf(made, factor);
        std::vector<std::int16_t> values(64 * 64, 77);
        std::int16_t* cb = values.data() + 32 * 64;
        std::int16_t* cr = cb + 16 * 64;
        opened.slice.scanned_coefficients3(values.data(), 32, scans[0].range.size, cb, 16, scans[1].range.size, cr,
                                           scans[2].range.size, 5, 4);
        EXPECT_TRUE(std::equal(values.data(), cb, made.slices[0].y.begin()));
        EXPECT_TRUE(std::equal(cb, cr, made.slices[0].cb.begin()));
        EXPECT_TRUE(std::equal(cr, cr + 16 * 64, made.slices[0].cr.begin()));
    }
}

TYPED_TEST(SliceTest, ScannedAlphaReadsAfterCrWithEightBitsForType1AndSixteenForAllOthers) {
    for (std::uint32_t type = 1; type < 16; ++type) {
        const MadeFrame made = photo(specOf(32, 16, 3, type), type);
        typename TestFixture::Opened opened(made.bytes, made.pictureOffsets[0], made.sliceOffsets[0]);
        opened.scans(); // leaves the cursor after Cr
        std::vector<std::uint16_t> samples(512);
        opened.slice.scanned_alpha(samples.data(), 512);
        EXPECT_EQ(samples, made.slices[0].alpha) << type;
    }
}

// --- the rectangle of a slice ----------------------------------------------------------------------------------------

TYPED_TEST(SliceTest, EverySliceOfAFullSizePictureHasItsExactRectangle) {
    std::uint8_t pixels[8] = {};
    for (const std::uint32_t bitDepth : {8u, 16u}) {
        for (const std::uint32_t chroma_format : {2u, 3u}) {
            for (const std::int64_t stride : {std::int64_t{100000}, std::int64_t{-100000}}) {
                Rectangles rectangles;
                // Seven macroblocks in slices of 4, 2 and 1; the last is 3 pixels wide and the last row 5 lines high.
                this->findRectangles(rectangles, specOf(99, 37, chroma_format, 0, 2), bitDepth, 0, pixels, stride);
                ASSERT_EQ(rectangles.count(), 9u);
                const std::uint32_t widths[3] = {64, 32, 3};
                const std::uint32_t firstColumns[3] = {0, 64, 96};
                for (std::uint32_t row = 0; row < 3; ++row) {
                    for (std::uint32_t column = 0; column < 3; ++column) {
                        PixelBuffer const& rectangle = rectangles.at(row, column).rectangle;
                        EXPECT_EQ(rectangle.width, widths[column]);
                        EXPECT_EQ(rectangle.height, row == 2 ? 5u : 16u);
                        const std::int64_t offset = 16 * row * stride + firstColumns[column] *
                                                                            (chroma_format == 3 ? 4 : 2) *
                                                                            (bitDepth > 8 ? 2 : 1);
                        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rectangle.pixels),
                                  reinterpret_cast<std::uintptr_t>(pixels) + static_cast<std::uintptr_t>(offset));
                        EXPECT_EQ(rectangle.lineStride, stride);
                    }
                }
            }
        }
    }
}

TYPED_TEST(SliceTest, AtReducedSizesTheWidthIsCorrectedByTheFullAndTheHeightByTheReducedSize) {
    std::uint8_t pixels[8] = {};
    for (std::uint32_t factor = 1; factor <= 3; ++factor) {
        Rectangles rectangles;
        this->findRectangles(rectangles, specOf(1000, 37, 2, 0, 0), 8, factor, pixels, 4096);
        const std::uint32_t mbSize = 16u >> factor;
        PixelBuffer const& last = rectangles.at(2, 62).rectangle;
        EXPECT_EQ(static_cast<std::uint32_t>(last.width), mbSize - (63 * mbSize - 1000));
        EXPECT_EQ(last.height, (37u >> factor) - 2 * mbSize);
        EXPECT_EQ(rectangles.at(0, 61).rectangle.width, mbSize);
        EXPECT_EQ(rectangles.at(1, 62).rectangle.height, mbSize);
        EXPECT_EQ(rectangles.at(1, 62).rectangle.pixels - pixels, std::int64_t{mbSize} * 4096 + 62 * mbSize * 2);
    }
}

TYPED_TEST(SliceTest, AFailingComponentIsTheFirstThatFails) {
    MadeFrame made = photo(specOf(64, 16, 2));
    const std::size_t slice = made.sliceOffsets[0];
    const std::uint32_t sizes[2] = {std::uint32_t{made.bytes[slice + 2]} << 8 | made.bytes[slice + 3],
                                    std::uint32_t{made.bytes[slice + 4]} << 8 | made.bytes[slice + 5]};
    const std::size_t starts[3] = {slice + 6, slice + 6 + sizes[0], slice + 6 + sizes[0] + sizes[1]};
    for (std::uint32_t component = 0; component < 3; ++component) {
        std::vector<std::uint8_t> bytes = made.bytes;
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(starts[component]), 8, std::uint8_t{0});
        Rectangles rectangles;
        const GuardedBytes held(bytes);
        std::vector<std::uint8_t> pixels(128 * 16, 0x77);
        const Frame frame(held.bits(), ColorCoding_YCbCr, 8, pixels.data(), 128, TypeParam::target, 0, &rectangles);
        ASSERT_EQ(rectangles.count(), 1u);
        EXPECT_EQ(rectangles.at(0, 0).failure.component, component);
        EXPECT_EQ(rectangles.at(0, 0).failure.byteOffset, slice);
        EXPECT_EQ(pixels, std::vector<std::uint8_t>(128 * 16, 0x77))
            << "A failed slice leaves its rectangle as it was.";
    }
}

TYPED_TEST(SliceTest, AMonitorThatOverridesNothingChangesNothing) {
    MadeFrame made = photo(specOf(64, 16, 2, 0, 0));
    const std::size_t second = made.sliceOffsets[1];
    std::fill_n(made.bytes.begin() + static_cast<std::ptrdiff_t>(second), 8, std::uint8_t{0});
    const GuardedBytes held(made.bytes);
    std::vector<std::uint8_t> pixels[2];
    DecodeMonitor plain;
    for (int i = 0; i < 2; ++i) {
        pixels[i].assign(128 * 16, 0x77);
        const Frame frame(held.bits(), ColorCoding_YCbCr, 8, pixels[i].data(), 128, TypeParam::target, 0,
                          i == 0 ? nullptr : &plain);
    }
    EXPECT_EQ(pixels[0], pixels[1]);
    EXPECT_EQ(pixels[1][32], 0x77) << "The second slice failed.";
    EXPECT_NE(pixels[1], std::vector<std::uint8_t>(128 * 16, 0x77));
}

TYPED_TEST(SliceTest, AStopBeforeTheFirstSliceLeavesThePictureAsItWas) {
    class Stop : public DecodeMonitor {
        bool wantsStop() noexcept override { return true; }
    };
    const MadeFrame made = photo(specOf(64, 16, 2, 0, 0));
    const GuardedBytes held(made.bytes);
    std::vector<std::uint8_t> pixels(128 * 16, 0x77);
    Stop stop;
    const Frame frame(held.bits(), ColorCoding_YCbCr, 8, pixels.data(), 128, TypeParam::target, 0, &stop);
    EXPECT_EQ(pixels, std::vector<std::uint8_t>(128 * 16, 0x77));
}

// --- dequantisation --------------------------------------------------------------------------------------------------

TYPED_TEST(SliceTest, ADcReconstructsToItsProductWithIndexAndMatrixByteOver64) {
    // At 16 bits a sample s has the code (s + 256) * 128.
    EXPECT_EQ(this->lumaOfDc(100, 4, 4, 16), static_cast<std::uint32_t>((100.0 * 4 * 4 / 64 + 256) * 128));
    EXPECT_EQ(this->lumaOfDc(-33, 7, 9, 16), static_cast<std::uint32_t>((-33.0 * 7 * 9 / 64 + 256) * 128 + 0.5));
    EXPECT_EQ(this->lumaOfDc(1, 1, 255, 16), static_cast<std::uint32_t>((255.0 / 64 + 256) * 128 + 0.5));
    EXPECT_EQ(this->lumaOfDc(1000, 4, 0, 16), 32768u);
}

TYPED_TEST(SliceTest, AnIndexOfZeroMakesEverySampleMidGrey) {
    for (std::uint32_t factor = 0; factor <= 3; ++factor)
        EXPECT_EQ(this->lumaOfDc(30000, 0, 255, 8, factor), 128u);
}

TYPED_TEST(SliceTest, TheIndexCountsInStepsOfFourAbove128) {
    for (int index = 0; index < 256; ++index) {
        const double scale = index <= 128 ? index : 4 * index - 384;
        EXPECT_EQ(this->lumaOfDc(2, static_cast<std::uint8_t>(index), 4, 16),
                  static_cast<std::uint32_t>((2 * scale * 4 / 64 + 256) * 128))
            << index;
    }
    EXPECT_EQ(this->lumaOfDc(2, 129, 4, 16), static_cast<std::uint32_t>((132.0 / 8 + 256) * 128));
    EXPECT_EQ(this->lumaOfDc(2, 255, 4, 16), static_cast<std::uint32_t>((636.0 / 8 + 256) * 128));
}

TYPED_TEST(SliceTest, EighthSizeCutsTheProductTowardsZeroAndThenRounds) {
    // A sample v has the code (v + 257) >> 1. The products are 19.875, -19.875 and -12.5, whose roundings differ.
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        EXPECT_EQ(this->lumaOfDc(53, 1, 3, 8, 3, chroma_format), (2u + 257) >> 1);   // (19 + 4) >> 3
        EXPECT_EQ(this->lumaOfDc(-53, 1, 3, 8, 3, chroma_format), (257u - 2) >> 1);  // (-19 + 4) >> 3
        EXPECT_EQ(this->lumaOfDc(-100, 1, 1, 8, 3, chroma_format), (257u - 1) >> 1); // (-12 + 4) >> 3
    }
}

TYPED_TEST(SliceTest, EighthSizeRoundsIn32Bits) {
    // 32767 + 4 does not fit in 16 bits; it gives 4096, which is white.
    EXPECT_EQ(this->lumaOfDc(32767, 8, 1, 8, 3), 255u);
}

TYPED_TEST(SliceTest, DeepReducedOutputTakesTheFloatPath) {
    for (std::uint32_t factor = 1; factor <= 3; ++factor)
        EXPECT_EQ(this->lumaOfDc(53, 1, 3, 16, factor), static_cast<std::uint32_t>((53.0 * 3 / 64 + 256) * 128 + 0.5));
}

TYPED_TEST(SliceTest, AReductionOfFourAt8BitsWritesNoPixelAndReportsNothing) {
    EXPECT_EQ(this->lumaOfDc(100, 4, 4, 8, 4), 0xABu);
}
