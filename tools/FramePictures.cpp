#include "FramePictures.h"

#include <algorithm>
#include <array>

#include "PngWriter.h"
#include "RgbImage.h"

namespace {

constexpr std::uint32_t kThumbnailSide = 160;
// More outlines than this could not be told apart.
constexpr std::size_t kMaxOutlines = 400;

// The strongest reduction that leaves enough pixels for a thumbnail, and a pixel in each direction.
std::uint32_t reductionFor(FrameHeader const& header) {
    const std::uint32_t longer = std::max(header.horizontal_size, header.vertical_size);
    const std::uint32_t shorter = std::min(header.horizontal_size, header.vertical_size);
    std::uint32_t factor = 0;
    while (factor < 3 && longer >> (factor + 1) >= kThumbnailSide && shorter >> (factor + 1) >= 1)
        ++factor;
    return factor;
}

// Each pixel is the mean of a square of pixels.
RgbImage thumbnailOf(DecodedFrame const& decoded) {
    const RgbImage source = rgbImageOf(decoded);
    const std::uint32_t step = (std::max(source.width, source.height) + kThumbnailSide - 1) / kThumbnailSide;
    RgbImage target;
    target.width = std::max(source.width / step, 1u);
    target.height = std::max(source.height / step, 1u);
    target.samples.reserve(std::size_t{target.width} * target.height * 3);
    const std::uint32_t rows = std::min(step, source.height);
    const std::uint32_t columns = std::min(step, source.width);
    for (std::uint32_t y = 0; y < target.height; ++y) {
        for (std::uint32_t i = 0; i < target.width * 3; ++i) {
            std::uint32_t sum = 0;
            for (std::uint32_t row = y * step; row < y * step + rows; ++row)
                for (std::uint32_t column = i / 3 * step; column < i / 3 * step + columns; ++column)
                    sum += source.samples[(std::size_t{row} * source.width + column) * source.channels + i % 3];
            target.samples.push_back(static_cast<std::uint16_t>(sum / (rows * columns)));
        }
    }
    return target;
}

bool continues(PixelRectangle const& before, PixelRectangle const& next) {
    const bool isRight = next.y == before.y && next.height == before.height && next.x == before.x + before.width;
    const bool isBelow = next.x == before.x && next.width == before.width && next.y == before.y + before.height;
    return isRight || isBelow;
}

void addJoined(PixelRectangle const& next, std::vector<PixelRectangle>& rectangles) {
    if (rectangles.empty() || !continues(rectangles.back(), next)) {
        rectangles.push_back(next);
        return;
    }
    PixelRectangle& last = rectangles.back();
    last.width = next.x + next.width - last.x;
    last.height = next.y + next.height - last.y;
}

// Joined first to pieces of rows and then those to blocks, of which the rows have the same ends.
std::vector<PixelRectangle> joined(std::vector<ravelo_damage> const& damage) {
    std::vector<PixelRectangle> rows;
    for (ravelo_damage const& slice : damage) {
        PixelRectangle rectangle;
        rectangle.x = slice.x;
        rectangle.y = slice.y;
        rectangle.width = slice.width;
        rectangle.height = slice.height * slice.line_step;
        const bool sameRow = !rows.empty() && rows.back().y == rectangle.y;
        if (sameRow)
            addJoined(rectangle, rows);
        else
            rows.push_back(rectangle);
    }
    std::vector<PixelRectangle> blocks;
    for (PixelRectangle const& row : rows)
        addJoined(row, blocks);
    return blocks;
}

// Pixels of a macroblock, so that one alone shows both colours of a failed slice.
constexpr std::uint32_t kMapScale = 2;

SliceMap mapOf(std::vector<InspectedSlice> const& slices, FrameHeader const& header, SliceColors colors) {
    SliceMap map;
    RgbImage image;
    if (slices.empty())
        return map;
    const auto value = [colors](InspectedSlice const& slice) { return sliceValue(slice.header, colors); };
    const auto [least, largest] = std::minmax_element(
        slices.begin(), slices.end(), [&](auto const& a, auto const& b) { return value(a) < value(b); });
    map.least = value(*least);
    map.largest = value(*largest);
    const double range = std::max(map.largest - map.least, 1e-9);
    // The rows of two fields lie between one another, as their lines do.
    const std::uint32_t numPictures = slices.back().picture + 1;
    const auto rowOf = [&](InspectedSlice const& slice) {
        const bool isLower = numPictures == 2 && (header.interlace_mode == 2) == (slice.picture == 0);
        return slice.header.row * numPictures + (isLower ? 1 : 0);
    };
    const std::uint32_t widthInMb = header.widthInMb();
    image.width = kMapScale * widthInMb;
    for (InspectedSlice const& slice : slices)
        image.height = std::max(image.height, kMapScale * (rowOf(slice) + 1));
    image.samples.assign(std::size_t{image.width} * image.height * 3, 0);
    for (InspectedSlice const& slice : slices) {
        const std::array<std::uint8_t, 3> color = sliceColor((value(slice) - map.least) / range);
        const std::uint32_t firstX = kMapScale * slice.header.firstMb;
        const std::uint32_t lastX = kMapScale * std::min(slice.header.firstMb + slice.header.numMbs, widthInMb);
        const std::uint32_t firstY = kMapScale * rowOf(slice);
        for (std::uint32_t y = firstY; y < firstY + kMapScale; ++y)
            for (std::uint32_t x = firstX; x < lastX; ++x) {
                const std::array<std::uint8_t, 3> failed = {255, static_cast<std::uint8_t>((x + y) % 2 * 255), 255};
                std::ranges::copy(slice.failed == nullptr ? color : failed,
                                  image.samples.begin() + (std::ptrdiff_t{y} * image.width + x) * 3);
            }
    }
    map.png = pngOf(image);
    return map;
}

} // namespace

FramePictures picturesOf(std::span<const std::uint8_t> frame, DecodedFrame& decoded, OptimizationTarget target) {
    DecodeRequest request;
    request.downSampleFactor = reductionFor(parseFrameHeader(frame));
    request.target = target;
    request.pixelForm = RAVELO_RGBA;
    decoded.decode(frame, request);
    FramePictures pictures;
    pictures.thumbnail = pngOf(thumbnailOf(decoded));
    pictures.width = decoded.width();
    pictures.height = decoded.height();
    pictures.damage = joined(decoded.damage());
    if (pictures.damage.size() > kMaxOutlines) {
        pictures.omittedDamage = pictures.damage.size() - kMaxOutlines;
        pictures.damage.resize(kMaxOutlines);
    }
    pictures.slices = inspectSlices(frame, decoded);
    pictures.bytes = mapOf(pictures.slices, decoded.header(), SliceColors::Bytes);
    pictures.index = mapOf(pictures.slices, decoded.header(), SliceColors::Index);
    return pictures;
}
