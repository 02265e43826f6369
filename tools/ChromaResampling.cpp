#include "ChromaResampling.h"

#include <algorithm>

namespace {

// The line of a 4:2:0 plane above an output line, and the weight in sixteenths of the line below it.
struct LinePosition {
    std::int64_t above;
    std::uint32_t weightBelow; // [0, 16)
};

// `line` counts within its field. Chroma line k lies `offset` eighths of a line below line 2 * k.
LinePosition linePosition(std::uint32_t line, std::uint32_t offset) {
    const std::int64_t sixteenths = std::int64_t{line} * 8 - offset + 16;
    return {sixteenths / 16 - 1, static_cast<std::uint32_t>(sixteenths % 16)};
}

} // namespace

std::vector<std::uint16_t> allLines(std::vector<std::uint16_t> const& plane, std::uint32_t width, std::uint32_t height,
                                    bool interlaced) {
    const std::uint32_t fields = interlaced && height >= 4 ? 2 : 1;
    const std::int64_t chromaHeight = (std::int64_t{height} + 1) / 2;
    std::vector<std::uint16_t> result(std::size_t{width} * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint32_t field = y % fields;
        // Half a line below the pair in a whole picture; a quarter and three quarters in the two fields.
        const std::uint32_t offset = fields == 1 ? 4 : 2 + 4 * field;
        const LinePosition position = linePosition(y / fields, offset);
        const std::int64_t linesOfField = (chromaHeight - field + fields - 1) / fields;
        const auto rowOf = [&](std::int64_t line) {
            const std::int64_t inField = std::clamp<std::int64_t>(line, 0, linesOfField - 1);
            return plane.data() + static_cast<std::size_t>(inField * fields + field) * width;
        };
        const std::uint16_t* above = rowOf(position.above);
        const std::uint16_t* below = rowOf(position.above + 1);
        for (std::size_t x = 0; x < width; ++x)
            result[std::size_t{y} * width + x] = static_cast<std::uint16_t>(
                ((16 - position.weightBelow) * above[x] + position.weightBelow * below[x] + 8) / 16);
    }
    return result;
}

std::vector<std::uint16_t> coSitedColumns(std::vector<std::uint16_t> const& plane, std::uint32_t width) {
    std::vector<std::uint16_t> result(plane.size());
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const std::uint32_t left = plane[i % width == 0 ? i : i - 1];
        result[i] = static_cast<std::uint16_t>((3u * plane[i] + left + 2) / 4);
    }
    return result;
}
