#pragma once

#include <cstdint>

#include "Bitstream.h"

/// What one decode call requires of its output buffer.
///
/// The two strides differ because of the right edge of reduced pictures. The decode call checks the stride against the
/// width of the reduced picture, but it writes whole macroblocks: with a width of 1000 pixels at half size the picture
/// is 500 pixels wide, and 504 are written in each line. With `leastStride` those four pixels fall on the start of the
/// next line, or of the one before in a buffer with a negative stride. The decode writes the picture's own pixels after
/// them, so a picture is whole with any stride, with one exception that no order can cure: the second field of a frame
/// is decoded when the first is finished, and leaves such pixels at the start of the first field's lines. With
/// `safeStride` or more, each line keeps to itself.
///
/// There may be one line more than the picture has, too, and two where it has two fields: a 4:2:2 frame at eighth size
/// writes the first line of every macroblock row, even where the reduced picture ends above it.
struct BufferRequirements {
    std::uint64_t leastStride = 0; ///< bytes; the least magnitude of a stride that the decode call accepts
    std::uint64_t safeStride = 0;  ///< bytes; from this magnitude on, no write leaves its own line
    std::uint64_t lines = 0;       ///< lines that may be written, counted from the picture's first
    std::uint64_t bytes = 0;       ///< lines * safeStride: the size of a buffer with that stride
};

/// Returns the requirements of a decode call.
///
/// @param frameBits  the whole frame, or at least its first 26 bytes.
/// @param bitDepth  the depth of the decode call: 8, 10, 15 or 16 bits.
/// @param downSampleFactor  the reduction of the decode call, 0 to 3. With more than 8 bits, where a reduced
///     decode writes pixels that form no picture, the numbers are those of the full width and hold all the same.
BufferRequirements bufferRequirements(Bitstream const& frameBits, std::uint32_t bitDepth,
                                      std::uint32_t downSampleFactor);
