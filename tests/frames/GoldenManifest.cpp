#include "GoldenManifest.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

// Everything is inlined from the header, so that no library is needed at run time.
#define XXH_INLINE_ALL
#include <xxhash.h>

#include "BufferRequirements.h"
#include "DecodeCheck.h"
#include "Frame.h"
#include "RaveloDecoderInterface.h"

namespace {

constexpr std::uint8_t kFill = 0xA5;

std::vector<std::uint8_t> fileBytes(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The hash of the whole buffer, so that bytes which no decode may touch count too.
std::uint64_t outputHash(std::vector<std::uint8_t> const& frame, DecodeRequest const& request) {
    Bitstream bits;
    bits.data = frame.data();
    bits.size = frame.size();
    const BufferRequirements needs = bufferRequirements(bits, request.bitDepth, request.downSampleFactor);
    std::vector<std::uint8_t> output(needs.bytes, kFill);
    RaveloDecoderInterface::DecompressFrameFromBits(
        frame.data(), frame.size(), request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding),
        request.bitDepth, output.data(), static_cast<std::int64_t>(needs.safeStride), request.target);
    return XXH3_64bits(output.data(), output.size());
}

} // namespace

std::vector<DecodeRequest> goldenForms(std::vector<std::uint8_t> const& frame) {
    const bool hasRgb = slowParseHeader(frame).is444();
    std::vector<DecodeRequest> forms;
    for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
        for (std::uint32_t coding = 0; coding < (hasRgb ? 3u : 1u); ++coding) {
            for (const std::uint32_t depth : kBitDepths) {
                if (reduction != 0 && depth != 8)
                    continue;
                for (const OptimizationTarget target : runnableTargets())
                    forms.push_back({reduction, coding, depth, 0, target});
            }
        }
    }
    return forms;
}

std::vector<std::string> goldenManifest(std::string const& folder) {
    const SelectedVariant plain(kPlainVariant);
    std::vector<std::filesystem::path> paths;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".rvl")
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> lines;
    for (std::filesystem::path const& path : paths) {
        const std::vector<std::uint8_t> frame = fileBytes(path);
        for (DecodeRequest const& form : goldenForms(frame)) {
            char hash[17];
            std::snprintf(hash, sizeof(hash), "%016llx", static_cast<unsigned long long>(outputHash(frame, form)));
            lines.push_back(path.stem().string() + " " + std::to_string(form.downSampleFactor) + " " +
                            std::to_string(form.colorCoding) + " " + std::to_string(form.bitDepth) + " " +
                            nameOf(form.target) + " " + hash);
        }
    }
    return lines;
}
