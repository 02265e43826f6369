#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "FrameEncoder.h"
#include "PictureTransform.h"

// The factor of a quantization_index: the index itself to 128, and from there four for each step.
constexpr std::uint32_t quantizerScale(std::uint32_t quantization_index) {
    return quantization_index <= 128 ? quantization_index : 4 * quantization_index - 384;
}

// Quantises and codes slices of a transformed frame, at any index as often as wanted.
class Quantizer {
public:
    // `transform` must outlive the quantiser.
    Quantizer(PictureTransform const& transform, EncoderSettings const& settings);

    struct CodedSlice {
        std::array<std::vector<std::uint8_t>, 3> components; // Y, Cb, Cr
    };
    CodedSlice coded(std::size_t sliceIndex, std::uint32_t quantization_index) const;

    // The bytes that the components of coded() have together.
    std::uint32_t codedSize(std::size_t sliceIndex, std::uint32_t quantization_index) const;

private:
    // The largest component: eight macroblocks of four blocks.
    using Levels = std::array<std::int16_t, 8 * 4 * 64>;

    std::span<const std::int16_t> quantized(std::size_t sliceIndex, std::size_t component,
                                            std::uint32_t quantization_index, Levels& levels) const;

    PictureTransform const& m_transform;
    // 8 / matrix, by scan index, for luma and for chroma; 0 where the matrix is 0 and no coefficient has any effect.
    std::array<std::array<float, 64>, 2> m_stepsPerUnit{};
};
