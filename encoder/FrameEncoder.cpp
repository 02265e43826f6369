#include "FrameEncoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

#include "AlphaVLCWriter.h"
#include "FrameAssembler.h"
#include "FrameShape.h"
#include "HeaderFields.h"
#include "PictureTransform.h"
#include "Quantizer.h"
#include "RateSearch.h"
#include "SliceThreads.h"

namespace {

void checkPlane(const char* name, std::vector<std::uint16_t> const& plane, std::size_t width, std::size_t height,
                std::uint32_t bitDepth, EncoderSettings const& settings) {
    require(plane.size() == width * height, name, plane.size(), "a plane has a sample for each of its places");
    for (std::size_t y = 0; y < height && width != 0; ++y) {
        throwIfStopped(settings);
        const auto line = plane.begin() + static_cast<std::ptrdiff_t>(y * width);
        const std::uint16_t greatest = *std::max_element(line, line + static_cast<std::ptrdiff_t>(width));
        require(greatest < (1u << bitDepth), name, greatest, "its codes must lie below 1 << bitDepth");
    }
}

void checkPicture(SourcePicture const& picture, EncoderSettings const& settings) {
    require(picture.bitDepth >= 8 && picture.bitDepth <= 16, "bitDepth", picture.bitDepth, "it must be 8 to 16");
    checkPlane("y", picture.y, picture.width, picture.height, picture.bitDepth, settings);
    checkPlane("cb", picture.cb, picture.chromaWidth(), picture.height, picture.bitDepth, settings);
    checkPlane("cr", picture.cr, picture.chromaWidth(), picture.height, picture.bitDepth, settings);
    if (picture.alphaBits != 0)
        checkPlane("alpha", picture.alpha, picture.width, picture.height, picture.alphaBits, settings);
}

void checkRate(EncoderSettings const& settings, std::size_t numSlices) {
    std::vector<std::uint8_t> const& indices = settings.quantization_indices;
    require(indices.empty() || indices.size() == numSlices, "quantization_indices.size()", indices.size(),
            "it must be the number of slices of the frame");
    if (!std::isfinite(settings.bitsPerPixel) || settings.bitsPerPixel < 0)
        throw std::invalid_argument("bitsPerPixel is " + std::to_string(settings.bitsPerPixel) +
                                    "; it must be 0 or above");
    if (settings.bitsPerPixel > 0)
        require(indices.empty(), "quantization_indices.size()", indices.size(),
                "it must be 0 where bitsPerPixel decides the indices");
}

// In the order of the stream.
std::vector<SliceFields*> slicesOf(FrameFields& fields) {
    std::vector<SliceFields*> slices;
    for (PictureFields& picture : fields.pictures)
        for (SliceFields& slice : picture.slices)
            slices.push_back(&slice);
    return slices;
}

// Everything of the frame but its coefficients.
FrameFields fieldsWithoutCoefficients(SourcePicture const& picture, PictureTransform const& transform,
                                      EncoderSettings const& settings) {
    FrameShape const& shape = transform.shape();
    FrameFields fields = headerFields(shape, settings);
    for (SliceShape const& slice : transform.slices())
        fields.pictures[slice.pictureIndex].slices.push_back(sliceHeaderFields(shape, settings, 0));
    if (shape.alphaBits == 0)
        return fields;
    const std::vector<SliceFields*> slices = slicesOf(fields);
    forEachSlice(slices.size(), settings.maxThreads, [&](std::size_t i) {
        throwIfStopped(settings);
        slices[i]->alpha = codedAlpha(alphaSamplesOf(picture, shape, transform.slices()[i]), shape.alphaBits,
                                      settings.alphaRunCoding, settings.alphaDifferenceCoding);
    });
    return fields;
}

std::vector<std::uint8_t> chosenIndices(Quantizer const& quantizer, FrameFields const& fields,
                                        PictureTransform const& transform, EncoderSettings const& settings) {
    const std::size_t numSlices = transform.slices().size();
    if (!settings.quantization_indices.empty())
        return settings.quantization_indices;
    if (settings.bitsPerPixel <= 0)
        return std::vector<std::uint8_t>(numSlices, static_cast<std::uint8_t>(settings.quantization_index));
    RateTarget target;
    target.numSlices = numSlices;
    target.fixedBytes = assembleFrame(fields).size();
    target.pixels = static_cast<double>(transform.shape().horizontal_size) * transform.shape().vertical_size;
    target.wantedBytes = settings.bitsPerPixel * target.pixels / 8;
    target.maxThreads = settings.maxThreads;
    target.sliceBytes = [&quantizer, &settings](std::size_t slice, std::uint32_t index) {
        throwIfStopped(settings);
        return quantizer.codedSize(slice, index);
    };
    return searchRate(target);
}

void fillInCoefficients(FrameFields& fields, Quantizer const& quantizer, std::vector<std::uint8_t> const& indices,
                        EncoderSettings const& settings) {
    const std::vector<SliceFields*> slices = slicesOf(fields);
    forEachSlice(slices.size(), settings.maxThreads, [&](std::size_t i) {
        throwIfStopped(settings);
        Quantizer::CodedSlice coded = quantizer.coded(i, indices[i]);
        slices[i]->quantization_index = indices[i];
        slices[i]->y = std::move(coded.components[0]);
        slices[i]->cb = std::move(coded.components[1]);
        slices[i]->cr = std::move(coded.components[2]);
    });
}

std::uint32_t mostFrequent(std::vector<std::uint8_t> const& indices) {
    std::array<std::size_t, 256> counts{};
    for (const std::uint8_t index : indices)
        ++counts[index];
    return static_cast<std::uint32_t>(std::max_element(counts.begin(), counts.end()) - counts.begin());
}

} // namespace

void throwIfStopped(EncoderSettings const& settings) {
    if (settings.wantsStop && settings.wantsStop())
        throw EncodeStopped();
}

EncodedFrame encodeFrame(SourcePicture const& picture, EncoderSettings const& settings) {
    const FrameShape shape = {
        picture.width,    picture.height, picture.chromaFormat, settings.interlace_mode, settings.log2_slice_size_in_mb,
        picture.alphaBits};
    checkShapeAndSettings(shape, settings);
    checkPicture(picture, settings);
    const PictureTransform transform(picture, shape, settings.maxThreads, [&settings] { throwIfStopped(settings); });
    checkRate(settings, transform.slices().size());
    const Quantizer quantizer(transform, settings);
    FrameFields fields = fieldsWithoutCoefficients(picture, transform, settings);
    const std::vector<std::uint8_t> indices = chosenIndices(quantizer, fields, transform, settings);
    fillInCoefficients(fields, quantizer, indices, settings);

    EncodedFrame frame;
    frame.bytes = assembleFrame(fields);
    frame.bitsPerPixel =
        8 * static_cast<double>(frame.bytes.size()) / (static_cast<double>(picture.width) * picture.height);
    frame.quantization_index = indices.empty() ? settings.quantization_index : mostFrequent(indices);
    return frame;
}
