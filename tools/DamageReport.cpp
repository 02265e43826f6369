#include "DamageReport.h"

#include <vector>

#include <fmt/format.h>

#include "FrameParts.h"

std::uint64_t countSlices(std::span<const std::uint8_t> frame) {
    std::uint64_t slices = 0;
    for (CodedPicture const& picture : parsePictureHeaders(frame, parseFrameHeader(frame)))
        slices += picture.numSlices();
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
    warn(verbosity, fmt::format("{}: {}", name, damageSummary(decoded.failedSlices(), countSlices(frame))));
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
