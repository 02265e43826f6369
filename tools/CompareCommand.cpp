#include "CompareCommand.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "DamageReport.h"
#include "FrameFile.h"
#include "FrameParts.h"
#include "InputFile.h"
#include "Json.h"
#include "PictureReader.h"
#include "Printable.h"
#include "Report.h"
#include "SharedOptions.h"
#include "SourceConversion.h"

namespace {

struct CompareOptions {
    std::string first;
    std::string second;
    std::string target = "auto";
    double minPsnr = -1;
    double maxDifference = -1;
    FrameLimits limits;
    bool json = false;
    bool equal = false;
};

// Both sides are compared as Y'CbCr in studio range with 16 bits.
constexpr std::uint32_t kBits = 16;

// One side of the comparison, as read from its file.
struct Side {
    std::string name;
    std::vector<std::uint8_t> frame;     // empty for a picture
    std::optional<InputPicture> picture; // absent for a frame
    FrameHeader header;                  // of a frame
    std::size_t failedSlices = 0;        // of a frame that is decoded

    std::uint32_t width() const { return picture ? picture->width : header.horizontal_size; }
    std::uint32_t height() const { return picture ? picture->height : header.vertical_size; }
    bool hasAlpha() const { return picture ? picture->hasAlpha() : header.hasAlphaOutput(); }
    bool is444() const {
        return picture ? picture->model != ColorModel::YCbCr || picture->chroma == ChromaLayout::C444 : header.is444();
    }
};

Side loadSide(std::string const& path, CompareOptions const& options) {
    Side side;
    InputFile file(path);
    side.name = file.name();
    if (isPicture(file)) {
        side.picture = makePictureReader(file, options.limits.maxPixels)->next();
        if (!side.picture)
            throw failure("{} does not contain a picture", side.name);
        return side;
    }
    side.frame = readFrame(file, options.limits);
    side.header = parseFrameHeader(side.frame);
    return side;
}

// The planes of a decoded frame: Cb Y Cr Y for two pixels, or A Y Cb Cr for one.
SourcePicture planesOf(Side& side, OptimizationTarget target) {
    DecodedFrame decoded;
    withName(side.name, [&] { decoded.decode(side.frame, {0, ColorCoding_YCbCr, kBits, target}); });
    side.failedSlices = decoded.failedSlices();
    warnOfDamage({}, side.name, side.frame, decoded);
    SourcePicture planes;
    planes.width = decoded.width();
    planes.height = decoded.height();
    planes.bitDepth = kBits;
    planes.chromaFormat = side.header.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    planes.alphaBits = side.hasAlpha() ? kBits : 0;
    // The plane of each sample in a group of four.
    const bool is444 = side.header.is444();
    std::array<std::vector<std::uint16_t>*, 4> places = {&planes.cb, &planes.y, &planes.cr, &planes.y};
    if (is444)
        places = {&planes.alpha, &planes.y, &planes.cb, &planes.cr};
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < planes.height; ++y) {
        decoded.widenRow(y, samples);
        for (std::size_t i = 0; i < samples.size(); ++i)
            places[i % 4]->push_back(samples[i]);
        // A line of odd width has no Cr for its last pixel.
        if (!is444 && planes.width % 2 == 1)
            planes.cr.push_back(planes.width > 1 ? planes.cr.back() : std::uint16_t{1 << (kBits - 1)});
    }
    return planes;
}

void widen(std::vector<std::uint16_t>& plane, std::uint32_t fromBits) {
    for (std::uint16_t& code : plane)
        code = static_cast<std::uint16_t>(code << (kBits - fromBits));
}

SourcePicture planesOf(Side const& side, ChromaFormat chromaFormat, std::uint32_t matrix_coefficients, bool withAlpha) {
    SourcePicture planes = sourcePictureOf(*side.picture, {chromaFormat, withAlpha ? kBits : 0, matrix_coefficients});
    for (auto* plane : {&planes.y, &planes.cb, &planes.cr})
        widen(*plane, planes.bitDepth);
    return planes;
}

// The difference of two planes. Differences of several planes can be added.
struct Difference {
    double sumOfSquares = 0;
    std::uint64_t numSamples = 0;
    std::uint32_t largest = 0; // codes of 16 bits

    // Infinite for equal planes.
    double psnr() const {
        if (sumOfSquares == 0)
            return std::numeric_limits<double>::infinity();
        const double peak = (1 << kBits) - 1;
        return 10 * std::log10(peak * peak * static_cast<double>(numSamples) / sumOfSquares);
    }

    double largestIn8Bits() const { return largest / 256.0; }

    void add(Difference const& other) {
        sumOfSquares += other.sumOfSquares;
        numSamples += other.numSamples;
        largest = std::max(largest, other.largest);
    }
};

Difference differenceOf(std::vector<std::uint16_t> const& first, std::vector<std::uint16_t> const& second) {
    // Empty planes would count as equal.
    if (first.empty() || first.size() != second.size())
        throw std::logic_error("the planes to compare have different sizes");
    Difference difference;
    difference.numSamples = first.size();
    for (std::size_t i = 0; i < first.size(); ++i) {
        const std::uint32_t apart = first[i] > second[i] ? first[i] - second[i] : second[i] - first[i];
        difference.sumOfSquares += static_cast<double>(apart) * apart;
        difference.largest = std::max(difference.largest, apart);
    }
    return difference;
}

struct Comparison {
    std::vector<std::pair<std::string, Difference>> planes;
    Difference all;
};

Comparison compareSides(Side& first, Side& second, OptimizationTarget target) {
    // A picture is converted to the format of the frame that it is compared with.
    Side const& guide = first.picture ? second : first;
    const ChromaFormat chromaFormat = guide.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    const std::uint32_t matrix_coefficients =
        guide.picture ? (guide.height() > 576 ? 1u : 6u) : guide.header.matrix_coefficients;
    const bool withAlpha = first.hasAlpha() && second.hasAlpha();
    const auto planesOfSide = [&](Side& side) {
        return side.picture ? planesOf(side, chromaFormat, matrix_coefficients, withAlpha) : planesOf(side, target);
    };
    const SourcePicture a = planesOfSide(first);
    const SourcePicture b = planesOfSide(second);

    Comparison comparison;
    comparison.planes = {
        {"y", differenceOf(a.y, b.y)}, {"cb", differenceOf(a.cb, b.cb)}, {"cr", differenceOf(a.cr, b.cr)}};
    if (withAlpha)
        comparison.planes.emplace_back("alpha", differenceOf(a.alpha, b.alpha));
    for (auto const& [name, difference] : comparison.planes)
        comparison.all.add(difference);
    return comparison;
}

void checkSides(Side const& first, Side const& second) {
    if (first.width() != second.width() || first.height() != second.height())
        throw failure("{} is {} x {} and {} is {} x {} pixels; only equal sizes can be compared", first.name,
                      first.width(), first.height(), second.name, second.width(), second.height());
    if (!first.picture && !second.picture && first.is444() != second.is444())
        throw failure("{} is {} and {} is {}; only frames of the same chroma format can be compared", first.name,
                      first.is444() ? "4:4:4" : "4:2:2", second.name, second.is444() ? "4:4:4" : "4:2:2");
}

double bitsPerPixel(Side const& side) {
    return 8.0 * static_cast<double>(side.frame.size()) / static_cast<double>(side.header.numPixels());
}

std::string psnrText(double psnr) {
    return std::isinf(psnr) ? "equal" : fmt::format("{:.2f} dB", psnr);
}

std::string describe(Side const& side) {
    if (side.picture)
        return fmt::format("{}: picture, {} x {}", printable(side.name), side.width(), side.height());
    return fmt::format("{}: frame, {} x {}, {}, {} bytes, {:.3f} bits per pixel", printable(side.name), side.width(),
                       side.height(), side.is444() ? "4:4:4" : "4:2:2", side.frame.size(), bitsPerPixel(side));
}

std::string textOf(Side const& first, Side const& second, Comparison const& comparison) {
    std::string text = describe(first) + "\n" + describe(second) + "\n";
    text += "           PSNR   largest difference, in codes of 8 bits\n";
    const auto line = [&text](std::string const& name, Difference const& difference) {
        text += fmt::format("{:5} {:>9}   {:.3f}\n", name, psnrText(difference.psnr()), difference.largestIn8Bits());
    };
    for (auto const& [name, difference] : comparison.planes)
        line(name, difference);
    line("all", comparison.all);
    return text;
}

Json jsonOf(Side const& side) {
    Json json = {{"file", side.name},
                 {"kind", side.picture ? "picture" : "frame"},
                 {"width", side.width()},
                 {"height", side.height()}};
    if (!side.picture) {
        json["bytes"] = side.frame.size();
        json["bits_per_pixel"] = bitsPerPixel(side);
        json["failed_slices"] = side.failedSlices;
    }
    return json;
}

// JSON has no infinity: the PSNR of equal planes is null.
Json jsonOf(Difference const& difference) {
    const double psnr = difference.psnr();
    return {{"psnr", std::isinf(psnr) ? Json(nullptr) : Json(psnr)},
            {"largest_difference", difference.largestIn8Bits()},
            {"equal", difference.largest == 0}};
}

Json jsonOf(Side const& first, Side const& second, Comparison const& comparison) {
    Json planes = Json::object();
    for (auto const& [name, difference] : comparison.planes)
        planes[name] = jsonOf(difference);
    return {{"first", jsonOf(first)}, {"second", jsonOf(second)}, {"planes", planes}, {"all", jsonOf(comparison.all)}};
}

bool withinLimits(Difference const& all, CompareOptions const& options) {
    if (options.equal && all.largest != 0)
        return false;
    if (options.minPsnr >= 0 && all.psnr() < options.minPsnr)
        return false;
    return options.maxDifference < 0 || all.largestIn8Bits() <= options.maxDifference;
}

ExitCode runCompare(CompareOptions const& options) {
    if (options.first == "-" && options.second == "-")
        throw usageError("standard input can be only one of the two inputs");
    const OptimizationTarget target = targetNamed(options.target);
    Side first = loadSide(options.first, options);
    Side second = loadSide(options.second, options);
    checkSides(first, second);
    const Comparison comparison = compareSides(first, second, target);
    if (options.json)
        printJson(jsonOf(first, second, comparison));
    else
        printReport(textOf(first, second, comparison));
    if (!withinLimits(comparison.all, options))
        return ExitCode::NotEqual;
    return first.failedSlices + second.failedSlices == 0 ? ExitCode::Done : ExitCode::Damaged;
}

} // namespace

void addCompareCommand(CommandLine& commandLine) {
    const auto options = std::make_shared<CompareOptions>();
    Subcommand command =
        addCommand(commandLine, "compare", "Measure the difference of two frames, or of a frame and a picture", options,
                   runCompare);
    command.option("first", options->first, "frame or picture; - for standard input").value("FIRST").required();
    command.option("second", options->second, "frame or picture; - for standard input").value("SECOND").required();
    command.flag("--equal", options->equal, "exit with 5 unless all samples are equal");
    command.option("--min-psnr", options->minPsnr, "exit with 5 if the PSNR of all samples is lower")
        .value("DB")
        .within(0, 200);
    command.option("--max-difference", options->maxDifference, "exit with 5 if a sample differs by more codes")
        .value("CODES")
        .within(0, 256);
    addTargetOption(command, options->target);
    addJsonOption(command, options->json);
    addFrameLimitsOptions(command, options->limits);
}
