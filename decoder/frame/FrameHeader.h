#pragma once

#include <cstdint>

#include "Bitstream.h"

/// First or second coded picture of a frame.
enum class TemporalOrder : std::uint32_t { First = 0, Second = 1 };

/// The header of a compressed frame, with the two words before it. Nothing in it is checked.
struct FrameHeader {
    static constexpr std::uint32_t kOuterWordBytes = 8;    ///< bytes before the header: the two outer words
    static constexpr std::uint32_t kFixedHeaderBytes = 20; ///< bytes of the header before the matrices
    static constexpr std::uint32_t kMatrixBytes = 64;      ///< bytes of one matrix

    std::uint32_t outer_word_0 = 0;            ///< the frame's first four bytes; nothing depends on them
    std::uint32_t outer_word_1 = 0;            ///< the next four bytes; nothing depends on them
    std::uint32_t header_size = 0;             ///< bytes from the end of the outer words to the first picture
    std::uint32_t header_byte_3 = 0;           ///< nothing depends on it
    std::uint32_t header_word_4 = 0;           ///< nothing depends on it
    std::uint32_t horizontal_size = 0;         ///< pixels of a line at full size
    std::uint32_t vertical_size = 0;           ///< lines at full size, both fields together
    std::uint32_t chroma_format = 0;           ///< 3 is 4:4:4; every other value is taken as 4:2:2
    std::uint32_t interlace_mode = 0;          ///< 0 one picture, 1 and 2 two fields, 3 one field
    std::uint32_t header_nibble_13_high = 0;   ///< nothing depends on it
    std::uint32_t header_nibble_13_low = 0;    ///< nothing depends on it
    std::uint32_t color_primaries = 0;         ///< handed on to the PixelBuffer; nothing else depends on it
    std::uint32_t transfer_characteristic = 0; ///< handed on to the PixelBuffer; nothing else depends on it
    std::uint32_t matrix_coefficients = 0;     ///< the matrix of RGB output: 1 BT.709, 6 BT.601, 9 BT.2020
    std::uint32_t alpha_channel_type = 0;      ///< 0 none; otherwise every slice holds an alpha plane
    std::uint32_t load_luma_matrix = 0;        ///< 1: the header contains a luma matrix
    std::uint32_t load_chroma_matrix = 0;      ///< 1: the header contains a chroma matrix
    std::uint8_t raw_luma_matrix[64] = {};     ///< as read; zeros without load_luma_matrix
    std::uint8_t raw_chroma_matrix[64] = {};   ///< as read; zeros without load_chroma_matrix
    std::uint8_t luma_quant[64] = {};          ///< the luma matrix in use
    std::uint8_t chroma_quant[64] = {};        ///< the chroma matrix in use

    /// Reads the header of the frame at `frameBits`. Bytes that are missing read as zero. The matrices are the only
    /// fields beyond the first 28 bytes.
    static FrameHeader frame_header(Bitstream const& frameBits);

    /// True for 4:4:4, with or without alpha.
    bool is444() const { return chroma_format == 3; }

    /// Samples of a pixel of the output, alpha included.
    std::uint32_t samplesPerPixel() const { return is444() ? 4 : 2; }

    /// True where the alpha plane reaches the output. 4:2:2 frames may carry one too, but it does not.
    bool hasAlphaOutput() const { return is444() && alpha_channel_type != 0; }

    /// Pixels at full size.
    std::uint64_t numPixels() const { return std::uint64_t{horizontal_size} * vertical_size; }

    /// Bytes from the start of the frame to the first picture.
    std::uint32_t firstPictureOffset() const { return kOuterWordBytes + header_size; }

    /// True for two fields. One field alone, interlace_mode 3, is a single picture.
    bool hasSecondPicture() const { return interlace_mode == 1 || interlace_mode == 2; }

    /// Lines of a picture at full size.
    std::uint32_t linesOfPicture(TemporalOrder order) const;

    /// The line of the output on which a picture starts, 0 or 1.
    std::uint32_t firstLineOfPicture(TemporalOrder order) const;

    /// Lines of the output from one line of a picture to the next: 2 for a field.
    std::uint32_t lineStepOfPicture() const { return interlace_mode == 0 ? 1 : 2; }

    /// Macroblocks of a row.
    std::uint32_t widthInMb() const { return (horizontal_size + 15) / 16; }

    /// Rows of macroblocks of a picture.
    std::uint32_t heightInMb(TemporalOrder order) const { return (linesOfPicture(order) + 15) / 16; }
};
