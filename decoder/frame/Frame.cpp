#include "Frame.h"

#include <stdexcept>

#include "Picture.h"
#include "Targets.h"

namespace {

std::uint32_t reduced(std::uint32_t size, std::uint32_t downSampleFactor) {
    return downSampleFactor < 32 ? size >> downSampleFactor : 0;
}

std::uint64_t bytesOfRow(std::uint64_t width, std::uint32_t samplesPerPixel, std::uint32_t bitDepth) {
    return samplesPerPixel * bytesPerSample(bitDepth) * width;
}

void scaleMatrix(const std::uint8_t* quant, float* scaled) {
    for (std::uint32_t i = 0; i < FrameHeader::kMatrixBytes; ++i)
        scaled[i] = static_cast<float>(quant[i]) * 0.125f;
}

} // namespace

Frame::Frame(Bitstream const& frameBits)
    : FrameHeader(frame_header(frameBits)), bitstream(frameBits), data(frameBits.data) {
    bitstream.advance(firstPictureOffset());
    scaleMatrix(luma_quant, luma_quant_scaled);
    scaleMatrix(chroma_quant, chroma_quant_scaled);
}

#define RAVELO_DECODE_IF_CHOSEN(which)                                                                                 \
    if (target == (which))                                                                                             \
        decodePictures<which>();

Frame::Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth,
             OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor, DecodeMonitor* decodeMonitor,
             std::uint32_t maxDecodeThreads)
    : Frame(frameBits) {
    downSampleFactor = requestedDownSampleFactor;
    colorCoding = requestedCoding;
    bitDepth = requestedBitDepth;
    target = resolvedTarget;
    monitor = decodeMonitor;
    maxThreads = maxDecodeThreads;
}

Frame::Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth, void* pixels,
             std::int64_t lineStride, OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor,
             DecodeMonitor* decodeMonitor, std::uint32_t maxDecodeThreads)
    : Frame(frameBits, requestedCoding, requestedBitDepth, resolvedTarget, requestedDownSampleFactor, decodeMonitor,
            maxDecodeThreads) {
    initializeFrameBuffer(pixels, lineStride);
    decode();
}

Frame::Frame(Bitstream const& frameBits, PictureOutput const& pictureOutput, ColorCoding requestedCoding,
             std::uint32_t requestedBitDepth, OptimizationTarget resolvedTarget,
             std::uint32_t requestedDownSampleFactor, DecodeMonitor* decodeMonitor, std::uint32_t maxDecodeThreads)
    : Frame(frameBits, requestedCoding, requestedBitDepth, resolvedTarget, requestedDownSampleFactor, decodeMonitor,
            maxDecodeThreads) {
    output = &pictureOutput;
    describeOutput();
    decode();
}

void Frame::decode() {
    RAVELO_FOR_EACH_TARGET(RAVELO_DECODE_IF_CHOSEN)
}

template <OptimizationTarget resolvedTarget>
void Frame::decodePictures() {
    const Picture<resolvedTarget> first(TemporalOrder::First, *this, bitstream);
    if (!hasSecondPicture())
        return;
    bitstream.advance(first.picture_size());
    const Picture<resolvedTarget> second(TemporalOrder::Second, *this, bitstream);
}

void Frame::initializeFrameBuffer(void* pixels, std::int64_t lineStride) {
    if (colorCoding != ColorCoding_YCbCr && chroma_format == 2)
        throw std::runtime_error("RGB output for 4:2:2 frames is not supported by Ravelo decoder.");
    describeOutput();

    // The most negative stride has no magnitude and is refused: it stays negative in the comparison.
    const auto magnitude = static_cast<std::int64_t>(lineStride < 0 ? 0u - static_cast<std::uint64_t>(lineStride)
                                                                    : static_cast<std::uint64_t>(lineStride));
    const auto needed =
        static_cast<std::int64_t>(bytesOfRow(frame_buffer.width, frame_buffer.samplesPerPixel, bitDepth));
    if (magnitude < needed)
        throw std::runtime_error("Ravelo decoder: insufficient line stride given.");

    frame_buffer.pixels = static_cast<std::uint8_t*>(pixels);
    frame_buffer.lineStride = lineStride;
}

// All but address and stride.
void Frame::describeOutput() {
    frame_buffer.samplesPerPixel = samplesPerPixel();
    frame_buffer.width = reduced(horizontal_size, downSampleFactor);
    frame_buffer.height = reduced(vertical_size, downSampleFactor);
    frame_buffer.frameHeight = vertical_size;
    frame_buffer.downSampleFactor = downSampleFactor;
    frame_buffer.colorCoding = colorCoding;
    frame_buffer.color_primaries = color_primaries;
    frame_buffer.transfer_characteristic = transfer_characteristic;
    frame_buffer.matrix_coefficients = matrix_coefficients;
    frame_buffer.bitDepth = bitDepth;
    frame_buffer.alpha_channel_type = alpha_channel_type;
}

PixelBuffer Frame::GetFrameInfo(Bitstream frameBits, std::uint32_t bitDepth, std::uint32_t downSampleFactor) {
    const FrameHeader header = frame_header(frameBits);
    PixelBuffer info;
    info.width = reduced(header.horizontal_size, downSampleFactor);
    info.height = reduced(header.vertical_size, downSampleFactor);
    info.samplesPerPixel = header.samplesPerPixel();
    info.lineStride = static_cast<std::int64_t>(bytesOfRow(info.width, info.samplesPerPixel, bitDepth));
    info.downSampleFactor = downSampleFactor;
    info.bitDepth = bitDepth;
    info.alpha_channel_type = header.alpha_channel_type;
    return info;
}
