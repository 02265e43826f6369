// Prints what decoding costs over sizes and rates, and how far the cost is a sum of a part by pixels and one by bits.
//
//   cost_table [--rounds N] FOLDER      FOLDER with the frames of "prepare_pictures table"

#include <tbb/global_control.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "CostMeter.h"
#include "Files.h"
#include "FrameDecode.h"
#include "MarkdownTable.h"
#include "Statistics.h"

namespace {

struct Measurement {
    double numPixels = 0;
    double numBits = 0;
    double nanoseconds = 0;
    double clocks = 0;
};

// Cost = perPixel * pixels + perBit * bits, with the least sum of squared relative errors.
struct LinearFit {
    double perPixel = 0;
    double perBit = 0;
    double largestError = 0; // relative
};

Measurement measured(std::filesystem::path const& file, unsigned int numRounds) {
    FrameDecode decode(readFile(file), DecodeRequest());
    CostMeter meter;
    decode.run();
    std::vector<double> nanoseconds;
    std::vector<double> clocks;
    // Small frames are repeated within a round, so that a round is not too short for the clock.
    const auto numDecodes = static_cast<unsigned int>(std::max(1.0, 2e6 / decode.numPixels()));
    for (unsigned int round = 0; round < numRounds; ++round) {
        meter.start();
        for (unsigned int i = 0; i < numDecodes; ++i)
            decode.run();
        const Cost cost = meter.stop();
        nanoseconds.push_back(cost.nanoseconds / numDecodes);
        clocks.push_back(cost.clocks / numDecodes);
    }
    return {decode.numPixels(), decode.bitsPerPixel() * decode.numPixels(), median(nanoseconds), median(clocks)};
}

LinearFit fitOf(std::vector<Measurement> const& measurements, double Measurement::*cost) {
    // Normal equations of the two unknowns, each measurement divided by its cost.
    double pp = 0;
    double pb = 0;
    double bb = 0;
    double p1 = 0;
    double b1 = 0;
    for (Measurement const& m : measurements) {
        const double pixels = m.numPixels / m.*cost;
        const double bits = m.numBits / m.*cost;
        pp += pixels * pixels;
        pb += pixels * bits;
        bb += bits * bits;
        p1 += pixels;
        b1 += bits;
    }
    const double determinant = pp * bb - pb * pb;
    LinearFit fit{(p1 * bb - b1 * pb) / determinant, (b1 * pp - p1 * pb) / determinant, 0};
    for (Measurement const& m : measurements) {
        const double expected = fit.perPixel * m.numPixels + fit.perBit * m.numBits;
        fit.largestError = std::max(fit.largestError, std::fabs(expected / m.*cost - 1));
    }
    return fit;
}

void printFit(const char* name, std::vector<Measurement> const& measurements) {
    const LinearFit fit = fitOf(measurements, &Measurement::clocks);
    std::printf("- %s: %.2f clocks for each pixel + %.2f for each bit; the largest error is %.0f %%\n", name,
                fit.perPixel, fit.perBit, 100 * fit.largestError);
}

// Above this rate codes are so long that few fit the table of pairs.
constexpr double kOrdinaryBitsPerPixel = 7.5;

// Frames are named table-WIDTHxHEIGHT-RATE.rvl.
std::map<double, std::map<double, std::filesystem::path>> framesBySizeAndRate(std::filesystem::path const& folder) {
    std::map<double, std::map<double, std::filesystem::path>> frames;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        unsigned int width = 0;
        unsigned int height = 0;
        double rate = 0;
        const std::string name = entry.path().filename().string();
        if (std::sscanf(name.c_str(), "table-%ux%u-%lf.rvl", &width, &height, &rate) == 3)
            frames[double{1} * width * height][rate] = entry.path();
    }
    return frames;
}

void printTable(std::filesystem::path const& folder, unsigned int numRounds) {
    std::vector<Measurement> all;
    std::vector<std::string> headings{"size"};
    std::vector<std::vector<std::string>> rows;
    for (auto const& [numPixels, byRate] : framesBySizeAndRate(folder)) {
        const std::string name = byRate.begin()->second.filename().string();
        std::vector<std::string> row{name.substr(6, name.rfind('-') - 6)};
        for (auto const& [rate, file] : byRate) {
            if (rows.empty())
                headings.push_back(fixed(rate, 1));
            const Measurement m = measured(file, numRounds);
            all.push_back(m);
            row.push_back(fixed(m.clocks / m.numPixels, 1) + " (" + fixed(m.nanoseconds * 1e-6, 2) + ")");
        }
        rows.push_back(row);
    }
    if (all.size() < 3)
        throw std::runtime_error("no frames for the table in " + folder.string());
    MarkdownTable table(headings);
    for (auto const& row : rows)
        table.addRow(row);
    std::vector<Measurement> ordinary;
    std::copy_if(all.begin(), all.end(), std::back_inserter(ordinary), [](Measurement const& measurement) {
        return measurement.numBits < kOrdinaryBitsPerPixel * measurement.numPixels;
    });
    std::printf("\n### Cost by size and bits per pixel: clocks per pixel (milliseconds), 4:2:2, 10 bits, AVX2, one "
                "thread\n\n%s\nLinear fits:\n\n",
                table.text().c_str());
    printFit("all", all);
    printFit("up to 7 bits per pixel", ordinary);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Prints the cost of decoding by size and rate", "cost_table");
    std::filesystem::path folder;
    unsigned int numRounds = 15;
    app.add_option("folder", folder, "Folder of the frames")->required()->check(CLI::ExistingDirectory);
    app.add_option("--rounds", numRounds, "Measurements of each frame")->check(CLI::Range(1, 100000));
    CLI11_PARSE(app, argc, argv);
    try {
        const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
        printTable(folder, numRounds);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "cost_table: %s\n", error.what());
        return 1;
    }
    return 0;
}
