// The vertical and the wide reconstruction against the plain one, bit for bit, over all forms of the output.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "ForcedReconstruction.h"
#include "ForcedStreaming.h"
#include "OutputForm.h"
#include "RaveloDecoderInterface.h"
#include "ReconstructionForm.h"

namespace {

// A target with a variant of the kernels that has a form besides the plain one.
struct Path {
    OptimizationTarget target;
    VariantIndex variant;
};

std::vector<Path> runnablePaths() {
    std::vector<Path> paths = {{OptimizationTarget::Baseline, kVariantY8}};
    for (Variant const& variant : runnableVariants())
        if (variant.isFused && RaveloDecoderInterface::GetMaxOptType() != 0)
            paths.push_back({OptimizationTarget::AVX2, static_cast<VariantIndex>(variant.index)});
    return paths;
}

// What a decode leaves in memory that is aligned to cache lines, with `offset` bytes before the first line.
std::vector<std::uint8_t> outputOf(std::vector<std::uint8_t> const& frame, DecodeRequest const& request,
                                   std::uint64_t numLines, std::size_t offset) {
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    const auto stride = static_cast<std::size_t>(request.lineStride < 0 ? -request.lineStride : request.lineStride);
    const std::size_t numBytes = (stride * numLines + 2 * kCacheLineBytes) / kCacheLineBytes * kCacheLineBytes;
    const std::unique_ptr<std::uint8_t, Free> memory(
        static_cast<std::uint8_t*>(std::aligned_alloc(kCacheLineBytes, numBytes)));
    std::memset(memory.get(), 0xA5, numBytes);
    std::uint8_t* const first = memory.get() + offset + (request.lineStride < 0 ? stride * (numLines - 1) : 0);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), request.downSampleFactor,
                                                    static_cast<ColorCoding>(request.colorCoding), request.bitDepth,
                                                    first, request.lineStride, request.target);
    return {memory.get(), memory.get() + numBytes};
}

testing::AssertionResult formsAgree(MadeFrame const& made, FrameSpec const& spec, DecodeRequest request,
                                    Path const& path, std::size_t offset) {
    request.target = path.target;
    const SelectedVariant variant(kVariants[path.variant]);
    if (currentReconstructionForm(path.target) == ReconstructionForm::Plain)
        return testing::AssertionFailure() << "the plain form is chosen";
    const auto vertical = outputOf(made.bytes, request, spec.vertical_size, offset);
    const ForcedReconstruction plainly(ReconstructionForm::Plain);
    if (currentReconstructionForm(path.target) != ReconstructionForm::Plain)
        return testing::AssertionFailure() << "the plain form cannot be forced";
    if (vertical != outputOf(made.bytes, request, spec.vertical_size, offset))
        return testing::AssertionFailure()
               << describe(request) << ", " << spec.horizontal_size << "x" << spec.vertical_size << ", chroma "
               << spec.chroma_format << ", alpha " << spec.alpha_channel_type;
    return testing::AssertionSuccess();
}

// All depths and codings of a frame, with lines upwards and downwards.
void expectAgreementInAllForms(MadeFrame const& made, FrameSpec const& spec) {
    for (Path const& path : runnablePaths()) {
        for (const std::uint32_t depth : {8u, 10u, 15u, 16u}) {
            for (std::uint32_t coding = 0; coding < (spec.chroma_format == 3 ? 3u : 1u); ++coding) {
                DecodeRequest request;
                request.bitDepth = depth;
                request.colorCoding = coding;
                request.lineStride = (leastStride(made.bytes, request) + 63) / 64 * 64;
                if (coding % 2 == 1)
                    request.lineStride = -request.lineStride;
                ASSERT_TRUE(formsAgree(made, spec, request, path, depth == 10 ? 2 : 0));
            }
        }
    }
}

} // namespace

TEST(VerticalReconstructionTest, RandomFramesOfEveryKindEqualThePlainForm) {
    Random random = seeded(7701);
    for (std::uint32_t round = 0; round < numRounds(120); ++round) {
        const FrameSpec spec = randomSpec(random);
        expectAgreementInAllForms(randomFrame(spec, random), spec);
    }
}

TEST(VerticalReconstructionTest, EveryWidthAndSliceSizeEqualsThePlainForm) {
    Random random = seeded(7702);
    for (std::uint32_t width = 1; width <= 160; width += 1 + width / 40) {
        FrameSpec spec;
        spec.horizontal_size = width;
        spec.vertical_size = 1 + randomBelow(random, 40);
        spec.chroma_format = 2 + width % 2;
        spec.alpha_channel_type = randomBelow(random, 3);
        spec.log2_slice_size_in_mb = width % 4;
        spec.interlace_mode = randomBelow(random, 4);
        expectAgreementInAllForms(makeFrame(spec, randomSlices(spec, Texture::Dense, random)), spec);
    }
}

TEST(VerticalReconstructionTest, CoefficientsOfAnyValueEqualThePlainForm) {
    Random random = seeded(7703);
    for (std::uint32_t round = 0; round < 24; ++round) {
        FrameSpec spec;
        spec.horizontal_size = 130;
        spec.vertical_size = 36;
        spec.chroma_format = 2 + round % 2;
        spec.alpha_channel_type = round / 2 % 3;
        const Texture texture = round % 3 == 0 ? Texture::Sparse : Texture::Extreme;
        expectAgreementInAllForms(makeFrame(spec, randomSlices(spec, texture, random)), spec);
    }
}

TEST(VerticalReconstructionTest, OutputPastTheCachesEqualsThePlainForm) {
    Random random = seeded(7704);
    const ForcedStreaming all(0);
    for (std::uint32_t round = 0; round < 6; ++round) {
        FrameSpec spec;
        spec.horizontal_size = 150;
        spec.vertical_size = 24;
        spec.chroma_format = 2 + round % 2;
        spec.alpha_channel_type = round % 3;
        expectAgreementInAllForms(makeFrame(spec, randomSlices(spec, Texture::Photo, random)), spec);
    }
}
