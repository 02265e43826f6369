#include "ColorFields.h"

#include <algorithm>

#include <fmt/format.h>

#include "CommandError.h"
#include "FrameHeader.h"
#include "ParsedNumber.h"
#include "ravelo.h"

namespace {

constexpr ColorName kPrimariesNames[] = {
    {"709", RAVELO_PRIMARIES_BT709},
    {"601-625", RAVELO_PRIMARIES_BT601_625},
    {"601-525", RAVELO_PRIMARIES_BT601_525},
    {"2020", RAVELO_PRIMARIES_BT2020},
    {"dci-p3", RAVELO_PRIMARIES_DCI_P3},
    {"display-p3", RAVELO_PRIMARIES_DISPLAY_P3},
    {"unspecified", RAVELO_PRIMARIES_UNSPECIFIED},
};

constexpr ColorName kTransferNames[] = {
    {"709", RAVELO_TRANSFER_BT709},
    {"601", RAVELO_TRANSFER_BT601},
    {"2020-10", RAVELO_TRANSFER_BT2020_10},
    {"2020-12", RAVELO_TRANSFER_BT2020_12},
    {"srgb", RAVELO_TRANSFER_SRGB},
    {"gamma22", RAVELO_TRANSFER_GAMMA_22},
    {"gamma28", RAVELO_TRANSFER_GAMMA_28},
    {"linear", RAVELO_TRANSFER_LINEAR},
    {"pq", RAVELO_TRANSFER_PQ},
    {"hlg", RAVELO_TRANSFER_HLG},
    {"unspecified", RAVELO_TRANSFER_UNSPECIFIED},
};

constexpr ColorName kMatrixNames[] = {
    {"709", RAVELO_MATRIX_BT709},
    {"601", RAVELO_MATRIX_BT601},
    {"2020", RAVELO_MATRIX_BT2020},
    {"unspecified", RAVELO_MATRIX_UNSPECIFIED},
};

} // namespace

ColorFields colorFieldsOf(FrameHeader const& header) {
    return {header.color_primaries, header.transfer_characteristic, header.matrix_coefficients};
}

std::span<const ColorName> primariesNames() {
    return kPrimariesNames;
}

std::span<const ColorName> transferNames() {
    return kTransferNames;
}

std::span<const ColorName> matrixNames() {
    return kMatrixNames;
}

std::string listOf(std::span<const ColorName> names) {
    std::string list;
    for (ColorName const& name : names)
        list += (list.empty() ? "" : ", ") + std::string(name.name);
    return list;
}

std::uint32_t colorCodeOf(std::string_view option, std::string const& text, std::span<const ColorName> names) {
    if (text.empty())
        return 0;
    const auto named =
        std::find_if(names.begin(), names.end(), [&](ColorName const& each) { return each.name == text; });
    if (named != names.end())
        return named->code;
    const std::uint32_t code = parsedNumber<std::uint32_t>(text).value_or(0);
    if (code < 1 || code > 255)
        throw usageError("{} takes {} or a code point from 1 to 255, not {}", option, listOf(names), text);
    return code;
}

std::optional<Chromaticities> chromaticitiesOf(std::uint32_t color_primaries) {
    constexpr ColorPoint kD65 = {0.3127f, 0.3290f};
    switch (color_primaries) {
    case RAVELO_PRIMARIES_BT709:
        return {{{0.640f, 0.330f}, {0.300f, 0.600f}, {0.150f, 0.060f}, kD65}};
    case RAVELO_PRIMARIES_BT601_625:
        return {{{0.640f, 0.330f}, {0.290f, 0.600f}, {0.150f, 0.060f}, kD65}};
    case RAVELO_PRIMARIES_BT601_525:
        return {{{0.630f, 0.340f}, {0.310f, 0.595f}, {0.155f, 0.070f}, kD65}};
    case RAVELO_PRIMARIES_BT2020:
        return {{{0.708f, 0.292f}, {0.170f, 0.797f}, {0.131f, 0.046f}, kD65}};
    case RAVELO_PRIMARIES_DCI_P3:
        return {{{0.680f, 0.320f}, {0.265f, 0.690f}, {0.150f, 0.060f}, {0.314f, 0.351f}}};
    case RAVELO_PRIMARIES_DISPLAY_P3:
        return {{{0.680f, 0.320f}, {0.265f, 0.690f}, {0.150f, 0.060f}, kD65}};
    default:
        return std::nullopt;
    }
}

std::optional<double> displayGammaOf(std::uint32_t transfer_characteristic) {
    switch (transfer_characteristic) {
    case RAVELO_TRANSFER_BT709:
    case RAVELO_TRANSFER_BT601:
    case RAVELO_TRANSFER_BT2020_10:
    case RAVELO_TRANSFER_BT2020_12:
        return 2.4;
    case RAVELO_TRANSFER_GAMMA_22:
    case RAVELO_TRANSFER_SRGB:
        return 2.2;
    case RAVELO_TRANSFER_GAMMA_28:
        return 2.8;
    case RAVELO_TRANSFER_LINEAR:
        return 1.0;
    default:
        return std::nullopt;
    }
}
