// Slices and frames through the decode call, in one thread.

#include <benchmark/benchmark.h>
#include <tbb/global_control.h>

#include <cstdint>
#include <string>
#include <vector>

#include "BenchFrames.h"
#include "FrameDecode.h"
#include "LoopCost.h"

namespace {

void benchDecode(benchmark::State& state, std::vector<std::uint8_t> const& frame, DecodeRequest const& request) {
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    FrameDecode decode(frame, request);
    runLoop(state, "clocks/pixel", decode.numPixels(), [&] { decode.run(); });
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.size()));
}

struct Case {
    const char* name;
    ChromaFormat chromaFormat;
    double bitsPerPixel;
    ColorCoding colorCoding;
    std::uint32_t bitDepth;
    std::uint32_t downSampleFactor;
    PixelForm form = PixelForm::Coded;
};

constexpr Case kCases[] = {
    {"422-10bit-1.0bpp", ChromaFormat::C422, 1.0, ColorCoding_YCbCr, 10, 0},
    {"422-10bit-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 10, 0},
    {"422-10bit-7.0bpp", ChromaFormat::C422, 7.0, ColorCoding_YCbCr, 10, 0},
    {"422-8bit-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 8, 0},
    {"422-half-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 8, 1},
    {"422-quarter-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 8, 2},
    {"422-eighth-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 8, 3},
    {"422-rgba8bit-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 8, 0, PixelForm::Rgba},
    {"422-rgba16bit-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 16, 0, PixelForm::Rgba},
    {"422-rgbahalf-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 16, 0, PixelForm::RgbaHalf},
    {"422-planar10bit-3.5bpp", ChromaFormat::C422, 3.5, ColorCoding_YCbCr, 10, 0, PixelForm::Planar},
    {"444-rgba8bit-3.5bpp", ChromaFormat::C444, 3.5, ColorCoding_YCbCr, 8, 0, PixelForm::Rgba},
    {"444-16bit-3.5bpp", ChromaFormat::C444, 3.5, ColorCoding_YCbCr, 16, 0},
    {"444-rgb16bit-3.5bpp", ChromaFormat::C444, 3.5, ColorCoding_RGBFull, 16, 0},
    {"444-rgb8bit-3.5bpp", ChromaFormat::C444, 3.5, ColorCoding_RGBFull, 8, 0},
};

void registerCase(std::string const& subject, Case const& frameCase, std::uint32_t width, std::uint32_t height) {
    for (const OptimizationTarget target : runnableTargets()) {
        const DecodeRequest request{target, frameCase.colorCoding, frameCase.bitDepth, frameCase.downSampleFactor,
                                    frameCase.form};
        const std::string name = subject + "/" + frameCase.name + "/" + nameOf(target);
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            benchDecode(state, benchFrame(width, height, frameCase.chromaFormat, frameCase.bitsPerPixel), request);
        });
    }
}

const bool s_registered = [] {
    for (Case const& frameCase : kCases) {
        // Eight macroblocks in a row are one slice.
        registerCase("Slice", frameCase, 128, 16);
        registerCase("Frame", frameCase, 1920, 1080);
    }
    return true;
}();

} // namespace
