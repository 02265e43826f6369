#include "Comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
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

// The planes of a decoded frame: Cb Y Cr Y for two pixels, or A Y Cb Cr for one.
SourcePicture planesOf(Side& side, OptimizationTarget target) {
    DecodedFrame decoded;
    withName(side.name, [&] { decoded.decode(side.frame, {0, ColorCoding_YCbCr, kComparedBits, target}); });
    side.failedSlices = decoded.failedSlices();
    warnOfDamage({}, side.name, side.frame, decoded);
    SourcePicture planes;
    planes.width = decoded.width();
    planes.height = decoded.height();
    planes.bitDepth = kComparedBits;
    planes.chromaFormat = side.header.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    planes.alphaBits = side.hasAlpha() ? kComparedBits : 0;
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
            planes.cr.push_back(planes.width > 1 ? planes.cr.back() : std::uint16_t{1 << (kComparedBits - 1)});
    }
    return planes;
}

void widen(std::vector<std::uint16_t>& plane, std::uint32_t fromBits) {
    for (std::uint16_t& code : plane)
        code = static_cast<std::uint16_t>(code << (kComparedBits - fromBits));
}

SourcePicture planesOf(Side const& side, ChromaFormat chromaFormat, std::uint32_t matrix_coefficients, bool withAlpha) {
    SourcePicture planes =
        sourcePictureOf(*side.picture, {chromaFormat, withAlpha ? kComparedBits : 0, matrix_coefficients});
    for (auto* plane : {&planes.y, &planes.cb, &planes.cr})
        widen(*plane, planes.bitDepth);
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

} // namespace

ComparedPair comparePair(Side first, Side second, OptimizationTarget target) {
    ComparedPair pair = {std::move(first), std::move(second), {}};
    checkSides(pair.first, pair.second);
    for (Side const* side : {&pair.first, &pair.second})
        if (!side->note.empty())
            warn({}, fmt::format("{}: {}", side->name, side->note));
    pair.comparison = compareSides(pair.first, pair.second, target);
    return pair;
}
