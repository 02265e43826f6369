#pragma once

#include <cstdint>

#include "OptimizationTarget.h"
#include "PixelBuffer.h"

/// The entry to the library. Both calls need no object, keep no state and may run on any number of threads at once.
class RaveloDecoderInterface {
public:
    /// Decodes one compressed frame into memory that the caller owns, and returns 1.
    ///
    /// @param data  the compressed frame, from its first byte. Only [data, data + size) is read.
    /// @param size  bytes available at `data`. Fields that lie beyond it read as zero. A slice whose data are damaged
    ///     or missing is skipped without an error and leaves its rectangle of the output unchanged.
    /// @param downSampleFactor  the reduction: 0 full size, 1 half, 2 quarter, 3 eighth. Reduced pictures have 8 bits:
    ///     with a greater depth, 1 to 3 raise no error but write pixels that form no picture. Above 3 nothing is
    ///     written, at any depth.
    /// @param colorCoding  the coding of the output. 4:2:2 frames support ColorCoding_YCbCr only.
    /// @param bitDepth  bits of an output sample: 8 (one byte), 10, 15 (maximum 32768) or 16 (two bytes, native order).
    /// @param pixels  the address of the first (top) line of the output. No alignment is required. Large pictures of
    ///     16-bit samples are written faster where this address and the stride are multiples of 64 bytes.
    /// @param lineStride  bytes from one line to the next; negative where the picture runs towards lower addresses. Its
    ///     magnitude must be at least width * samplesPerPixel * bytes of a sample, with the width of the reduced
    ///     picture.
    /// @param target  the requested code path. Values above 0 run OptimizationTarget::AVX2 where the processor can,
    ///     otherwise OptimizationTarget::Baseline; values of 0 and below run Baseline.
    ///
    /// **The output buffer.** Line y of a picture of `height` lines starts at pixels + y * lineStride. At full size
    /// nothing outside the first `width` pixels of each line is written. At a reduced size the last macroblock of a row
    /// is written whole, so up to 15 >> downSampleFactor pixels to the right of the picture are written too, and the
    /// end of the last line needs room for them. Where the stride has no room for them, they fall on the start of
    /// another line, and the picture's own pixels are written after them; but the second field of a frame damages the
    /// finished lines of the first in this way, so a frame of two fields needs that room in the stride. A 4:2:2 frame
    /// at eighth size writes the first line of every macroblock row, which may be one line more than the picture has,
    /// or two where it has two fields. bufferRequirements() in BufferRequirements.h returns the numbers.
    ///
    /// **The pixels.**
    ///
    /// | frame | coding | samples |
    /// |---|---|---|
    /// | 4:2:2 | YCbCr | Cb Y Cr Y for two pixels; a row of odd width ends in Cb Y |
    /// | 4:4:4 | YCbCr | A Y Cb Cr |
    /// | 4:4:4 | RGB | A R G B |
    ///
    /// **Errors.** Throws std::runtime_error, before any pixel is written, with one of these texts:
    /// - "RGB output for 4:2:2 frames is not supported by Ravelo decoder."
    /// - "Ravelo decoder: insufficient line stride given."
    /// - "Unsupported bit depth in PixelBuffer"
    ///
    /// Throws std::bad_alloc when memory is exhausted; some slices may then have been written.
    ///
    /// **Threads.** The calling thread decodes together with threads of the library, as far as its oneTBB arena and
    /// tbb::global_control allow. It needs at most 64 KiB of stack.
    static int DecompressFrameFromBits(const std::uint8_t* data, std::uint64_t size, std::uint32_t downSampleFactor,
                                       ColorCoding colorCoding, std::uint32_t bitDepth, void* pixels,
                                       std::int64_t lineStride, OptimizationTarget target);

    /// Returns 1 if the processor and the operating system can run OptimizationTarget::AVX2, otherwise 0. Never fails.
    static int GetMaxOptType();
};
