#include "Frame.h"

#include <stdexcept>

#include "Picture.h"

namespace {

constexpr std::uint32_t kFixedHeaderBytes = 20;

// Big-endian fields at fixed offsets of the frame header.
constexpr std::uint64_t kHorizontalSizeOffset = 8;
constexpr std::uint64_t kVerticalSizeOffset = 10;
constexpr std::uint64_t kFormatOffset = 12;
constexpr std::uint64_t kAlphaOffset = 17;

constexpr std::uint64_t kOuterWordBytes = 8;

std::uint32_t reduced(std::uint32_t size, std::uint32_t downSampleFactor) {
    return downSampleFactor < 32 ? size >> downSampleFactor : 0;
}

std::uint32_t samplesOfPixel(std::uint32_t chroma_format) {
    return chroma_format == 3 ? 4 : 2;
}

std::uint64_t bytesOfRow(std::uint64_t width, std::uint32_t samplesPerPixel, std::uint32_t bitDepth) {
    return samplesPerPixel * (bitDepth > 8 ? 2u : 1u) * width;
}

// When the data runs out, the cursor stops one past the last byte and the rest of the matrix repeats the byte there,
// which counts as zero.
void readMatrix(Bitstream& bits, std::uint8_t* matrix) {
    for (int i = 0; i < 64; ++i) {
        matrix[i] = static_cast<std::uint8_t>(bits.byteAt(0));
        bits.advance(1);
    }
}

void setMatrix(const std::uint8_t* source, std::uint8_t* quant, float* scaled) {
    for (int i = 0; i < 64; ++i) {
        quant[i] = source[i];
        scaled[i] = static_cast<float>(source[i]) * 0.125f;
    }
}

} // namespace

const std::uint8_t Frame::s_defaultQuantizationMatrix[64] = {
    4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4,
    4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4,
};

Frame::Frame(Bitstream const& frameBits)
    : outer_word_0(frameBits.word32At(0)),
      outer_word_1(frameBits.word32At(4)),
      bitstream(frameBits),
      data(frameBits.data) {
    bitstream.advance(kOuterWordBytes);
    frame_header();
    bitstream.advance(header_size);
}

Frame::Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth, void* pixels,
             std::int64_t lineStride, OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor,
             DecodeMonitor* decodeMonitor, std::uint32_t maxDecodeThreads)
    : Frame(frameBits) {
    downSampleFactor = requestedDownSampleFactor;
    colorCoding = requestedCoding;
    bitDepth = requestedBitDepth;
    target = resolvedTarget;
    monitor = decodeMonitor;
    maxThreads = maxDecodeThreads;
    initializeFrameBuffer(pixels, lineStride);
    if (target == OptimizationTarget::AVX2)
        decodePictures<OptimizationTarget::AVX2>();
    else
        decodePictures<OptimizationTarget::Baseline>();
}

template <OptimizationTarget resolvedTarget>
void Frame::decodePictures() {
    const Picture<resolvedTarget> first(TemporalOrder::First, *this, bitstream);
    if (!hasSecondPicture())
        return;
    bitstream.advance(first.picture_size());
    const Picture<resolvedTarget> second(TemporalOrder::Second, *this, bitstream);
}

void Frame::frame_header() {
    header_size = bitstream.word16At(0);
    header_byte_3 = bitstream.byteAt(3);
    header_word_4 = bitstream.word32At(4);
    horizontal_size = bitstream.word16At(kHorizontalSizeOffset);
    vertical_size = bitstream.word16At(kVerticalSizeOffset);
    chroma_format = bitstream.byteAt(kFormatOffset) >> 6;
    interlace_mode = bitstream.byteAt(kFormatOffset) >> 2 & 3;
    header_nibble_13_high = bitstream.byteAt(13) >> 4;
    header_nibble_13_low = bitstream.byteAt(13) & 15;
    color_primaries = bitstream.byteAt(14);
    transfer_characteristic = bitstream.byteAt(15);
    matrix_coefficients = bitstream.byteAt(16);
    alpha_channel_type = bitstream.byteAt(kAlphaOffset) & 15;
    load_luma_matrix = bitstream.byteAt(19) >> 1 & 1;
    load_chroma_matrix = bitstream.byteAt(19) & 1;

    Bitstream matrices = bitstream;
    matrices.advance(kFixedHeaderBytes);
    if (load_luma_matrix == 1)
        readMatrix(matrices, raw_luma_matrix);
    if (load_chroma_matrix == 1)
        readMatrix(matrices, raw_chroma_matrix);

    // A frame that brings no chroma matrix uses its luma matrix for chroma too, whichever that is.
    setMatrix(load_luma_matrix == 1 ? raw_luma_matrix : s_defaultQuantizationMatrix, luma_quant, luma_quant_scaled);
    setMatrix(load_chroma_matrix == 1 ? raw_chroma_matrix : luma_quant, chroma_quant, chroma_quant_scaled);
}

void Frame::initializeFrameBuffer(void* pixels, std::int64_t lineStride) {
    if (colorCoding != ColorCoding_YCbCr && chroma_format == 2)
        throw std::runtime_error("RGB output for 4:2:2 frames is not supported by Ravelo decoder.");
    frame_buffer.samplesPerPixel = samplesOfPixel(chroma_format);
    frame_buffer.width = reduced(horizontal_size, downSampleFactor);
    frame_buffer.height = reduced(vertical_size, downSampleFactor);
    frame_buffer.frameHeight = vertical_size;
    frame_buffer.downSampleFactor = downSampleFactor;

    // The most negative stride has no magnitude and is refused: it stays negative in the comparison.
    const auto magnitude = static_cast<std::int64_t>(lineStride < 0 ? 0u - static_cast<std::uint64_t>(lineStride)
                                                                    : static_cast<std::uint64_t>(lineStride));
    const auto needed =
        static_cast<std::int64_t>(bytesOfRow(frame_buffer.width, frame_buffer.samplesPerPixel, bitDepth));
    if (magnitude < needed || magnitude < 0)
        throw std::runtime_error("Ravelo decoder: insufficient line stride given.");

    frame_buffer.pixels = static_cast<std::uint8_t*>(pixels);
    frame_buffer.lineStride = lineStride;
    frame_buffer.colorCoding = colorCoding;
    frame_buffer.color_primaries = color_primaries;
    frame_buffer.transfer_characteristic = transfer_characteristic;
    frame_buffer.matrix_coefficients = matrix_coefficients;
    frame_buffer.bitDepth = bitDepth;
    frame_buffer.alpha_channel_type = alpha_channel_type;
}

PixelBuffer Frame::GetFrameInfo(Bitstream frameBits, std::uint32_t bitDepth, std::uint32_t downSampleFactor) {
    frameBits.advance(kOuterWordBytes);
    PixelBuffer info;
    info.width = reduced(frameBits.word16At(kHorizontalSizeOffset), downSampleFactor);
    info.height = reduced(frameBits.word16At(kVerticalSizeOffset), downSampleFactor);
    info.samplesPerPixel = samplesOfPixel(frameBits.byteAt(kFormatOffset) >> 6);
    info.lineStride = static_cast<std::int64_t>(bytesOfRow(info.width, info.samplesPerPixel, bitDepth));
    info.downSampleFactor = downSampleFactor;
    info.bitDepth = bitDepth;
    info.alpha_channel_type = frameBits.byteAt(kAlphaOffset) & 15;
    return info;
}
