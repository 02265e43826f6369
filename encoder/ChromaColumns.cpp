#include "ChromaColumns.h"

#include <algorithm>
#include <cstddef>

std::vector<std::uint16_t> halfColumns(std::vector<std::uint16_t> const& plane, std::uint32_t width,
                                       std::uint32_t height, std::function<void()> const& beforeLine) {
    const std::size_t halfWidth = (std::size_t{width} + 1) / 2;
    std::vector<std::uint16_t> result(halfWidth * height);
    for (std::size_t y = 0; y < height; ++y) {
        beforeLine();
        const std::uint16_t* row = plane.data() + y * width;
        for (std::size_t k = 0; k < halfWidth; ++k) {
            const std::size_t x = 2 * k;
            const std::uint32_t left = row[x == 0 ? 0 : x - 1];
            const std::uint32_t right = row[std::min<std::size_t>(x + 1, width - 1)];
            result[y * halfWidth + k] = static_cast<std::uint16_t>((left + 2u * row[x] + right + 2) / 4);
        }
    }
    return result;
}

std::vector<std::uint16_t> allColumns(std::vector<std::uint16_t> const& plane, std::uint32_t width,
                                      std::uint32_t height, std::function<void()> const& beforeLine) {
    const std::size_t halfWidth = (std::size_t{width} + 1) / 2;
    std::vector<std::uint16_t> result(std::size_t{width} * height);
    for (std::size_t y = 0; y < height; ++y) {
        beforeLine();
        const std::uint16_t* row = plane.data() + y * halfWidth;
        for (std::size_t x = 0; x < width; ++x) {
            const std::uint32_t here = row[x / 2];
            const std::uint32_t next = row[std::min((x + 1) / 2, halfWidth - 1)];
            result[y * width + x] = static_cast<std::uint16_t>((here + next + 1) / 2);
        }
    }
    return result;
}
