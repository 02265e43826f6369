#include "FlatFrames.h"

#include <algorithm>

SliceMaker flatSlices(BlockSample sample) {
    return [sample = std::move(sample)](SlicePlace const& place, SliceContent& content) {
        content.quantization_index = 16;
        int component = 0;
        for (std::vector<std::int16_t>* coefficients : {&content.y, &content.cb, &content.cr}) {
            for (std::size_t i = 0; i < coefficients->size(); i += 64)
                (*coefficients)[i] =
                    static_cast<std::int16_t>(sample(place, component, static_cast<std::uint32_t>(i / 64)));
            ++component;
        }
    };
}

SliceMaker flatSlices(int y, int cb, int cr) {
    return flatSlices([y, cb, cr](SlicePlace const&, int component, std::uint32_t) {
        return component == 0 ? y : component == 1 ? cb : cr;
    });
}

MadeFrame flatFrame(FrameSpec const& spec, int y, int cb, int cr) {
    return makeFrame(spec, flatSlices(y, cb, cr));
}

MadeFrame flatFrameWithAlpha(FrameSpec const& spec, int y, int cb, int cr, std::uint16_t alpha) {
    const SliceMaker colour = flatSlices(y, cb, cr);
    return makeFrame(spec, [colour, alpha](SlicePlace const& place, SliceContent& content) {
        colour(place, content);
        std::ranges::fill(content.alpha, alpha);
    });
}

FrameSpec sizedSpec(std::uint32_t chroma_format, std::uint32_t width, std::uint32_t height,
                    std::uint32_t alpha_channel_type) {
    FrameSpec spec;
    spec.chroma_format = chroma_format;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    spec.alpha_channel_type = alpha_channel_type;
    return spec;
}

int code8(int sample) {
    return std::clamp((sample + 257) >> 1, 0, 255);
}

DecodeRequest requestFor(std::vector<std::uint8_t> const& frame, std::uint32_t downSampleFactor, std::uint32_t bitDepth,
                         std::uint32_t colorCoding, OptimizationTarget target) {
    DecodeRequest request;
    request.downSampleFactor = downSampleFactor;
    request.bitDepth = bitDepth;
    request.colorCoding = colorCoding;
    request.target = target;
    request.lineStride = safeStride(frame, request);
    return request;
}

namespace {

std::int64_t offsetOf(DecodeRequest const& request, std::int64_t line, std::int64_t index) {
    return line * request.lineStride + index * (request.bitDepth > 8 ? 2 : 1);
}

} // namespace

int sampleAt(OutputBuffer const& output, DecodeRequest const& request, std::int64_t line, std::int64_t index) {
    const std::int64_t offset = offsetOf(request, line, index);
    return request.bitDepth > 8 ? output.sample16At(offset) : output.at(offset);
}

bool isUntouched(OutputBuffer const& output, DecodeRequest const& request, std::int64_t line, std::int64_t index) {
    const std::int64_t offset = offsetOf(request, line, index);
    return output.isUntouched(offset) && (request.bitDepth <= 8 || output.isUntouched(offset + 1));
}

bool isUntouched(OutputBuffer const& output) {
    for (std::uint64_t i = 0; i < output.bytes().size(); ++i) {
        if (output.bytes()[i] != OutputBuffer::fillAt(i))
            return false;
    }
    return true;
}
