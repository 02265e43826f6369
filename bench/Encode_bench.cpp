// Frames of the encoder, on one thread: at the index that gives a rate, and at that rate, whose index is searched for.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "BenchFrames.h"
#include "FrameEncoder.h"
#include "LoopCost.h"

namespace {

constexpr std::uint32_t kWidth = 1920, kHeight = 1080;
constexpr double kPixels = static_cast<double>(kWidth) * kHeight;

void benchEncode(benchmark::State& state, ChromaFormat chromaFormat, double bitsPerPixel, bool isSearched) {
    const SourcePicture picture = benchPicture(kWidth, kHeight, chromaFormat);
    EncoderSettings settings;
    settings.bitsPerPixel = bitsPerPixel;
    if (!isSearched) {
        settings.quantization_index = encodeFrame(picture, settings).quantization_index;
        settings.bitsPerPixel = 0;
    }
    runLoop(state, "clocks/pixel", kPixels, [&] { benchmark::DoNotOptimize(encodeFrame(picture, settings)); });
}

const bool s_registered = [] {
    for (const ChromaFormat chromaFormat : {ChromaFormat::C422, ChromaFormat::C444})
        for (const double bitsPerPixel : {3.5, 7.0})
            for (const bool isSearched : {false, true}) {
                const std::string name = std::string("Encode/") + (chromaFormat == ChromaFormat::C422 ? "422" : "444") +
                                         (bitsPerPixel < 5 ? "/3.5bpp" : "/7bpp") + (isSearched ? "/rate" : "/index");
                benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
                    benchEncode(state, chromaFormat, bitsPerPixel, isSearched);
                })->Unit(benchmark::kMillisecond);
            }
    return true;
}();

} // namespace
