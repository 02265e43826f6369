#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "Checksum.h"
#include "KernelChoice.h"
#include "RaveloDecoderInterface.h"
#include "VectorManifest.h"

namespace {

std::string kindOf(std::string const& frame) {
    return frame.substr(0, frame.rfind('-'));
}

void expectVector(VectorRequest const& vector) {
    const std::vector<std::uint8_t> frame = readTestData("vectors/" + vector.frame);
    const std::uint64_t stride = static_cast<std::uint64_t>(vector.request.lineStride);
    // A 4:2:2 picture of eighth size may write one line more than it has, and a field's line is every second of the
    // frame.
    std::vector<std::uint8_t> output(stride * (vector.rows + 3), kVectorFill);
    DecodeRequest const& request = vector.request;
    ASSERT_EQ(RaveloDecoderInterface::DecompressFrameFromBits(
                  frame.data(), frame.size(), request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding),
                  request.bitDepth, output.data(), request.lineStride, request.target),
              1);
    for (std::uint32_t row = 0; row < vector.rows; ++row)
        ASSERT_EQ(crc32Of(&output[row * stride], stride), vector.crc32[row]) << vector.describe() << " line " << row;
}

class VectorsTest : public testing::TestWithParam<std::string> {};

TEST_P(VectorsTest, EveryLineIsAsTheManifestSays) {
    const bool runsAvx2 = RaveloDecoderInterface::GetMaxOptType() == 1;
    for (Variant const& variant : runnableVariants()) {
        if (variant.isFused)
            continue; // the stored lines are those of the plain arithmetic
        const SelectedVariant selected(variant);
        for (VectorRequest const& vector : readVectorManifest()) {
            if (kindOf(vector.frame) != GetParam())
                continue;
            if (vector.request.target == OptimizationTarget::AVX2 && !runsAvx2)
                continue;
            expectVector(vector);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, VectorsTest,
                         testing::Values("valid422", "valid444", "valid4444_8", "valid4444_16", "interlaced", "tiny",
                                         "odd", "undefined_alpha", "oddheaders", "failing", "extremes"),
                         [](testing::TestParamInfo<std::string> const& kind) { return kind.param; });

TEST(VectorManifestTest, HoldsAllItsCalls) {
    EXPECT_EQ(readVectorManifest().size(), 1380u);
}

} // namespace
