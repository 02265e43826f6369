#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "OutputFormat.h"
#include "RgbImage.h"

namespace {

// The header, and then the samples: one byte, or two with the high byte first if the maximum value needs them.
std::vector<std::uint8_t> withSamples(std::string const& header, RgbImage const& image, std::uint32_t channels) {
    std::vector<std::uint8_t> bytes(header.begin(), header.end());
    bytes.reserve(header.size() + image.samples.size() * 2);
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        if (i % image.channels >= channels)
            continue;
        if (image.maxValue > 255)
            bytes.push_back(static_cast<std::uint8_t>(image.samples[i] >> 8));
        bytes.push_back(static_cast<std::uint8_t>(image.samples[i]));
    }
    return bytes;
}

} // namespace

std::vector<std::uint8_t> ppmBytes(DecodedFrame const& frame, bool videoRange) {
    const RgbImage image = rgbImageOf(frame, videoRange);
    return withSamples(fmt::format("P6\n{} {}\n{}\n", image.width, image.height, image.maxValue), image, 3);
}

std::vector<std::uint8_t> pamBytes(DecodedFrame const& frame, bool videoRange) {
    const RgbImage image = rgbImageOf(frame, videoRange);
    const std::string header =
        fmt::format("P7\nWIDTH {}\nHEIGHT {}\nDEPTH {}\nMAXVAL {}\nTUPLTYPE {}\nENDHDR\n", image.width, image.height,
                    image.channels, image.maxValue, image.channels == 4 ? "RGB_ALPHA" : "RGB");
    return withSamples(header, image, image.channels);
}
