#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "FrameHeader.h"
#include "OptimizationTarget.h"
#include "PictureOutput.h"
#include "PixelBuffer.h"

class DecodeMonitor;

/// One compressed frame. The constructor does the whole decode: it parses the header, checks the request and decodes
/// the picture, or the two field pictures, into the caller's buffer. A host uses GetFrameInfo only.
class Frame : public FrameHeader {
public:
    /// Reads the header alone; nothing is checked or decoded.
    explicit Frame(Bitstream const& frameBits);

    /// Decodes a frame. The arguments are those of RaveloDecoderInterface::DecompressFrameFromBits, with its errors;
    /// `resolvedTarget` is one that the processor can run. `decodeMonitor`, if not null, is notified of slices that
    /// fail and may stop the decode. `maxDecodeThreads` limits the threads, the calling one included; 0 allows as many
    /// as the caller's task arena has.
    Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth, void* pixels,
          std::int64_t lineStride, OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor,
          DecodeMonitor* decodeMonitor = nullptr, std::uint32_t maxDecodeThreads = 0);

    /// Decodes a frame, or a region of it, to another form. Nothing but the region is written. `pictureOutput` outlives
    /// the constructor. Coding and depth are those of a coded form; of others the coding is YCbCr, and the depth is 8
    /// or 16, for planes 8, 10 or 16, for halves 16 at full size and 8 at a reduced one.
    Frame(Bitstream const& frameBits, PictureOutput const& pictureOutput, ColorCoding requestedCoding,
          std::uint32_t requestedBitDepth, OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor,
          DecodeMonitor* decodeMonitor = nullptr, std::uint32_t maxDecodeThreads = 0);

    /// The geometry of a frame from its header alone: nothing is decoded and nothing is checked.
    ///
    /// @param frameBits  the whole frame, or at least its first 26 bytes; bytes that are missing read as zero.
    /// @param bitDepth  the requested depth of the output in bits; above 8 a sample takes two bytes.
    /// @param downSampleFactor  the reduction, 0 to 3.
    ///
    /// Sets width and height (of the reduced picture), lineStride (the least that the decode call accepts),
    /// downSampleFactor, samplesPerPixel, bitDepth and alpha_channel_type. The other members have no meaning.
    static PixelBuffer GetFrameInfo(Bitstream frameBits, std::uint32_t bitDepth, std::uint32_t downSampleFactor);

    /// The matrix of a frame without one: 64 times 4.
    static const std::uint8_t s_defaultQuantizationMatrix[64];

    std::uint32_t downSampleFactor = 0;          ///< the requested reduction: 0 full size, 1 half, 2 quarter, 3 eighth
    Bitstream bitstream;                         ///< the cursor, which advances from picture to picture
    ColorCoding colorCoding = ColorCoding_YCbCr; ///< the requested coding
    std::uint32_t bitDepth = 0;                  ///< the requested depth
    PixelBuffer frame_buffer;                    ///< the whole output
    float luma_quant_scaled[64] = {};            ///< luma_quant / 8, exact
    float chroma_quant_scaled[64] = {};          ///< chroma_quant / 8, exact
    OptimizationTarget target = OptimizationTarget::Baseline; ///< the code path that decodes
    DecodeMonitor* monitor = nullptr;      ///< is notified of slices that fail, and may stop the decode; may be null
    std::uint32_t maxThreads = 0;          ///< 0: as many as the caller's task arena has
    const std::uint8_t* data = nullptr;    ///< the frame's first byte
    PictureOutput const* output = nullptr; ///< null where the whole picture is decoded to frame_buffer

private:
    // Takes the request and decodes nothing yet.
    Frame(Bitstream const& frameBits, ColorCoding requestedCoding, std::uint32_t requestedBitDepth,
          OptimizationTarget resolvedTarget, std::uint32_t requestedDownSampleFactor, DecodeMonitor* decodeMonitor,
          std::uint32_t maxDecodeThreads);

    void initializeFrameBuffer(void* pixels, std::int64_t lineStride);
    void describeOutput();
    void decode();
    template <OptimizationTarget resolvedTarget>
    void decodePictures();
};
