#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct FrameHeader;

// What a frame's header says of its colours: code points of ITU-T H.273.
struct ColorFields {
    std::uint32_t color_primaries = 0; // 0: not known
    std::uint32_t transfer_characteristic = 0;
    std::uint32_t matrix_coefficients = 0;
};

ColorFields colorFieldsOf(FrameHeader const& header);

// A code point as options name it.
struct ColorName {
    std::string_view name;
    std::uint32_t code;
};

std::span<const ColorName> primariesNames();
std::span<const ColorName> transferNames();
std::span<const ColorName> matrixNames();

// The names with commas between them.
std::string listOf(std::span<const ColorName> names);

// The code point that a name or a number from 1 to 255 means; 0 for an empty text. Throws CommandError with
// ExitCode::Usage, in which `option` is the option.
std::uint32_t colorCodeOf(std::string_view option, std::string const& text, std::span<const ColorName> names);

// The x and y of CIE 1931.
using ColorPoint = std::array<float, 2>;

struct Chromaticities {
    ColorPoint red;
    ColorPoint green;
    ColorPoint blue;
    ColorPoint white;
};

// Absent for primaries that have no name here, or none at all.
std::optional<Chromaticities> chromaticitiesOf(std::uint32_t color_primaries);

// The exponent by which displays turn codes into light; absent where that is not a power, or not known. Video
// (BT.709, BT.601, BT.2020) is shown with 2.4, by BT.1886, whatever curve the camera has.
std::optional<double> displayGammaOf(std::uint32_t transfer_characteristic);
