#include "FrameRate.h"

#include <cmath>
#include <numeric>
#include <optional>

#include "CommandError.h"
#include "ParsedNumber.h"

namespace {

constexpr std::uint32_t kMaxPart = 1000000;
// Digits after the decimal point; more would not fit kMaxPart.
constexpr std::size_t kMaxPlaces = 3;

std::optional<std::uint32_t> partOf(std::string const& text) {
    const std::optional<std::uint32_t> number = parsedNumber<std::uint32_t>(text);
    return number <= kMaxPart ? number : std::nullopt;
}

FrameRate reduced(std::uint32_t numerator, std::uint32_t denominator) {
    const std::uint32_t divisor = std::gcd(numerator, denominator);
    return {numerator / divisor, denominator / divisor};
}

// "23.976" and "23.98" both mean 24000/1001.
std::optional<FrameRate> parseDecimal(std::string const& text, std::size_t point) {
    const std::size_t places = text.size() - point - 1;
    const std::optional<std::uint32_t> whole = partOf(text.substr(0, point));
    const std::optional<std::uint32_t> part = partOf(text.substr(point + 1));
    if (!whole || !part || places == 0 || places > kMaxPlaces)
        return std::nullopt;
    const auto scale = static_cast<std::uint32_t>(std::lround(std::pow(10, places)));
    if (*whole > kMaxPart / scale)
        return std::nullopt;
    const std::uint32_t scaled = *whole * scale + *part;
    const std::uint32_t next = *whole + 1;
    const long rounded = std::lround(next * 1000.0 / 1001 * scale);
    if (places >= 2 && next <= kMaxPart / 1000 && rounded == static_cast<long>(scaled))
        return FrameRate{next * 1000, 1001};
    return reduced(scaled, scale);
}

std::optional<FrameRate> parse(std::string const& text) {
    const std::size_t point = text.find('.');
    if (point != std::string::npos)
        return parseDecimal(text, point);
    const std::size_t slash = text.find('/');
    const std::optional<std::uint32_t> numerator = partOf(text.substr(0, slash));
    const std::optional<std::uint32_t> denominator =
        slash == std::string::npos ? std::optional<std::uint32_t>(1) : partOf(text.substr(slash + 1));
    if (!numerator || !denominator || *denominator == 0)
        return std::nullopt;
    return FrameRate{*numerator, *denominator};
}

} // namespace

FrameRate parseFrameRate(std::string const& text) {
    const std::optional<FrameRate> rate = parse(text);
    if (!rate || rate->numerator == 0)
        throw usageError("--fps: {} is not a rate such as 25, 24000/1001 or 29.97, with numbers from 1 to {}", text,
                         kMaxPart);
    return *rate;
}
