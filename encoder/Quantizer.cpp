#include "Quantizer.h"

#include "ComponentCoding.h"
#include "ScanOrder.h"

namespace {

using Matrix = std::array<std::uint8_t, 64>;

Matrix defaultMatrix() {
    Matrix matrix{};
    matrix.fill(4);
    return matrix;
}

std::array<float, 64> stepsPerUnit(Matrix const& matrix, std::array<std::uint8_t, 64> const& scanIndices) {
    std::array<float, 64> steps{};
    for (std::size_t raster = 0; raster < 64; ++raster)
        if (matrix[raster] != 0)
            steps[scanIndices[raster]] = 8.0f / static_cast<float>(matrix[raster]);
    return steps;
}

// The finest step is 1/8 and no coefficient exceeds 2048, so levels stay within 16385 and need no clamp.
std::int16_t level(float scaled) {
    return static_cast<std::int16_t>(static_cast<std::int32_t>(scaled + (scaled < 0 ? -0.5f : 0.5f)));
}

} // namespace

Quantizer::Quantizer(PictureTransform const& transform, EncoderSettings const& settings) : m_transform(transform) {
    std::array<std::uint8_t, 64> const& scanIndices = scanIndexOfRaster(transform.shape().interlace_mode != 0);
    const Matrix luma = settings.lumaMatrix.value_or(defaultMatrix());
    m_stepsPerUnit[0] = stepsPerUnit(luma, scanIndices);
    m_stepsPerUnit[1] = stepsPerUnit(settings.chromaMatrix.value_or(luma), scanIndices);
}

std::span<const std::int16_t> Quantizer::quantized(std::size_t sliceIndex, std::size_t component,
                                                   std::uint32_t quantization_index, Levels& levels) const {
    const std::span<const float> values = m_transform.coefficients(sliceIndex, component);
    const std::size_t numBlocks = values.size() / 64;
    std::array<float, 64> const& steps = m_stepsPerUnit[component == 0 ? 0 : 1];
    const std::uint32_t scale = quantizerScale(quantization_index);
    const float perScale = scale == 0 ? 0.0f : 1.0f / static_cast<float>(scale);
    for (std::size_t scanIndex = 0; scanIndex < 64; ++scanIndex) {
        float const* const from = values.data() + scanIndex * numBlocks;
        std::int16_t* const to = levels.data() + scanIndex * numBlocks;
        const float factor = steps[scanIndex] * perScale;
        for (std::size_t block = 0; block < numBlocks; ++block)
            to[block] = level(from[block] * factor);
    }
    return {levels.data(), values.size()};
}

Quantizer::CodedSlice Quantizer::coded(std::size_t sliceIndex, std::uint32_t quantization_index) const {
    CodedSlice slice;
    Levels levels;
    for (std::size_t component = 0; component < 3; ++component) {
        const std::span<const std::int16_t> values = quantized(sliceIndex, component, quantization_index, levels);
        slice.components[component] = codedComponent(values, static_cast<std::uint32_t>(values.size() / 64));
    }
    return slice;
}

std::uint32_t Quantizer::codedSize(std::size_t sliceIndex, std::uint32_t quantization_index) const {
    std::uint32_t size = 0;
    Levels levels;
    for (std::size_t component = 0; component < 3; ++component) {
        const std::span<const std::int16_t> values = quantized(sliceIndex, component, quantization_index, levels);
        size += codedComponentSize(values, static_cast<std::uint32_t>(values.size() / 64));
    }
    return size;
}
