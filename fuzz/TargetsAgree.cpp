// The two targets and the kernel variants against each other, on valid frames.
//
// At full size, with kernels of the plain arithmetic, the targets differ in nothing but the fused rounding on the way
// to a code: one code at most. RGB output is left out, since its sums can cancel and leave any difference, and so is
// alpha, whose vector form is another rule. The reduced kernels work in whole numbers and are the same in every
// variant.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "FrameMaker.h"
#include "FuzzSupport.h"
#include "VariantSelection.h"

namespace {

FrameSpec specFrom(FuzzInput& input) {
    FrameSpec spec;
    spec.horizontal_size = 1 + input.below(40);
    spec.vertical_size = 1 + input.below(36);
    spec.chroma_format = 2 + (input.byte() & 1);
    spec.interlace_mode = input.byte() & 3;
    spec.alpha_channel_type = input.byte() % 3;
    spec.log2_slice_size_in_mb = input.byte() & 3;
    if ((input.byte() & 1) != 0) {
        spec.lumaMatrix.emplace();
        for (std::uint8_t& entry : *spec.lumaMatrix)
            entry = input.byte();
    }
    return spec;
}

void fillComponent(std::vector<std::int16_t>& coefficients, FuzzInput& input) {
    for (std::size_t i = 0; i < coefficients.size() && !input.empty();) {
        const std::uint8_t kind = input.byte();
        if (kind < 160) {
            i += 1 + kind;
        } else {
            coefficients[i++] = static_cast<std::int16_t>(kind < 240 ? int{kind} - 200 : input.word());
        }
    }
}

std::vector<std::uint8_t> frameFrom(FrameSpec const& spec, FuzzInput& input) {
    return makeFrame(spec,
                     [&input](SlicePlace const&, SliceContent& content) {
                         content.quantization_index = input.byte();
                         fillComponent(content.y, input);
                         fillComponent(content.cb, input);
                         fillComponent(content.cr, input);
                     })
        .bytes;
}

FuzzOutput decoded(std::vector<std::uint8_t> const& frame, FuzzRequest const& request) {
    FuzzOutput output = outputFor(frame, request);
    std::memset(output.bytes.get(), 0, output.numBytes);
    decodeInto(frame, request, output);
    return output;
}

int sampleAt(FuzzOutput const& output, std::size_t index, bool isWide) {
    if (!isWide)
        return output.bytes[index];
    std::uint16_t sample = 0;
    std::memcpy(&sample, output.bytes.get() + 2 * index, sizeof sample);
    return sample;
}

void requireTargetsAgree(std::vector<std::uint8_t> const& frame, FrameSpec const& spec, FuzzRequest request) {
    request.downSampleFactor = 0;
    request.colorCoding = 0;
    request.spareBytes = 0;
    request.variant = 1;
    request.target = OptimizationTarget::Baseline;
    const FuzzOutput baseline = decoded(frame, request);
    request.target = OptimizationTarget::AVX2;
    const FuzzOutput avx2 = decoded(frame, request);
    const bool isWide = request.bitDepth > 8;
    const bool hasAlpha = spec.chroma_format == 3;
    for (std::size_t i = 0; i < baseline.numBytes / (isWide ? 2 : 1); ++i) {
        if (hasAlpha && i % 4 == 0)
            continue;
        const int plain = sampleAt(baseline, i, isWide);
        const int fused = sampleAt(avx2, i, isWide);
        const bool isOverflow = !isWide && plain == 255 && fused == 0;
        require(std::abs(plain - fused) <= 1 || isOverflow, "targets agree to one code");
    }
}

// The variants that do not fuse are the same arithmetic at full size; all are at reduced sizes.
void requireVariantsAgree(std::vector<std::uint8_t> const& frame, FuzzRequest request) {
    if (request.downSampleFactor != 0)
        request.bitDepth = 8;
    request.spareBytes = 0;
    request.colorCoding = frame[20] >> 6 == 2 ? 0 : request.colorCoding;
    request.variant = 0;
    const FuzzOutput plain = decoded(frame, request);
    for (request.variant = 1; request.variant < kNumVariants; ++request.variant) {
        const bool isAlike = request.downSampleFactor != 0 || !kVariants[request.variant].isFused;
        if (!isAlike || !canRunVariant(request.variant))
            continue;
        const FuzzOutput other = decoded(frame, request);
        require(std::equal(plain.bytes.get(), plain.bytes.get() + plain.numBytes, other.bytes.get()),
                "kernel variants agree");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const FuzzRequest request = FuzzRequest::from(input);
    const FrameSpec spec = specFrom(input);
    const std::vector<std::uint8_t> frame = frameFrom(spec, input);
    if (canRunAvx2())
        requireTargetsAgree(frame, spec, request);
    requireVariantsAgree(frame, request);
    return 0;
}
