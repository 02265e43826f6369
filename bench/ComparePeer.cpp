// Decodes the same pictures with libjpeg-turbo and with this library, in turns and in one process, and prints the
// ratios of their costs.
//
//   compare_peer [OPTIONS] FOLDER      FOLDER as prepare_pictures leaves it

#include <tbb/global_control.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "Contest.h"
#include "CostMeter.h"
#include "Files.h"
#include "FrameDecode.h"
#include "FrameScan.h"
#include "MarkdownTable.h"
#include "PeerDecode.h"
#include "Statistics.h"

namespace {

struct Options {
    std::filesystem::path folder;
    ContestRules rules;
    std::vector<std::string> parts{"planar",   "rgb",   "rgba",    "entropy", "reduced",
                                   "baseline", "forms", "regions", "threads"};
};

constexpr const char* kPhotographs[] = {"low", "middle", "high"};
constexpr const char* kSizes[] = {"1080p", "2160p"};
constexpr const char* kRates[] = {"3.5", "7.0"};

// The name without ending of every picture in this chroma format that the folder has; at low detail the highest JPEG
// quality may leave one rate only.
std::vector<std::string> pictureNames(Options const& options, std::string const& chromaFormat) {
    std::vector<std::string> names;
    for (const std::string rate : kRates) {
        for (const std::string size : kSizes) {
            for (const std::string photograph : kPhotographs) {
                const std::string name = photograph + "-" + size + "-" + chromaFormat + "-" + rate;
                if (std::filesystem::exists(options.folder / (name + ".rvl")))
                    names.push_back(name);
            }
        }
    }
    return names;
}

std::vector<std::uint8_t> frameNamed(Options const& options, std::string const& name) {
    return readFile(options.folder / (name + ".rvl"));
}

PeerDecode peerNamed(Options const& options, std::string const& name) {
    return PeerDecode(readFile(options.folder / (name + ".jpg")));
}

void print(const char* title, MarkdownTable const& table) {
    std::printf("\n### %s\n\n%s", title, table.text().c_str());
    std::fflush(stdout);
}

MarkdownTable ratioTable(const char* unit) {
    const std::string perUnit = std::string(", clocks per ") + unit;
    return MarkdownTable({"picture", "bits per pixel", "JPEG", "libjpeg-turbo" + perUnit, "ours" + perUnit, "ratio"});
}

void addContest(MarkdownTable& table, std::string const& name, double bitsPerPixel, double peerBitsPerPixel,
                ContestResult const& result, double peerUnits, double units) {
    table.addRow({name, fixed(bitsPerPixel, 2), fixed(peerBitsPerPixel, 2), fixed(result.firstClocks / peerUnits, 1),
                  fixed(result.secondClocks / units, 1), fixed(result.ratio, 2)});
}

// Whole frames against one kind of the peer's decode.
void compareFrames(Options const& options, const char* title, std::string const& chromaFormat,
                   DecodeRequest const& request, void (PeerDecode::*peerDecode)()) {
    MarkdownTable table = ratioTable("pixel");
    for (std::string const& name : pictureNames(options, chromaFormat)) {
        PeerDecode peer = peerNamed(options, name);
        FrameDecode ours(frameNamed(options, name), request);
        const ContestResult result = contest([&] { (peer.*peerDecode)(); }, [&] { ours.run(); }, options.rules);
        addContest(table, name, ours.bitsPerPixel(), peer.bitsPerPixel(), result, ours.numPixels(), ours.numPixels());
    }
    print(title, table);
}

void compareEntropy(Options const& options) {
    MarkdownTable table = ratioTable("pixel");
    MarkdownTable detail({"picture", "coefficients per pixel", "bits per coefficient", "clocks per coefficient"});
    for (std::string const& name : pictureNames(options, "422")) {
        PeerDecode peer = peerNamed(options, name);
        FrameScan ours(frameNamed(options, name));
        const ContestResult result =
            contest([&] { peer.toCoefficients(); }, [&] { ours.scanAll<OptimizationTarget::AVX2>(); }, options.rules);
        const auto numPixels = static_cast<double>(ours.numPixels());
        const auto numCoefficients = static_cast<double>(ours.numCoefficients());
        const auto numBits = static_cast<double>(ours.numBits());
        addContest(table, name, numBits / numPixels, peer.bitsPerPixel(), result, numPixels, numPixels);
        detail.addRow({name, fixed(numCoefficients / numPixels, 3), fixed(numBits / numCoefficients, 2),
                       fixed(result.secondClocks / numCoefficients, 2)});
    }
    print("Entropy decoding alone, against jpeg_read_coefficients (4:2:2, one thread)", table);
    print("Entropy decoding by coefficient", detail);
}

void compareReduced(Options const& options) {
    MarkdownTable table({"picture", "full, clocks per pixel", "half", "quarter", "eighth"});
    for (std::string const& name : pictureNames(options, "422")) {
        if (!name.ends_with("3.5"))
            continue;
        DecodeRequest request;
        request.bitDepth = 8;
        FrameDecode full(frameNamed(options, name), request);
        std::vector<std::string> row{name, ""};
        for (std::uint32_t reduction = 1; reduction <= 3; ++reduction) {
            request.downSampleFactor = reduction;
            FrameDecode reduced(frameNamed(options, name), request);
            const ContestResult result = contest([&] { full.run(); }, [&] { reduced.run(); }, options.rules);
            row[1] = fixed(result.firstClocks / full.numPixels(), 1);
            row.push_back(fixed(1 / result.ratio, 2));
        }
        table.addRow(row);
    }
    print("Reduced sizes, as a part of the full size's cost (4:2:2, 8 bits, one thread)", table);
}

// What other forms of the pixels cost beside the native decode of the same frames.
void compareForms(Options const& options, OptimizationTarget target) {
    struct Form {
        PixelForm form;
        std::uint32_t bitDepth;
    };
    constexpr Form kForms[] = {
        {PixelForm::Rgba, 8}, {PixelForm::Rgba, 16}, {PixelForm::RgbaHalf, 16}, {PixelForm::Planar, 10}};
    MarkdownTable table({"picture", "coded, 10 bits, clocks per pixel", "RGBA, 8 bits", "RGBA, 16 bits", "RGBA, halves",
                         "planar, 10 bits"});
    for (std::string const& name : pictureNames(options, "422")) {
        DecodeRequest request;
        request.target = target;
        FrameDecode coded(frameNamed(options, name), request);
        std::vector<std::string> row{name, ""};
        for (Form const& form : kForms) {
            request.form = form.form;
            request.bitDepth = form.bitDepth;
            FrameDecode formed(frameNamed(options, name), request);
            const ContestResult result = contest([&] { formed.run(); }, [&] { coded.run(); }, options.rules);
            row[1] = fixed(result.secondClocks / coded.numPixels(), 1);
            row.push_back(fixed(result.ratio, 2));
        }
        table.addRow(row);
    }
    print("Forms of the pixels, as a part of the native decode's cost (4:2:2, one thread)", table);
}

// A sixteenth of a picture, in its middle, beside the whole.
void compareRegions(Options const& options) {
    MarkdownTable table({"picture", "coded, 10 bits", "RGBA, 8 bits"});
    for (std::string const& name : pictureNames(options, "422")) {
        std::vector<std::string> row{name};
        for (const PixelForm form : {PixelForm::Coded, PixelForm::Rgba}) {
            DecodeRequest request;
            request.form = form;
            request.bitDepth = form == PixelForm::Coded ? 10 : 8;
            FrameDecode whole(frameNamed(options, name), request);
            const std::uint32_t width = whole.width() / 8 * 2, height = whole.height() / 4;
            request.region = {width / 2 * 3 / 2 * 2, height * 3 / 2, width, height};
            FrameDecode part(frameNamed(options, name), request);
            row.push_back(fixed(contest([&] { part.run(); }, [&] { whole.run(); }, options.rules).ratio, 3));
        }
        table.addRow(row);
    }
    print("A sixteenth of the picture, as a part of the whole's cost (4:2:2, one thread)", table);
}

// What a frame costs in a batch of frames back to back.
Cost costOfFrame(FrameDecode& decode, std::size_t numThreads) {
    constexpr unsigned int kWarmingFrames = 5;
    constexpr unsigned int kFrames = 20;
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, numThreads);
    // The second worker must be awake, on its own core, before the measurement begins.
    for (unsigned int i = 0; i < kWarmingFrames; ++i)
        decode.run();
    CostMeter meter;
    meter.start();
    for (unsigned int i = 0; i < kFrames; ++i)
        decode.run();
    const Cost cost = meter.stop();
    return {cost.nanoseconds / kFrames, cost.wallNanoseconds / kFrames, cost.clocks / kFrames, 0};
}

void compareThreads(Options const& options) {
    MarkdownTable table({"picture", "one thread, ms a frame", "two threads", "ratio", "processor time, two to one"});
    for (std::string const& name : pictureNames(options, "422")) {
        if (name.find("2160p") == std::string::npos)
            continue;
        FrameDecode decode(frameNamed(options, name), DecodeRequest());
        std::vector<double> milliseconds[2];
        std::vector<double> ratios;
        std::vector<double> processorRatios;
        for (unsigned int round = 0; round < options.rules.numRounds; ++round) {
            const Cost one = costOfFrame(decode, 1);
            const Cost two = costOfFrame(decode, 2);
            milliseconds[0].push_back(one.wallNanoseconds * 1e-6);
            milliseconds[1].push_back(two.wallNanoseconds * 1e-6);
            ratios.push_back(one.wallNanoseconds / two.wallNanoseconds);
            processorRatios.push_back(two.nanoseconds / one.nanoseconds);
        }
        table.addRow({name, fixed(median(milliseconds[0]), 1), fixed(median(milliseconds[1]), 1),
                      fixed(median(ratios), 2), fixed(median(processorRatios), 2)});
    }
    print("Two threads: batches of 20 frames back to back, by the time that passes (4:2:2, 10 bits)", table);
}

void runPart(Options const& options, std::string const& part) {
    DecodeRequest request;
    selectKernelVariant("native");
    if (part == "threads") {
        compareThreads(options);
        return;
    }
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    if (part == "planar") {
        compareFrames(options, "4:2:2, 10 bits, AVX2, against planar 8-bit YCbCr (one thread)", "422", request,
                      &PeerDecode::toPlanes);
    } else if (part == "rgb") {
        request.bitDepth = 16;
        request.colorCoding = ColorCoding_RGBFull;
        compareFrames(options, "4:4:4, RGB, 16 bits, AVX2, against BGRX (one thread)", "444", request,
                      &PeerDecode::toPixels);
    } else if (part == "rgba") {
        request.bitDepth = 8;
        request.form = PixelForm::Rgba;
        compareFrames(options, "4:2:2, RGBA, 8 bits, AVX2, against BGRX (one thread)", "422", request,
                      &PeerDecode::toPixels);
    } else if (part == "forms") {
        compareForms(options, request.target);
        compareForms(options, OptimizationTarget::Baseline);
    } else if (part == "regions") {
        compareRegions(options);
    } else if (part == "entropy") {
        compareEntropy(options);
    } else if (part == "reduced") {
        compareReduced(options);
    } else if (part == "baseline") {
        selectKernelVariant("y8");
        request.target = OptimizationTarget::Baseline;
        compareFrames(options,
                      "4:2:2, 10 bits, Baseline with kernel variant y8, against planar 8-bit YCbCr (one thread)", "422",
                      request, &PeerDecode::toPlanes);
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Compares the cost of decoding with libjpeg-turbo's", "compare_peer");
    Options options;
    app.add_option("folder", options.folder, "Folder of the pictures")->required()->check(CLI::ExistingDirectory);
    app.add_option("--rounds", options.rules.numRounds, "Rounds of each comparison")->check(CLI::Range(1, 100000));
    app.add_option("--frames", options.rules.numRepetitions, "Frames back to back in each run")
        ->check(CLI::Range(1, 100000));
    app.add_option("--only", options.parts,
                   "Parts to run: planar, rgb, rgba, entropy, reduced, baseline, forms, regions, threads")
        ->check(CLI::IsMember(options.parts));
    CLI11_PARSE(app, argc, argv);
    try {
        for (std::string const& part : options.parts)
            runPart(options, part);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "compare_peer: %s\n", error.what());
        return 1;
    }
    return 0;
}
