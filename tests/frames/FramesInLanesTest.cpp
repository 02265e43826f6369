#include <atomic>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "EmulatedLaneScan.h"
#include "EmulatedWideReconstruction.h"
#include "EmulatedWideRgb.h"
#include "Frame.h"
#include "FrameMaker.h"
#include "KernelChoice.h"
#include "LaneSupport.h"
#include "PictureOutput.h"
#include "ReconstructionForm.h"

// Takes the place of the library's choice, so that the frames of this program are read in lanes with emulated
// instructions, by both forms in turn, and reconstructed and converted with emulated wide vectors.

namespace {

std::atomic<unsigned int> s_numPictures{0};
std::atomic<unsigned int> s_numScans{0};
std::atomic<unsigned int> s_numAlphaPlanes{0};
std::atomic<unsigned int> s_numWideSlices{0};
std::atomic<unsigned int> s_numWideParts{0};

void scattering(LaneScanJob const& job) {
    s_numScans += job.count;
    emulatedScanInLanesScattering(job);
}

void storingSingly(LaneScanJob const& job) {
    s_numScans += job.count;
    emulatedScanInLanesStoringSingly(job);
}

void alphaScattering(AlphaLaneJob const& job) {
    s_numAlphaPlanes += job.count;
    emulatedScanAlphaInLanesScattering(job);
}

void alphaStoringSingly(AlphaLaneJob const& job) {
    s_numAlphaPlanes += job.count;
    emulatedScanAlphaInLanesStoringSingly(job);
}

} // namespace

LaneFunctions const* laneFunctionsOfPicture() {
    static constexpr LaneFunctions kScattering{scattering, alphaScattering};
    static constexpr LaneFunctions kStoringSingly{storingSingly, alphaStoringSingly};
    return s_numPictures++ % 2 == 0 ? &kScattering : &kStoringSingly;
}

void writeWide(WideSlice const& slice, VerticalOutput const& output, OutputLevels const& levels) {
    ++s_numWideSlices;
    emulatedWriteWide(slice, output, levels);
}

void writeWideToPlanes(WideSlice const& slice, bool isDeep, SlicePlanes const& to, OutputLevels const& levels) {
    ++s_numWideSlices;
    emulatedWriteWideToPlanes(slice, isDeep, to, levels);
}

void transformWide(WideSlice const& slice, bool is444, SampleBand& band) {
    ++s_numWideSlices;
    emulatedTransformWide(slice, is444, band);
}

void writeWideRgb(FormedPicture const& picture, WideRgbPart const& part) {
    ++s_numWideParts;
    emulatedWriteWideRgb(picture, part);
}

namespace {

// Whatever variant of the kernels has the arithmetic.
class WideReconstruction : public testing::Environment {
    void SetUp() override { forceReconstruction(ReconstructionForm::Wide); }
};

[[maybe_unused]] testing::Environment* const s_wideReconstruction =
    testing::AddGlobalTestEnvironment(new WideReconstruction);

// A frame whose rows have components enough for the lanes.
FrameSpec wideSpec(Random& random) {
    FrameSpec spec = randomSpec(random);
    spec.log2_slice_size_in_mb = randomBelow(random, 4);
    spec.horizontal_size = (64u << spec.log2_slice_size_in_mb) + randomBelow(random, 200);
    spec.vertical_size = 2 + randomBelow(random, 40); // so that no field is empty
    return spec;
}

DecodeRequest requestOnAvx2(std::vector<std::uint8_t> const& frame, FrameSpec const& spec, std::uint32_t reduction,
                            std::uint32_t depth, Random& random) {
    DecodeRequest request;
    request.downSampleFactor = reduction;
    request.bitDepth = depth;
    request.target = OptimizationTarget::AVX2;
    request.colorCoding = spec.chroma_format == 2 ? 0 : randomBelow(random, 4);
    request.lineStride = safeStride(frame, request);
    return request;
}

class FramesInLanesTest : public testing::Test {
protected:
    void SetUp() override {
        if (runnableTargets().size() == 1)
            GTEST_SKIP() << "This processor cannot run the AVX2 target.";
        s_numScans = 0;
        s_numAlphaPlanes = 0;
        s_numWideSlices = 0;
        s_numWideParts = 0;
    }
};

} // namespace

TEST_F(FramesInLanesTest, WideFramesOfEveryFormEqualTheModel) {
    Random random = seeded(2701);
    for (int i = 0; i < 30; ++i) {
        const FrameSpec spec = wideSpec(random);
        const MadeFrame made = randomFrame(spec, random);
        for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
            for (const std::uint32_t depth : {8u, 10u}) {
                const DecodeRequest request = requestOnAvx2(made.bytes, spec, reduction, depth, random);
                ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << spec.describe();
            }
        }
    }
    EXPECT_GT(s_numScans, 30u * 8 * 12);
}

TEST_F(FramesInLanesTest, WideFramesWithDamagedSlicesEqualTheModel) {
    Random random = seeded(2702);
    for (int i = 0; i < 300; ++i) {
        const FrameSpec spec = wideSpec(random);
        MadeFrame made = randomFrame(spec, random);
        const std::size_t from = made.sliceOffsets.at(0);
        for (std::uint32_t n = 1 + randomBelow(random, 12); n > 0; --n) {
            const std::size_t place = from + randomBelow(random, static_cast<std::uint32_t>(made.bytes.size() - from));
            made.bytes[place] ^= static_cast<std::uint8_t>(1u << randomBelow(random, 8));
        }
        if (randomBelow(random, 4) == 0)
            made.bytes.resize(from + randomBelow(random, static_cast<std::uint32_t>(made.bytes.size() - from)));
        const DecodeRequest request = requestOnAvx2(made.bytes, spec, randomBelow(random, 4), 8, random);
        ASSERT_TRUE(decodesLikeModel(made.bytes, request)) << "frame " << i << ": " << spec.describe();
    }
    EXPECT_GT(s_numScans, 300u * 12);
}

TEST_F(FramesInLanesTest, BaselineIsNeverReadInLanes) {
    Random random = seeded(2703);
    const FrameSpec spec = wideSpec(random);
    const MadeFrame made = randomFrame(spec, random);
    DecodeRequest request = requestOnAvx2(made.bytes, spec, 0, 8, random);
    request.target = OptimizationTarget::Baseline;
    const unsigned int numPictures = s_numPictures;
    EXPECT_TRUE(decodesLikeModel(made.bytes, request));
    EXPECT_EQ(s_numScans, 0u);
    EXPECT_EQ(s_numPictures, numPictures);
}

TEST_F(FramesInLanesTest, PicturesWithTooFewComponentsAreNotReadInLanes) {
    Random random = seeded(2704);
    FrameSpec spec = randomSpec(random);
    spec.log2_slice_size_in_mb = 3;
    spec.horizontal_size = 3 * 128;
    spec.vertical_size = 16;
    spec.interlace_mode = 0;
    const MadeFrame made = randomFrame(spec, random);
    EXPECT_TRUE(decodesLikeModel(made.bytes, requestOnAvx2(made.bytes, spec, 0, 8, random)));
    EXPECT_EQ(s_numScans, 0u);
}

TEST_F(FramesInLanesTest, RowsWithTooFewComponentsAreReadTogether) {
    Random random = seeded(2706);
    for (std::uint32_t slicesPerRow = 1; slicesPerRow <= 3; ++slicesPerRow) {
        FrameSpec spec = randomSpec(random);
        spec.log2_slice_size_in_mb = 3;
        spec.horizontal_size = slicesPerRow * 128;
        spec.vertical_size = 70 * 16;
        spec.interlace_mode = 0;
        const MadeFrame made = randomFrame(spec, random);
        s_numScans = 0;
        EXPECT_TRUE(decodesLikeModel(made.bytes, requestOnAvx2(made.bytes, spec, 0, 8, random))) << spec.describe();
        EXPECT_EQ(s_numScans, 70 * slicesPerRow * 3);
    }
}

TEST_F(FramesInLanesTest, AlphaOfSingleSamplesIsReadInLanes) {
    Random random = seeded(2708);
    for (const std::uint32_t alphaType : {1u, 2u}) {
        FrameSpec spec = wideSpec(random);
        spec.chroma_format = 3;
        spec.alpha_channel_type = alphaType;
        spec.interlace_mode = 0;
        const SliceMaker color = randomSlices(spec, Texture::Photo, random);
        const MadeFrame made = makeFrame(spec, [&](SlicePlace const& place, SliceContent& content) {
            color(place, content);
            for (std::size_t i = 0; i < content.alpha.size(); ++i)
                content.alpha[i] = static_cast<std::uint16_t>(2 * (i % 50) + randomBelow(random, 2));
        });
        for (const std::uint32_t depth : {8u, 10u}) {
            s_numAlphaPlanes = 0;
            EXPECT_TRUE(decodesLikeModel(made.bytes, requestOnAvx2(made.bytes, spec, 0, depth, random)));
            EXPECT_NE(s_numAlphaPlanes, 0u) << spec.describe();
        }
    }
}

// So the cases of VerticalReconstructionTest in this program compare the emulated wide form with the plain one.
TEST_F(FramesInLanesTest, FusedVariantsReconstructWithEmulatedVectors) {
    Random random = seeded(2705);
    const FrameSpec spec = wideSpec(random);
    const MadeFrame made = randomFrame(spec, random);
    DecodeRequest request = requestOnAvx2(made.bytes, spec, 0, 8, random);
    OutputBuffer output = bufferFor(made.bytes, request);
    for (const VariantIndex variant : {kVariantY8, kVariantL9}) {
        s_numWideSlices = 0;
        decode(made.bytes, request, output, kVariants[variant]);
        EXPECT_EQ(s_numWideSlices != 0, variant == kVariantL9);
    }
    request.target = OptimizationTarget::Baseline;
    s_numWideSlices = 0;
    decode(made.bytes, request, output, kVariants[kVariantY8]);
    EXPECT_EQ(s_numWideSlices, 0u);
}

// So the cases of PixelFormsTest in this program compare the emulated wide conversion with the model.
TEST_F(FramesInLanesTest, FusedVariantsConvertWithEmulatedVectors) {
    Random random = seeded(2707);
    FrameSpec spec = wideSpec(random);
    spec.interlace_mode = 0;
    const MadeFrame made = randomFrame(spec, random);
    const Bitstream bits{made.bytes.data(), made.bytes.size()};
    std::vector<std::uint8_t> pixels(std::size_t{spec.horizontal_size} * spec.vertical_size * 4);
    PictureOutput output;
    output.form = PixelForm::Rgba;
    output.region = {0, 0, spec.horizontal_size, spec.vertical_size};
    output.planes[0] = {pixels.data(), std::int64_t{4} * spec.horizontal_size};
    for (const VariantIndex variant : {kVariantY8, kVariantL9}) {
        const SelectedVariant selected(kVariants[variant]);
        s_numWideParts = 0;
        const Frame frame(bits, output, ColorCoding_YCbCr, 8, OptimizationTarget::AVX2, 0, nullptr, 1);
        EXPECT_EQ(s_numWideParts != 0, variant == kVariantL9);
    }
}
