#include "Comparison.h"

#include <cstdio>

#include "Files.h"

namespace {

constexpr const char* kPhotographs[] = {"low", "middle", "high"};
constexpr const char* kSizes[] = {"1080p", "2160p"};
constexpr const char* kRates[] = {"3.5", "7.0"};

} // namespace

std::vector<std::string> pictureNames(ComparisonOptions const& options, std::string const& chromaFormat,
                                      std::string const& onlyRate) {
    std::vector<std::string> names;
    for (const std::string rate : kRates) {
        if (!onlyRate.empty() && rate != onlyRate)
            continue;
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

std::vector<std::uint8_t> frameNamed(ComparisonOptions const& options, std::string const& name) {
    return readFile(options.folder / (name + ".rvl"));
}

void print(std::string const& title, MarkdownTable const& table) {
    std::printf("\n### %s\n\n%s", title.c_str(), table.text().c_str());
    std::fflush(stdout);
}

std::string decoderName(OptimizationTarget target) {
    const std::string kernels = "kernel variant " + selectedKernelVariant();
    return target == OptimizationTarget::Baseline ? "Baseline with " + kernels : kernels;
}
