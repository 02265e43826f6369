// Pictures through the encoder and back: what it makes is valid, so the decoder writes every pixel of it.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "FrameEncoder.h"
#include "FuzzSupport.h"

namespace {

std::vector<std::uint16_t> planeFrom(FuzzInput& input, std::size_t count, std::uint32_t bits) {
    std::vector<std::uint16_t> plane(count);
    std::uint32_t value = 0;
    for (std::uint16_t& sample : plane) {
        if (!input.empty())
            value = input.byte() * 257u;
        sample = static_cast<std::uint16_t>(value >> (16 - bits));
    }
    return plane;
}

SourcePicture pictureFrom(FuzzInput& input) {
    SourcePicture picture;
    picture.width = 1 + input.below(40);
    picture.height = 1 + input.below(36);
    picture.chromaFormat = (input.byte() & 1) != 0 ? ChromaFormat::C444 : ChromaFormat::C422;
    picture.bitDepth = 8 + input.below(9);
    picture.alphaBits = 8 * input.below(3);
    const std::size_t numPixels = std::size_t{picture.width} * picture.height;
    const std::size_t numChroma = std::size_t{picture.chromaWidth()} * picture.height;
    picture.y = planeFrom(input, numPixels, picture.bitDepth);
    picture.cb = planeFrom(input, numChroma, picture.bitDepth);
    picture.cr = planeFrom(input, numChroma, picture.bitDepth);
    if (picture.alphaBits != 0)
        picture.alpha = planeFrom(input, numPixels, picture.alphaBits);
    return picture;
}

EncoderSettings settingsFrom(FuzzInput& input) {
    EncoderSettings settings;
    settings.interlace_mode = input.below(3);
    settings.log2_slice_size_in_mb = input.below(4);
    settings.quantization_index = input.byte();
    settings.alphaRunCoding = static_cast<AlphaRunCoding>(input.below(3));
    settings.picture_header_size = 8 + input.below(24);
    settings.matrix_coefficients = input.byte();
    if ((input.byte() & 1) != 0) {
        settings.lumaMatrix.emplace();
        for (std::uint8_t& entry : *settings.lumaMatrix)
            entry = static_cast<std::uint8_t>(1 + input.below(255));
    }
    return settings;
}

void requireEveryPixelWritten(std::vector<std::uint8_t> const& frame, FuzzRequest const& request) {
    const FuzzOutput first = outputFor(frame, request);
    const FuzzOutput second = outputFor(frame, request);
    std::memset(first.bytes.get(), 0x00, first.numBytes);
    std::memset(second.bytes.get(), 0xFF, second.numBytes);
    if (!decodeInto(frame, request, first))
        return;
    decodeInto(frame, request, second);
    require(std::memcmp(first.bytes.get(), second.bytes.get(), first.numBytes) == 0, "every pixel is written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    FuzzRequest request = FuzzRequest::from(input);
    request.downSampleFactor = 0;
    request.spareBytes = 0;
    const EncoderSettings settings = settingsFrom(input);
    const SourcePicture picture = pictureFrom(input);
    EncodedFrame encoded;
    try {
        encoded = encodeFrame(picture, settings);
    } catch (std::invalid_argument const&) {
        // Settings that the format cannot carry.
        return 0;
    }
    requireEveryPixelWritten(encoded.bytes, request);
    return 0;
}
