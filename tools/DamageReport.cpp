#include "DamageReport.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "FrameParts.h"

namespace {

// The rows of macroblocks of a picture that have a line of the region.
std::uint64_t rowsIn(PixelRectangle const& region, DecodedFrame const& decoded, CodedPicture const& picture,
                     TemporalOrder order) {
    FrameHeader const& header = decoded.header();
    const std::uint32_t reduction = decoded.request().downSampleFactor, mbSize = 16u >> reduction;
    std::uint64_t lines = picture.vertical_size >> reduction;
    // Coded pixels of 4:2:2 at eighth size have the first line of every row in any case.
    if (reduction == 3 && decoded.request().pixelForm == RAVELO_CODED && !header.is444() && picture.height_in_mb != 0)
        lines = std::max<std::uint64_t>(lines, 2 * std::uint64_t{picture.height_in_mb} - 1);
    const auto linesBefore = [&](std::uint64_t line) {
        const std::uint64_t first = header.firstLineOfPicture(order), step = header.lineStepOfPicture();
        return std::min(lines, line > first ? (line - first + step - 1) / step : 0);
    };
    const std::uint64_t begin = linesBefore(region.y), end = linesBefore(std::uint64_t{region.y} + region.height);
    return begin < end ? (end - 1) / mbSize - begin / mbSize + 1 : 0;
}

// The slices of a row that have a pixel of the region. RGB of 4:2:2 needs the first chroma sample of the next slice.
std::uint64_t slicesOfRowIn(PixelRectangle const& region, DecodedFrame const& decoded, CodedPicture const& picture) {
    const std::uint32_t reduction = decoded.request().downSampleFactor;
    const std::uint64_t endOfRegion = std::uint64_t{region.x} + region.width;
    const bool needsNext = !decoded.header().is444() && decoded.request().pixelForm != RAVELO_CODED &&
                           endOfRegion < decoded.header().horizontal_size >> reduction;
    std::uint64_t count = 0, begin = 0;
    for (const std::uint32_t sizeInMb : picture.slice_size_in_mb) {
        const std::uint64_t end = begin + sizeInMb * (16u >> reduction);
        if (end > region.x && (begin < endOfRegion || (needsNext && begin == endOfRegion)))
            ++count;
        begin = end;
    }
    return count;
}

} // namespace

std::uint64_t countSlices(std::span<const std::uint8_t> frame) {
    std::uint64_t slices = 0;
    for (CodedPicture const& picture : parsePictureHeaders(frame, parseFrameHeader(frame)))
        slices += picture.numSlices();
    return slices;
}

std::uint64_t countDecodedSlices(std::span<const std::uint8_t> frame, DecodedFrame const& decoded) {
    PixelRectangle const& region = decoded.decodedRegion();
    FrameHeader const& header = decoded.header();
    const std::uint32_t reduction = decoded.request().downSampleFactor;
    const bool isWhole =
        region.width == header.horizontal_size >> reduction && region.height == header.vertical_size >> reduction;
    if (region.width == 0 || isWhole)
        return countSlices(frame);
    std::uint64_t slices = 0;
    TemporalOrder order = TemporalOrder::First;
    for (CodedPicture const& picture : parsePictureHeaders(frame, header)) {
        slices += rowsIn(region, decoded, picture, order) * slicesOfRowIn(region, decoded, picture);
        order = TemporalOrder::Second;
    }
    return slices;
}

const char* componentName(ravelo_damage const& damage) {
    constexpr const char* kComponentNames[] = {"y", "cb", "cr"};
    return kComponentNames[damage.component];
}

std::string damageSummary(std::uint64_t failed, std::uint64_t slices) {
    return fmt::format("{} of {} slice{} failed", failed, slices, slices == 1 ? "" : "s");
}

std::string damageText(ravelo_damage const& damage) {
    return fmt::format("picture {}, row {}, slice {}, from byte {}: {} failed; {} x {} pixels at {}, {}{}",
                       damage.picture + 1, damage.row, damage.column, damage.byte_offset, componentName(damage),
                       damage.width, damage.height, damage.x, damage.y,
                       damage.line_step == 2 ? ", on every second line" : "");
}

void warnOfDamage(Verbosity const& verbosity, std::string const& name, std::span<const std::uint8_t> frame,
                  DecodedFrame const& decoded) {
    if (decoded.failedSlices() == 0)
        return;
    warn(verbosity,
         fmt::format("{}: {}", name, damageSummary(decoded.failedSlices(), countDecodedSlices(frame, decoded))));
    for (ravelo_damage const& damage : decoded.damage())
        if (verbosity.verbose)
            warn(verbosity, fmt::format("{}: {}", name, damageText(damage)));
}

Json jsonOfDamage(std::vector<ravelo_damage> const& damage) {
    Json list = Json::array();
    for (ravelo_damage const& slice : damage)
        list.push_back({{"picture", slice.picture},
                        {"row", slice.row},
                        {"slice", slice.column},
                        {"component", componentName(slice)},
                        {"offset", slice.byte_offset},
                        {"x", slice.x},
                        {"y", slice.y},
                        {"width", slice.width},
                        {"height", slice.height},
                        {"line_step", slice.line_step}});
    return list;
}
