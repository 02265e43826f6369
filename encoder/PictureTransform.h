#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "FrameShape.h"
#include "SourcePicture.h"

// The transformed coefficients of a whole frame, before quantisation. They are kept in stream order, so that a search
// over quantisers reads memory from front to back and never transforms twice.
class PictureTransform {
public:
    // The planes have the sizes that `shape` gives. Macroblocks at the edges are filled up with the last column and the
    // last line of their picture. At most `maxThreads` threads transform the slices, and call `beforeSlice` for each,
    // of which an exception ends the transform.
    PictureTransform(SourcePicture const& picture, FrameShape const& shape, std::uint32_t maxThreads,
                     std::function<void()> const& beforeSlice);

    FrameShape const& shape() const { return m_shape; }
    std::vector<SliceShape> const& slices() const { return m_slices; }

    // Component 0 is Y, 1 Cb and 2 Cr. No coefficient exceeds 2048 in magnitude by more than a rounding.
    std::span<const float> coefficients(std::size_t sliceIndex, std::size_t component) const {
        const std::size_t begin = m_offsets[sliceIndex][component];
        return {m_values.get() + begin, blocksOf(m_slices[sliceIndex], component) * 64};
    }

    static std::size_t blocksOf(SliceShape const& slice, std::size_t component) {
        return component == 0 ? slice.lumaBlocks : slice.chromaBlocks;
    }

private:
    FrameShape m_shape;
    std::vector<SliceShape> m_slices;
    std::vector<std::array<std::size_t, 3>> m_offsets; // of each slice's components within m_values
    std::unique_ptr<float[]> m_values;
};

// The alpha samples of one slice, row by row, with the columns beyond the picture's edge filled.
std::vector<std::uint16_t> alphaSamplesOf(SourcePicture const& picture, FrameShape const& shape,
                                          SliceShape const& slice);
