#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "OutputFormat.h"
#include "RgbImage.h"

namespace {

// Version 1.0 of the format: the header is padded so that the samples start at a multiple of 64 bytes.
std::vector<std::uint8_t> npyHeader(std::uint32_t height, std::uint32_t width, std::uint32_t channels, bool twoBytes) {
    constexpr std::size_t kPrefixBytes = 10;
    const std::string type = !twoBytes ? "|u1" : std::endian::native == std::endian::little ? "<u2" : ">u2";
    std::string text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}, {}, {}), }}", type, height,
                                   width, channels);
    text.append(63 - (kPrefixBytes + text.size()) % 64, ' ');
    text.push_back('\n');
    std::vector<std::uint8_t> bytes = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
    bytes.push_back(static_cast<std::uint8_t>(text.size()));
    bytes.push_back(static_cast<std::uint8_t>(text.size() >> 8));
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

} // namespace

std::vector<std::uint8_t> npyBytes(DecodedFrame const& frame, bool videoRange) {
    const RgbImage image = rgbImageOf(frame, videoRange);
    const bool twoBytes = image.maxValue > 255;
    std::vector<std::uint8_t> bytes = npyHeader(image.height, image.width, image.channels, twoBytes);
    if (!twoBytes) {
        bytes.insert(bytes.end(), image.samples.begin(), image.samples.end());
        return bytes;
    }
    const auto* first = reinterpret_cast<const std::uint8_t*>(image.samples.data());
    bytes.insert(bytes.end(), first, first + image.samples.size() * sizeof(std::uint16_t));
    return bytes;
}
