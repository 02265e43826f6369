#include "OutputFormat.h"

#include <cstdint>
#include <span>
#include <vector>

std::vector<std::uint8_t> rawBytes(DecodedFrame const& frame) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(std::size_t{frame.rowBytes()} * frame.height());
    for (std::uint32_t y = 0; y < frame.height(); ++y) {
        const std::span<const std::uint8_t> row = frame.row(y);
        bytes.insert(bytes.end(), row.begin(), row.end());
    }
    return bytes;
}
