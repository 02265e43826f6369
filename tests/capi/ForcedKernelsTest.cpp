#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "HostFrames.h"
#include "KernelChoice.h"
#include "RaveloDecoderInterface.h"
#include "VectorManifest.h"

// The kernels of the C interface can be forced where a program links its static library. The shared one has kernels of
// its own that nobody outside can reach.

namespace {

// A frame of which fused operations change the last bit of some samples of 16 bits.
std::vector<std::uint8_t> sensitiveFrame() {
    return readTestData("vectors/valid422-1.rvl");
}

ravelo_decode_options deepOptions() {
    ravelo_decode_options options = usualOptions();
    options.bit_depth = 16;
    options.target = RAVELO_TARGET_BASELINE;
    return options;
}

std::vector<std::uint8_t> decodedByCxx(std::vector<std::uint8_t> const& frame,
                                       ravelo_buffer_requirements const& needs) {
    std::vector<std::uint8_t> pixels(needs.bytes, kHostFill);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), 0, ColorCoding_YCbCr, 16, pixels.data(),
                                                    static_cast<std::int64_t>(needs.safe_stride),
                                                    OptimizationTarget::Baseline);
    return pixels;
}

} // namespace

TEST(ForcedKernelsTest, TheForcedKernelDecodes) {
    const std::vector<std::uint8_t> frame = sensitiveFrame();
    for (Variant const& variant : runnableVariants()) {
        const SelectedVariant selected(variant);
        const HostDecode decode = hostDecode(frame, deepOptions());
        ASSERT_EQ(decode.status, RAVELO_OK) << decode.text;
        EXPECT_EQ(decode.pixels, decodedByCxx(frame, decode.needs)) << variant.name;
    }
}

TEST(ForcedKernelsTest, ForcingAKernelThatFusesChangesSamples) {
    const std::vector<std::uint8_t> frame = sensitiveFrame();
    bool hasFusing = false;
    bool isChanged = false;
    std::vector<std::uint8_t> plain;
    {
        const SelectedVariant selected(kPlainVariant);
        plain = hostDecode(frame, deepOptions()).pixels;
    }
    for (Variant const& variant : runnableVariants()) {
        if (!variant.isFused)
            continue;
        hasFusing = true;
        const SelectedVariant selected(variant);
        isChanged = isChanged || hostDecode(frame, deepOptions()).pixels != plain;
    }
    if (!hasFusing)
        GTEST_SKIP() << "this processor has no kernel that fuses";
    EXPECT_TRUE(isChanged) << "the forced kernel does not reach the C interface";
}
