#include "CoefficientFrame.h"

#include <utility>

#include "AlphaVLCWriter.h"
#include "ComponentCoding.h"
#include "HeaderFields.h"

namespace {

void checkSlice(CoefficientSlice const& slice, SliceShape const& shape, std::uint32_t alphaBits) {
    const std::size_t lumaValues = std::size_t{shape.lumaBlocks} * 64;
    const std::size_t chromaValues = std::size_t{shape.chromaBlocks} * 64;
    require(slice.quantization_index <= 255, "quantization_index", slice.quantization_index, "it must be 0 to 255");
    require(slice.y.size() == lumaValues, "y.size()", slice.y.size(), "a slice has 64 values for each luma block");
    require(slice.cb.size() == chromaValues, "cb.size()", slice.cb.size(),
            "a slice has 64 values for each chroma block");
    require(slice.cr.size() == chromaValues, "cr.size()", slice.cr.size(),
            "a slice has 64 values for each chroma block");
    require(slice.alpha.size() == shape.alphaSamples, "alpha.size()", slice.alpha.size(),
            "a slice has 16 samples for each macroblock and real line");
    if (alphaBits == 8)
        for (const std::uint16_t sample : slice.alpha)
            require(sample <= 255, "alpha", sample, "8 bits hold 0 to 255");
}

} // namespace

FrameShape CoefficientFrame::shape() const {
    return {width, height, chromaFormat, settings.interlace_mode, settings.log2_slice_size_in_mb, alphaBits};
}

void CoefficientFrame::makeEmptySlices() {
    slices.clear();
    for (SliceShape const& sliceShape : shape().slices()) {
        CoefficientSlice& slice = slices.emplace_back();
        slice.y.resize(std::size_t{sliceShape.lumaBlocks} * 64);
        slice.cb.resize(std::size_t{sliceShape.chromaBlocks} * 64);
        slice.cr.resize(std::size_t{sliceShape.chromaBlocks} * 64);
        slice.alpha.resize(sliceShape.alphaSamples);
    }
}

FrameFields coefficientFrameFields(CoefficientFrame const& frame) {
    const FrameShape shape = frame.shape();
    checkShapeAndSettings(shape, frame.settings);
    const std::vector<SliceShape> shapes = shape.slices();
    require(frame.slices.size() == shapes.size(), "slices.size()", frame.slices.size(),
            "it must be the number of slices of the frame");
    FrameFields fields = headerFields(shape, frame.settings);
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        CoefficientSlice const& slice = frame.slices[i];
        checkSlice(slice, shapes[i], frame.alphaBits);
        SliceFields sliceFields = sliceHeaderFields(shape, frame.settings, slice.quantization_index);
        sliceFields.y = codedComponent(streamOrderOf(slice.y), shapes[i].lumaBlocks);
        sliceFields.cb = codedComponent(streamOrderOf(slice.cb), shapes[i].chromaBlocks);
        sliceFields.cr = codedComponent(streamOrderOf(slice.cr), shapes[i].chromaBlocks);
        if (frame.alphaBits != 0)
            sliceFields.alpha = codedAlpha(slice.alpha, frame.alphaBits, frame.settings.alphaRunCoding,
                                           frame.settings.alphaDifferenceCoding);
        fields.pictures[shapes[i].pictureIndex].slices.push_back(std::move(sliceFields));
    }
    return fields;
}

std::vector<std::uint8_t> assembleCoefficientFrame(CoefficientFrame const& frame) {
    return assembleFrame(coefficientFrameFields(frame));
}
