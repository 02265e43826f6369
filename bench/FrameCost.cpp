// Measures what decoding a frame costs: medians over many decodes of the same frame into the same buffer.
//
//   frame_cost [OPTIONS] FRAME.rvl...

#include <tbb/global_control.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "CostMeter.h"
#include "Files.h"
#include "FrameDecode.h"
#include "OutputForm.h"
#include "ProcessorDispatch.h"
#include "ReconstructionForm.h"
#include "Statistics.h"

namespace {

struct Options {
    std::vector<std::filesystem::path> frames;
    DecodeRequest request;
    unsigned int numRuns = 31;
    unsigned int numThreads = 1;
    std::string variant = "native";
    std::uint64_t features = 0;
    std::optional<ReconstructionForm> reconstruction;
    std::optional<std::uint64_t> leastStreamed;
};

Options optionsFrom(CLI::App& app, int argc, char** argv) {
    const std::map<std::string, OptimizationTarget> targets{{"baseline", OptimizationTarget::Baseline},
                                                            {"avx2", OptimizationTarget::AVX2}};
    const std::map<std::string, ColorCoding> codings{
        {"ycbcr", ColorCoding_YCbCr}, {"rgb", ColorCoding_RGBFull}, {"rgb-video", ColorCoding_RGBVideo}};
    const std::map<std::string, ReconstructionForm> reconstructions{{"plain", ReconstructionForm::Plain},
                                                                    {"vertical", ReconstructionForm::Vertical},
                                                                    {"wide", ReconstructionForm::Wide}};
    const std::map<std::string, PixelForm> forms{{"coded", PixelForm::Coded},
                                                 {"rgba", PixelForm::Rgba},
                                                 {"bgra", PixelForm::Bgra},
                                                 {"half", PixelForm::RgbaHalf},
                                                 {"planar", PixelForm::Planar}};
    Options options;
    app.add_option("frames", options.frames, "Compressed frames")->required()->check(CLI::ExistingFile);
    app.add_option("--runs", options.numRuns, "Decodes of each frame")->check(CLI::Range(1, 1000000));
    app.add_option("--threads", options.numThreads, "Threads of the decoder")->check(CLI::Range(1, 1024));
    app.add_option("--target", options.request.target, "Code path")->transform(CLI::CheckedTransformer(targets));
    app.add_option("--coding", options.request.colorCoding, "Output coding")
        ->transform(CLI::CheckedTransformer(codings));
    app.add_option("--form", options.request.form, "Form of the pixels")->transform(CLI::CheckedTransformer(forms));
    app.add_option("--depth", options.request.bitDepth, "Output bits: 8, 10, 15 or 16");
    app.add_option("--reduction", options.request.downSampleFactor, "0 full, 1 half, 2 quarter, 3 eighth size")
        ->check(CLI::Range(0, 3));
    CLI::Option* const variant = app.add_option("--variant", options.variant, "Kernels: " + kernelVariantNames());
    app.add_option("--features", options.features, "Kernels by a mask of processor features")->excludes(variant);
    app.add_option("--reconstruction", options.reconstruction, "A form of the reconstruction instead of the best one")
        ->transform(CLI::CheckedTransformer(reconstructions));
    app.add_option("--least-streamed", options.leastStreamed,
                   "Bytes from which on a picture is written past the caches, instead of the processor's number");
    app.parse(argc, argv);
    // Reduced pictures come in 8 bits.
    if (options.request.downSampleFactor != 0)
        options.request.bitDepth = 8;
    return options;
}

void report(std::filesystem::path const& file, Options const& options, CostMeter& meter) {
    FrameDecode decode(readFile(file), options.request);
    decode.run();
    std::vector<double> nanoseconds;
    std::vector<double> wallNanoseconds;
    std::vector<double> clocks;
    std::vector<double> instructions;
    for (unsigned int run = 0; run < options.numRuns; ++run) {
        meter.start();
        decode.run();
        const Cost cost = meter.stop();
        nanoseconds.push_back(cost.nanoseconds);
        wallNanoseconds.push_back(cost.wallNanoseconds);
        clocks.push_back(cost.clocks);
        instructions.push_back(cost.instructions);
    }
    const double numPixels = decode.numPixels();
    std::printf("%-28s %ux%u %6.3f bit/px  %10.0f ns/frame (passed %10.0f)  %6.3f ns/px  %6.2f clk/px",
                file.filename().c_str(), decode.width(), decode.height(), decode.bitsPerPixel(), median(nanoseconds),
                median(wallNanoseconds), median(nanoseconds) / numPixels, median(clocks) / numPixels);
    if (median(instructions) > 0)
        std::printf("  %6.2f instr/px", median(instructions) / numPixels);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures what decoding a frame costs", "frame_cost");
    try {
        const Options options = optionsFrom(app, argc, argv);
        CostMeter meter;
        const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, options.numThreads);
        if (options.features != 0)
            ippSetCpuFeatures(options.features);
        else
            selectKernelVariant(options.variant);
        if (options.reconstruction == ReconstructionForm::Wide && !canRunKernelVariant(kVariants[kVariantK0]))
            throw std::runtime_error("--reconstruction: wide needs AVX-512 F, BW, DQ and VL");
        forceReconstruction(options.reconstruction);
        forceLeastStreamedBytes(options.leastStreamed);
        std::printf("threads %u, target %d, kernel index %d, depth %u, reduction %u, coding %u, %u runs; clocks %s\n",
                    options.numThreads, static_cast<int>(options.request.target), ippJumpIndexForMergedLibs,
                    options.request.bitDepth, options.request.downSampleFactor,
                    static_cast<unsigned int>(options.request.colorCoding), options.numRuns,
                    meter.countsClocks() ? "counted" : "from processor time and frequency");
        for (std::filesystem::path const& file : options.frames)
            report(file, options, meter);
    } catch (CLI::ParseError const& error) {
        return app.exit(error);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "frame_cost: %s\n", error.what());
        return 1;
    }
    return 0;
}
