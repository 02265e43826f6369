#include "HeaderFields.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::uint32_t sliceHeaderFieldBytes(FrameShape const& shape) {
    return shape.alphaBits == 0 ? 6 : 8;
}

std::uint32_t frameHeaderFieldBytes(EncoderSettings const& settings) {
    return 20 + (settings.lumaMatrix ? 64 : 0) + (settings.chromaMatrix ? 64 : 0);
}

void checkShape(FrameShape const& shape) {
    require(shape.horizontal_size >= 1 && shape.horizontal_size <= 65535, "width", shape.horizontal_size,
            "it must be 1 to 65535");
    require(shape.vertical_size >= 1 && shape.vertical_size <= 65535, "height", shape.vertical_size,
            "it must be 1 to 65535");
    const bool isKnownFormat = shape.chromaFormat == ChromaFormat::C422 || shape.chromaFormat == ChromaFormat::C444;
    require(isKnownFormat, "chromaFormat", static_cast<std::uint32_t>(shape.chromaFormat), "it must be 2 or 3");
    require(shape.alphaBits == 0 || shape.alphaBits == 8 || shape.alphaBits == 16, "alphaBits", shape.alphaBits,
            "it must be 0, 8 or 16");
    require(shape.interlace_mode <= 3, "interlace_mode", shape.interlace_mode, "it must be 0 to 3");
    require(shape.log2_slice_size_in_mb <= 3, "log2_slice_size_in_mb", shape.log2_slice_size_in_mb,
            "it must be 0 to 3");
}

std::vector<std::uint8_t> zeros(std::uint32_t wanted, std::uint32_t used) {
    return std::vector<std::uint8_t>(wanted > used ? wanted - used : 0);
}

} // namespace

void require(bool holds, const char* name, std::uint64_t value, const char* rule) {
    if (!holds)
        throw std::invalid_argument(std::string(name) + " is " + std::to_string(value) + "; " + rule);
}

void checkShapeAndSettings(FrameShape const& shape, EncoderSettings const& settings) {
    checkShape(shape);
    require(settings.quantization_index <= 255, "quantization_index", settings.quantization_index,
            "it must be 0 to 255");
    require(settings.header_size <= 65535, "header_size", settings.header_size, "it must be 0 to 65535");
    require(settings.picture_header_size >= kPictureHeaderFieldBytes && settings.picture_header_size <= 31,
            "picture_header_size", settings.picture_header_size, "it must be 8 to 31");
    const bool isHeaderSize =
        settings.slice_header_size == 0 ||
        (settings.slice_header_size >= sliceHeaderFieldBytes(shape) && settings.slice_header_size <= 31);
    require(isHeaderSize, "slice_header_size", settings.slice_header_size,
            "it must be 0, or 6 to 31 without and 8 to 31 with alpha");
    require(settings.color_primaries <= 255, "color_primaries", settings.color_primaries, "it must be 0 to 255");
    require(settings.transfer_characteristic <= 255, "transfer_characteristic", settings.transfer_characteristic,
            "it must be 0 to 255");
    require(settings.matrix_coefficients <= 255, "matrix_coefficients", settings.matrix_coefficients,
            "it must be 0 to 255");
}

FrameFields headerFields(FrameShape const& shape, EncoderSettings const& settings) {
    FrameFields frame;
    frame.horizontal_size = shape.horizontal_size;
    frame.vertical_size = shape.vertical_size;
    frame.chroma_format = static_cast<std::uint32_t>(shape.chromaFormat);
    frame.interlace_mode = shape.interlace_mode;
    frame.color_primaries = settings.color_primaries;
    frame.transfer_characteristic = settings.transfer_characteristic;
    frame.matrix_coefficients = settings.matrix_coefficients;
    frame.alpha_channel_type = shape.alpha_channel_type();
    if (settings.lumaMatrix)
        frame.luma_matrix.assign(settings.lumaMatrix->begin(), settings.lumaMatrix->end());
    if (settings.chromaMatrix)
        frame.chroma_matrix.assign(settings.chromaMatrix->begin(), settings.chromaMatrix->end());
    frame.headerTail = zeros(settings.header_size, frameHeaderFieldBytes(settings));
    PictureFields picture;
    picture.log2_slice_size_in_mb = shape.log2_slice_size_in_mb;
    picture.headerTail = zeros(settings.picture_header_size, kPictureHeaderFieldBytes);
    frame.pictures.assign(shape.numPictures(), picture);
    return frame;
}

SliceFields sliceHeaderFields(FrameShape const& shape, EncoderSettings const& settings,
                              std::uint32_t quantization_index) {
    SliceFields slice;
    slice.quantization_index = quantization_index;
    slice.headerTail = zeros(settings.slice_header_size, sliceHeaderFieldBytes(shape));
    return slice;
}
