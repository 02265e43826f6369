#include "PictureTransform.h"

#include <algorithm>

#include "ForwardDct.h"
#include "ScanOrder.h"
#include "SliceThreads.h"

namespace {

// One plane as one picture of the frame sees it: every line, or the lines of a field.
struct PlaneView {
    std::uint16_t const* samples;
    std::size_t width;
    PictureLines lines;

    std::uint16_t const* row(std::size_t y) const {
        const std::size_t line = std::min<std::size_t>(y, lines.height - 1);
        return samples + (lines.firstLine + lines.lineStep * line) * width;
    }
};

// Codes of any depth onto the scale of 512 steps from -256 up.
struct SampleScale {
    float factor;

    explicit SampleScale(std::uint32_t bitDepth) : factor(512.0f / static_cast<float>(1u << bitDepth)) {}
    float operator()(std::uint16_t code) const { return static_cast<float>(code) * factor - 256.0f; }
};

// The largest component of a slice: eight macroblocks of 16 samples, in four blocks each.
constexpr std::size_t kMaxSamplesPerLine = 8 * 16;
constexpr std::size_t kMaxBlocks = 8 * 4;

// Eight lines of the samples of a component of a slice, filled up beyond the right edge.
using Lines = float[8][kMaxSamplesPerLine];
// A value of every block: of each column of the blocks in turn.
using BlockColumns = float[8][kMaxBlocks];

void loadLines(PlaneView const& plane, std::size_t x, std::size_t y, std::size_t width, SampleScale const& scale,
               Lines& lines) {
    const std::size_t present = std::min(width, plane.width - std::min(plane.width, x));
    for (std::size_t r = 0; r < 8; ++r) {
        std::uint16_t const* const row = plane.row(y + r);
        for (std::size_t i = 0; i < present; ++i)
            lines[r][i] = scale(row[x + i]);
        std::fill(lines[r] + present, lines[r] + width, scale(row[plane.width - 1]));
    }
}

// The place of a block in the order of the stream. `column` counts blocks along the lines, `half` is 0 for the upper
// blocks of the macroblocks and 1 for the lower ones. Luma blocks run along the rows of a macroblock, chroma blocks
// down its columns.
std::size_t streamPlace(std::size_t component, std::size_t blocksPerMb, std::size_t column, std::size_t half) {
    if (blocksPerMb == 2)
        return 2 * column + half;
    return component == 0 ? 4 * (column / 2) + 2 * half + column % 2 : 2 * column + half;
}

void transformComponent(PlaneView const& plane, std::size_t component, SliceShape const& slice,
                        SampleScale const& scale, std::array<std::uint8_t, 64> const& scanIndices, float* streamOrder) {
    const std::size_t numBlocks = PictureTransform::blocksOf(slice, component);
    const std::size_t blocksPerMb = numBlocks / slice.sliceMbs;
    // Chroma macroblocks of two blocks are 8 samples wide.
    const std::size_t mbWidth = blocksPerMb == 2 ? 8 : 16;
    const std::size_t width = slice.sliceMbs * mbWidth;
    Lines halves[2];
    std::size_t places[2][kMaxBlocks / 2];
    for (std::size_t half = 0; half < 2; ++half) {
        loadLines(plane, slice.firstMb * mbWidth, std::size_t{slice.mbRow} * 16 + 8 * half, width, scale, halves[half]);
        forwardDct(halves[half], width);
        for (std::size_t column = 0; column < width / 8; ++column)
            places[half][column] = streamPlace(component, blocksPerMb, column, half);
    }
    for (std::size_t u = 0; u < 8; ++u) {
        BlockColumns columns;
        for (std::size_t half = 0; half < 2; ++half)
            for (std::size_t block = 0; block < width / 8; ++block)
                for (std::size_t c = 0; c < 8; ++c)
                    columns[c][places[half][block]] = halves[half][u][8 * block + c];
        forwardDct(columns, numBlocks);
        for (std::size_t v = 0; v < 8; ++v)
            std::copy_n(columns[v], numBlocks, streamOrder + scanIndices[8 * u + v] * numBlocks);
    }
}

} // namespace

PictureTransform::PictureTransform(SourcePicture const& picture, FrameShape const& shape, std::uint32_t maxThreads,
                                   std::function<void()> const& beforeSlice)
    : m_shape(shape), m_slices(shape.slices()) {
    std::size_t numValues = 0;
    for (SliceShape const& slice : m_slices) {
        std::array<std::size_t, 3>& offsets = m_offsets.emplace_back();
        for (std::size_t component = 0; component < 3; ++component) {
            offsets[component] = numValues;
            numValues += blocksOf(slice, component) * 64;
        }
    }
    // Every value is written below. Zeros for them would take long for a large picture, and nothing could stop that.
    m_values = std::make_unique_for_overwrite<float[]>(numValues);
    const SampleScale scale(picture.bitDepth);
    std::array<std::uint8_t, 64> const& scanIndices = scanIndexOfRaster(shape.interlace_mode != 0);
    std::uint16_t const* const planes[3] = {picture.y.data(), picture.cb.data(), picture.cr.data()};
    forEachSlice(m_slices.size(), maxThreads, [&](std::size_t i) {
        beforeSlice();
        const PictureLines lines = shape.pictureLines(m_slices[i].pictureIndex);
        for (std::size_t component = 0; component < 3; ++component) {
            const std::size_t width = component == 0 ? picture.width : picture.chromaWidth();
            transformComponent({planes[component], width, lines}, component, m_slices[i], scale, scanIndices,
                               m_values.get() + m_offsets[i][component]);
        }
    });
}

std::vector<std::uint16_t> alphaSamplesOf(SourcePicture const& picture, FrameShape const& shape,
                                          SliceShape const& slice) {
    const PlaneView plane{picture.alpha.data(), picture.width, shape.pictureLines(slice.pictureIndex)};
    const std::size_t width = std::size_t{slice.sliceMbs} * 16;
    const std::size_t firstColumn = std::size_t{slice.firstMb} * 16;
    std::vector<std::uint16_t> samples(slice.alphaSamples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::uint16_t const* const row = plane.row(std::size_t{slice.mbRow} * 16 + i / width);
        samples[i] = row[std::min(firstColumn + i % width, plane.width - 1)];
    }
    return samples;
}
