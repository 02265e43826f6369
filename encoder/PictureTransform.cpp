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

void loadBlock(PlaneView const& plane, std::size_t x, std::size_t y, SampleScale const& scale, float* block) {
    for (std::size_t r = 0; r < 8; ++r) {
        std::uint16_t const* const row = plane.row(y + r);
        if (x + 8 <= plane.width) {
            for (std::size_t c = 0; c < 8; ++c)
                block[8 * r + c] = scale(row[x + c]);
        } else {
            for (std::size_t c = 0; c < 8; ++c)
                block[8 * r + c] = scale(row[std::min(x + c, plane.width - 1)]);
        }
    }
}

// Where a block of a macroblock lies, in blocks.
struct BlockPlace {
    std::size_t column;
    std::size_t row;
};

// Luma blocks run along the rows of a macroblock, chroma blocks down its columns.
BlockPlace blockPlace(std::size_t component, std::size_t block) {
    return component == 0 ? BlockPlace{block % 2, block / 2} : BlockPlace{block / 2, block % 2};
}

void transformComponent(PlaneView const& plane, std::size_t component, SliceShape const& slice,
                        SampleScale const& scale, std::array<std::uint8_t, 64> const& scanIndices, float* streamOrder) {
    const std::size_t numBlocks = PictureTransform::blocksOf(slice, component);
    const std::size_t blocksPerMb = numBlocks / slice.sliceMbs;
    // Chroma macroblocks of two blocks are 8 samples wide.
    const std::size_t mbWidth = blocksPerMb == 2 ? 8 : 16;
    for (std::size_t block = 0; block < numBlocks; ++block) {
        const BlockPlace place = blockPlace(component, block % blocksPerMb);
        const std::size_t x = (slice.firstMb + block / blocksPerMb) * mbWidth + 8 * place.column;
        const std::size_t y = std::size_t{slice.mbRow} * 16 + 8 * place.row;
        float values[64];
        loadBlock(plane, x, y, scale, values);
        forwardDct8x8(values, values);
        for (std::size_t raster = 0; raster < 64; ++raster)
            streamOrder[scanIndices[raster] * numBlocks + block] = values[raster];
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
