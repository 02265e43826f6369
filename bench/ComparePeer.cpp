// Decodes the same pictures with libjpeg-turbo and with this library, in turns and in one process, and prints the
// ratios of their costs; and those of decodes of this library to each other.
//
//   compare_peer [OPTIONS] FOLDER      FOLDER as prepare_pictures leaves it

#include <tbb/global_control.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "Comparison.h"
#include "ComparisonParts.h"
#include "FirstCall.h"
#include "PeerDecode.h"

namespace {

// AVX2 without AVX-512.
constexpr const char* kAvx2Variant = "l9";

void comparePlanar(ComparisonOptions const& options) {
    compareFrames(options, {"422", "4:2:2, 10 bits", "planar 8-bit YCbCr", DecodeRequest(), &PeerDecode::toPlanes});
}

void compareBaseline(ComparisonOptions const& options) {
    DecodeRequest request;
    request.target = OptimizationTarget::Baseline;
    compareFrames(options, {"422", "4:2:2, 10 bits", "planar 8-bit YCbCr", request, &PeerDecode::toPlanes});
}

void compareRgb(ComparisonOptions const& options) {
    DecodeRequest request;
    request.bitDepth = 16;
    request.colorCoding = ColorCoding_RGBFull;
    compareFrames(options, {"444", "4:4:4, RGB, 16 bits", "BGRX", request, &PeerDecode::toPixels});
}

void compareRgba(ComparisonOptions const& options) {
    DecodeRequest request;
    request.bitDepth = 8;
    request.form = PixelForm::Rgba;
    compareFrames(options, {"422", "4:2:2, RGBA, 8 bits", "BGRX", request, &PeerDecode::toPixels});
}

void compareFormsOfVectors(ComparisonOptions const& options) {
    compareForms(options, OptimizationTarget::AVX2);
}

void compareFormsOfBaseline(ComparisonOptions const& options) {
    compareForms(options, OptimizationTarget::Baseline);
}

void measureFirstCallsOf(ComparisonOptions const& options) {
    measureFirstCalls(options.rules.numRounds);
}

struct Part {
    const char* name;
    void (*run)(ComparisonOptions const& options);
    std::vector<std::string> kernelVariants{"native"}; // it runs with each
    bool setsThreads = false;                          // by itself, instead of one
};

const Part kParts[] = {
    {"probe", measureCore},
    {"planar", comparePlanar},
    {"planar-l9", comparePlanar, {kAvx2Variant}},
    {"rgb", compareRgb},
    {"rgb-l9", compareRgb, {kAvx2Variant}},
    {"rgba", compareRgba},
    {"rgba-l9", compareRgba, {kAvx2Variant}},
    {"entropy", compareEntropy},
    {"reduced", compareReduced, {"native", kAvx2Variant}},
    {"alpha", compareAlpha, {"native", kAvx2Variant}},
    {"baseline", compareBaseline, {"y8"}},
    {"forms", compareFormsOfVectors},
    {"forms-l9", compareFormsOfVectors, {kAvx2Variant}},
    {"forms-baseline", compareFormsOfBaseline, {"y8"}},
    {"regions", compareRegions},
    {"small", measureSmallFrames},
    {"first", measureFirstCallsOf, {"native"}, true},
    {"threads", compareThreads, {"native"}, true},
};

std::vector<std::string> partNames() {
    std::vector<std::string> names;
    for (Part const& part : kParts)
        names.push_back(part.name);
    return names;
}

std::string listOf(std::vector<std::string> const& names) {
    std::string list;
    for (std::string const& name : names)
        list += (list.empty() ? "" : ", ") + name;
    return list;
}

void runPart(ComparisonOptions const& options, std::string const& name) {
    for (Part const& part : kParts) {
        if (name != part.name)
            continue;
        std::optional<tbb::global_control> oneThread;
        if (!part.setsThreads)
            oneThread.emplace(tbb::global_control::max_allowed_parallelism, 1);
        for (std::string const& variant : part.kernelVariants) {
            selectKernelVariant(variant);
            part.run(options);
        }
    }
}

int compareParts(int argc, char** argv) {
    CLI::App app("Compares the cost of decoding with libjpeg-turbo's", "compare_peer");
    ComparisonOptions options;
    const std::vector<std::string> names = partNames();
    std::vector<std::string> parts = names;
    app.add_option("folder", options.folder, "Folder of the pictures")->required()->check(CLI::ExistingDirectory);
    app.add_option("--rounds", options.rules.numRounds, "Rounds of each comparison")->check(CLI::Range(1, 100000));
    app.add_option("--frames", options.rules.numRepetitions, "Frames back to back in each run")
        ->check(CLI::Range(1, 100000));
    app.add_option("--only", parts, "Parts to run: " + listOf(names))->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    std::printf(
        "Values are medians over all rounds, then over those with a quiet and those with a busy core, in columns\n"
        "or in parentheses. A dash means that there were none.\n");
    for (std::string const& part : parts)
        runPart(options, part);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        // What measureFirstCalls starts. Nothing else has run before that the first call would profit from.
        if (argc == 4 && std::string(argv[1]) == "--first-call") {
            printFirstCall(argv[3], static_cast<unsigned int>(std::stoul(argv[2])));
            return 0;
        }
        return compareParts(argc, argv);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "compare_peer: %s\n", error.what());
        return 1;
    }
}
