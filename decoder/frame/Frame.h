#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"
#include "PixelBuffer.h"

class DecodeMonitor;

// One compressed frame. The constructor does the whole decode: it parses the header, checks the request and has the
// picture, or the two field pictures, decoded into the caller's buffer. A host uses GetFrameInfo only.
class Frame {
public:
    // Reads the header alone; nothing is checked or decoded.
    explicit Frame(Bitstream const& frameBits);

    // The arguments are those of RaveloDecoderInterface::DecompressFrameFromBits, with its errors; `resolvedTarget` is
    // one that the processor can run. `decodeMonitor`, if any, hears of slices that fail and may stop the decode.
    // `maxDecodeThreads` limits the threads, the calling one included; 0: as many as the caller's task arena has.
    Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth, void* pixels,
          std::int64_t lineStride, OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor,
          DecodeMonitor* decodeMonitor = nullptr, std::uint32_t maxDecodeThreads = 0);

    // The geometry of a frame from its header alone: nothing is decoded and nothing is checked.
    //
    // frameBits         the whole frame, or at least its first 26 bytes; bytes that are missing read as zero.
    // bitDepth          the depth wanted of the output, in bits; above 8 a sample counts two bytes.
    // downSampleFactor  the reduction, 0 to 3.
    //
    // Filled in are width and height (of the reduced picture), lineStride (the least that the decode call accepts),
    // downSampleFactor, samplesPerPixel, bitDepth and alpha_channel_type. The other members say nothing.
    static PixelBuffer GetFrameInfo(Bitstream frameBits, std::uint32_t bitDepth, std::uint32_t downSampleFactor);

    // True for two fields. One field alone, interlace_mode 3, is a single picture.
    bool hasSecondPicture() const { return interlace_mode == 1 || interlace_mode == 2; }

    // The matrix of a frame that brings none: 64 times 4.
    static const std::uint8_t s_defaultQuantizationMatrix[64];

    std::uint32_t outer_word_0 = 0;
    std::uint32_t outer_word_1 = 0;
    std::uint32_t header_size = 0; // bytes
    std::uint32_t header_byte_3 = 0;
    std::uint32_t header_word_4 = 0;
    std::uint32_t horizontal_size = 0; // pixels at full size
    std::uint32_t vertical_size = 0;   // lines at full size, both fields together
    std::uint32_t downSampleFactor = 0;
    std::uint32_t chroma_format = 0;  // 3 is 4:4:4; every other value is taken as 4:2:2
    std::uint32_t interlace_mode = 0; // 0 one picture, 1 and 2 two fields, 3 one field
    std::uint32_t header_nibble_13_high = 0;
    std::uint32_t header_nibble_13_low = 0;
    std::uint32_t color_primaries = 0;
    std::uint32_t transfer_characteristic = 0;
    std::uint32_t matrix_coefficients = 0;
    std::uint32_t alpha_channel_type = 0; // 0 none; otherwise every slice holds an alpha plane
    std::uint32_t load_luma_matrix = 0;
    std::uint32_t load_chroma_matrix = 0;
    std::uint8_t raw_luma_matrix[64] = {};
    std::uint8_t raw_chroma_matrix[64] = {};
    Bitstream bitstream; // at the first picture
    ColorCoding colorCoding = ColorCoding_YCbCr;
    std::uint32_t bitDepth = 0;
    PixelBuffer frame_buffer;
    std::uint8_t luma_quant[64] = {};
    std::uint8_t chroma_quant[64] = {};
    float luma_quant_scaled[64] = {};   // luma_quant / 8, exact
    float chroma_quant_scaled[64] = {}; // chroma_quant / 8, exact
    OptimizationTarget target = OptimizationTarget::Baseline;
    DecodeMonitor* monitor = nullptr;
    std::uint32_t maxThreads = 0;       // 0: as many as the caller's task arena has
    const std::uint8_t* data = nullptr; // the frame's first byte

private:
    void frame_header();
    void initializeFrameBuffer(void* pixels, std::int64_t lineStride);
    template <OptimizationTarget resolvedTarget>
    void decodePictures();
};
