#include "FuzzSupport.h"

#include <tbb/task_arena.h>

#include <stdexcept>
#include <string>

#include "BufferRequirements.h"
#include "Frame.h"
#include "ProcessorDispatch.h"
#include "RaveloDecoderInterface.h"
#include "VariantSelection.h"

FuzzRequest FuzzRequest::from(FuzzInput& input) {
    FuzzRequest request;
    const std::uint8_t first = input.byte();
    request.downSampleFactor = first & 3;
    request.bitDepth = kBitDepths[first >> 2 & 3];
    request.variant = (first >> 4 & 3) % kNumVariants;
    request.target = (first & 64) != 0 ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
    request.strideIsNegative = (first & 128) != 0;
    const std::uint8_t second = input.byte();
    request.colorCoding = second & 3;
    request.inParallel = second >> 2 == 63;
    request.spareBytes = input.byte() % 64;
    input.byte();
    return request;
}

FuzzOutput outputFor(std::span<const std::uint8_t> frame, FuzzRequest const& request) {
    const BufferRequirements needs =
        bufferRequirements(Bitstream{frame.data(), frame.size()}, request.bitDepth, request.downSampleFactor);
    const std::uint64_t stride = needs.safeStride + request.spareBytes;
    const std::uint64_t rowBytes = request.downSampleFactor == 0 ? needs.leastStride : needs.safeStride;
    FuzzOutput output;
    output.lines = needs.lines;
    output.numBytes = needs.lines == 0 ? 0 : (needs.lines - 1) * stride + rowBytes;
    output.bytes = std::make_unique_for_overwrite<std::uint8_t[]>(output.numBytes);
    output.stride = static_cast<std::int64_t>(stride);
    output.pixels = output.bytes.get();
    if (request.strideIsNegative) {
        output.stride = -output.stride;
        output.pixels += needs.lines == 0 ? 0 : (needs.lines - 1) * stride;
    }
    return output;
}

bool decodeInto(std::span<const std::uint8_t> frame, FuzzRequest const& request, FuzzOutput const& output) {
    selectVariant(request.variant);
    const auto call = [&] {
        require(RaveloDecoderInterface::DecompressFrameFromBits(
                    frame.data(), frame.size(), request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding),
                    request.bitDepth, output.pixels, output.stride, request.target) == 1,
                "the decode call returns 1");
    };
    try {
        if (request.inParallel)
            call();
        else
            serially(call);
    } catch (std::runtime_error const& error) {
        require(std::string(error.what()) == "RGB output for 4:2:2 frames is not supported by Ravelo decoder.",
                "only RGB output of 4:2:2 frames is refused");
        return false;
    }
    return true;
}

bool isSmallFrame(std::span<const std::uint8_t> frame) {
    constexpr std::uint64_t kMaxMacroblocks = 256;
    const PixelBuffer info = Frame::GetFrameInfo(Bitstream{frame.data(), frame.size()}, 8, 0);
    return (info.width + 15) / 16 * ((info.height + 15) / 16) <= kMaxMacroblocks;
}

bool canRunVariant(std::uint32_t variant) {
    static const std::uint64_t actual = [] {
        std::uint64_t features = 0;
        ippGetCpuFeatures(&features, nullptr);
        return features;
    }();
    return canRun(kVariants[variant], actual);
}

void selectVariant(std::uint32_t variant) {
    if (canRunVariant(variant) && ippJumpIndexForMergedLibs != static_cast<std::int32_t>(variant))
        ippSetCpuFeatures(kVariants[variant].features);
}

bool canRunAvx2() {
    return RaveloDecoderInterface::GetMaxOptType() == 1;
}

void serially(std::function<void()> const& work) {
    static tbb::task_arena arena(1);
    arena.execute(work);
}
