#pragma once

#include <cstdint>
#include <vector>

/// The chroma formats that a frame can carry, under their stream values.
enum class ChromaFormat : std::uint32_t { C422 = 2, C444 = 3 };

/// A planar YCbCr picture, the input of the encoder.
///
/// Each plane holds its rows from the top, without padding. Chroma planes of C422 are (width + 1) / 2 samples wide and
/// as high as luma; those of C444 have the size of luma.
struct SourcePicture {
    std::uint32_t width = 0;                        ///< pixels, 1 to 65535
    std::uint32_t height = 0;                       ///< lines, 1 to 65535, both fields together
    ChromaFormat chromaFormat = ChromaFormat::C422; ///< 4:2:2 or 4:4:4
    std::uint32_t bitDepth = 8;       ///< 8 to 16; the codes of y, cb and cr run from 0 to (1 << bitDepth) - 1
    std::vector<std::uint16_t> y;     ///< luma
    std::vector<std::uint16_t> cb;    ///< blue difference
    std::vector<std::uint16_t> cr;    ///< red difference
    std::uint32_t alphaBits = 0;      ///< 0 no alpha plane, 8 or 16
    std::vector<std::uint16_t> alpha; ///< codes of alphaBits bits; empty without alpha

    /// Samples of a line of a chroma plane.
    std::uint32_t chromaWidth() const { return chromaFormat == ChromaFormat::C444 ? width : (width + 1) / 2; }
};
