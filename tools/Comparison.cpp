#include "Comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <stdexcept>

#include <fmt/format.h>

#include "CommandError.h"
#include "DamageReport.h"
#include "DecodedFrame.h"
#include "FrameParts.h"
#include "InputFile.h"
#include "Report.h"
#include "SourceConversion.h"

double Side::bitsPerPixel() const {
    return 8.0 * static_cast<double>(frame.size()) / static_cast<double>(header.numPixels());
}

Side pictureSide(std::string const& name, PictureReader& reader) {
    Side side;
    side.name = name;
    side.picture = reader.next();
    if (!side.picture)
        throw failure("{} does not contain a picture", name);
    return side;
}

Side frameSide(std::string const& name, FrameInMemory frame) {
    Side side;
    side.name = name;
    side.frame = std::move(frame.bytes);
    side.note = frame.structure.note;
    side.header = parseFrameHeader(side.frame);
    return side;
}

Side loadSide(std::string const& path, FrameLimits const& limits) {
    InputFile file(path);
    if (isPicture(file))
        return pictureSide(file.name(), *makePictureReader(file, limits.maxPixels));
    FrameInMemory frame;
    frame.bytes = readFrame(file, limits, &frame.structure);
    return frameSide(file.name(), std::move(frame));
}

double Difference::psnr() const {
    if (sumOfSquares == 0)
        return std::numeric_limits<double>::infinity();
    const double peak = (1 << kComparedBits) - 1;
    return 10 * std::log10(peak * peak * static_cast<double>(numSamples) / sumOfSquares);
}

void Difference::add(Difference const& other) {
    sumOfSquares += other.sumOfSquares;
    numSamples += other.numSamples;
    largest = std::max(largest, other.largest);
}

void Comparison::add(Comparison const& other) {
    for (auto const& [name, difference] : other.planes) {
        const auto found = std::find_if(planes.begin(), planes.end(),
                                        [&name = name](auto const& plane) { return plane.first == name; });
        if (found == planes.end())
            planes.emplace_back(name, difference);
        else
            found->second.add(difference);
    }
    all.add(other.all);
}

namespace {

// By the names of the report.
using NamedPlanes = std::vector<std::pair<std::string, std::vector<std::uint16_t>>>;

constexpr std::uint32_t kMostCode = (1 << kComparedBits) - 1;

DecodedFrame decodedSide(Side& side, std::uint32_t pixelForm, OptimizationTarget target) {
    DecodeRequest request;
    request.bitDepth = kComparedBits;
    request.target = target;
    request.pixelForm = pixelForm;
    DecodedFrame decoded;
    withName(side.name, [&] { decoded.decode(side.frame, request); });
    side.failedSlices = decoded.failedSlices();
    warnOfDamage({}, side.name, side.frame, decoded);
    return decoded;
}

std::span<const std::uint16_t> samplesOf(std::span<const std::uint8_t> row) {
    return {reinterpret_cast<const std::uint16_t*>(row.data()), row.size() / sizeof(std::uint16_t)};
}

NamedPlanes componentsOf(Side& side, bool withAlpha, OptimizationTarget target) {
    const DecodedFrame decoded = decodedSide(side, RAVELO_PLANAR, target);
    NamedPlanes planes = {{"y", {}}, {"cb", {}}, {"cr", {}}};
    if (withAlpha)
        planes.push_back({"alpha", {}});
    for (std::size_t plane = 0; plane < planes.size(); ++plane) {
        for (std::uint32_t y = 0; y < decoded.height(); ++y) {
            const std::span<const std::uint16_t> samples = samplesOf(decoded.row(y, plane));
            planes[plane].second.insert(planes[plane].second.end(), samples.begin(), samples.end());
        }
    }
    return planes;
}

void widen(std::vector<std::uint16_t>& plane, std::uint32_t fromBits) {
    for (std::uint16_t& code : plane)
        code = static_cast<std::uint16_t>(code << (kComparedBits - fromBits));
}

NamedPlanes componentsOf(InputPicture const& picture, SourceForm const& form) {
    SourcePicture planes = sourcePictureOf(picture, form);
    for (auto* plane : {&planes.y, &planes.cb, &planes.cr})
        widen(*plane, planes.bitDepth);
    NamedPlanes named = {{"y", std::move(planes.y)}, {"cb", std::move(planes.cb)}, {"cr", std::move(planes.cr)}};
    if (form.alphaBits != 0)
        named.push_back({"alpha", std::move(planes.alpha)});
    return named;
}

NamedPlanes rgbOf(Side& side, bool withAlpha, OptimizationTarget target) {
    const DecodedFrame decoded = decodedSide(side, RAVELO_RGBA, target);
    NamedPlanes planes = {{"r", {}}, {"g", {}}, {"b", {}}};
    if (withAlpha)
        planes.push_back({"alpha", {}});
    for (std::uint32_t y = 0; y < decoded.height(); ++y) {
        const std::span<const std::uint16_t> samples = samplesOf(decoded.row(y));
        for (std::size_t plane = 0; plane < planes.size(); ++plane)
            for (std::size_t i = plane; i < samples.size(); i += 4)
                planes[plane].second.push_back(samples[i]);
    }
    return planes;
}

std::vector<std::uint16_t> widened(std::vector<std::uint16_t> const& plane, std::uint32_t maxValue) {
    std::vector<std::uint16_t> codes(plane.size());
    std::transform(plane.begin(), plane.end(), codes.begin(), [maxValue](std::uint32_t code) {
        return static_cast<std::uint16_t>((code * kMostCode + maxValue / 2) / maxValue);
    });
    return codes;
}

NamedPlanes rgbOf(Side const& side, bool withAlpha) {
    InputPicture const& picture = *side.picture;
    if (picture.model == ColorModel::YCbCr)
        throw failure("{} is a picture of Y'CbCr, which has no R'G'B' to compare", side.name);
    NamedPlanes planes;
    for (const auto& [name, index] : {std::pair("r", 0), std::pair("g", 1), std::pair("b", 2)})
        planes.push_back(
            {name, widened(picture.planes[picture.model == ColorModel::Gray ? 0 : index], picture.maxValue)});
    if (withAlpha)
        planes.push_back({"alpha", widened(picture.alpha, picture.alphaMaxValue)});
    return planes;
}

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

Comparison compareSides(Side& first, Side& second, ComparedForm form, OptimizationTarget target) {
    // A picture is converted to the format of the frame that it is compared with.
    Side const& guide = first.picture ? second : first;
    const ChromaFormat chromaFormat = guide.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    const std::uint32_t matrix_coefficients =
        guide.picture ? (guide.height() > 576 ? 1u : 6u) : guide.header.matrix_coefficients;
    const bool withAlpha = first.hasAlpha() && second.hasAlpha();
    const SourceForm sourceForm = {chromaFormat, withAlpha ? kComparedBits : 0, matrix_coefficients};
    const auto planesOfSide = [&](Side& side) {
        if (form == ComparedForm::Rgb)
            return side.picture ? rgbOf(side, withAlpha) : rgbOf(side, withAlpha, target);
        return side.picture ? componentsOf(*side.picture, sourceForm) : componentsOf(side, withAlpha, target);
    };
    const NamedPlanes a = planesOfSide(first);
    const NamedPlanes b = planesOfSide(second);

    Comparison comparison;
    for (std::size_t i = 0; i < a.size(); ++i) {
        comparison.planes.emplace_back(a[i].first, differenceOf(a[i].second, b[i].second));
        comparison.all.add(comparison.planes.back().second);
    }
    return comparison;
}

void checkSides(Side const& first, Side const& second, ComparedForm form) {
    if (first.width() != second.width() || first.height() != second.height())
        throw failure("{} is {} x {} and {} is {} x {} pixels; only equal sizes can be compared", first.name,
                      first.width(), first.height(), second.name, second.width(), second.height());
    if (form == ComparedForm::Components && !first.picture && !second.picture && first.is444() != second.is444())
        throw failure("{} is {} and {} is {}; only frames of the same chroma format can be compared", first.name,
                      first.is444() ? "4:4:4" : "4:2:2", second.name, second.is444() ? "4:4:4" : "4:2:2");
}

} // namespace

ComparedPair comparePair(Side first, Side second, ComparedForm form, OptimizationTarget target) {
    ComparedPair pair = {std::move(first), std::move(second), {}};
    checkSides(pair.first, pair.second, form);
    for (Side const* side : {&pair.first, &pair.second})
        if (!side->note.empty())
            warn({}, fmt::format("{}: {}", side->name, side->note));
    pair.comparison = compareSides(pair.first, pair.second, form, target);
    return pair;
}
