#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "ColorMatrix.h"
#include "DecodedFrame.h"
#include "FilePart.h"

// How the RGB of a picture is to be.
struct RgbForm {
    bool videoRange = false;    // of a frame that is decoded to Y'CbCr; other RGB is taken as it is
    std::uint32_t bitDepth = 0; // that of the frame, or 10 or 15 for a frame decoded with 16; 0: that of the frame
};

// Turns samples of two bytes in the order of the processor into samples with the high byte first.
void putHighBytesFirst(std::span<std::uint8_t> samples);

// The lines of a decoded frame for viewers: R G B, or R G B A where the frame has alpha, pixel after pixel. RGB of the
// library is only put in order. Y'CbCr is converted with the matrix that the frame names, with chroma interpolated to
// all columns in 4:2:2.
class RgbRows {
public:
    // Of halves only their order is known here: their bytesPerSample() is 2, and they have no greatest value.
    explicit RgbRows(DecodedFrame const& frame, RgbForm const& form = {}, std::uint32_t mostChannels = 4);

    std::uint32_t width() const { return m_frame.width(); }
    std::uint32_t height() const { return m_frame.height(); }
    std::uint32_t channels() const { return m_channels; }
    std::uint32_t maxValue() const { return m_maxValue; }
    std::uint32_t bytesPerSample() const { return m_frame.bytesPerSample(); }
    std::size_t rowBytes() const { return std::size_t{width()} * channels() * bytesPerSample(); }
    std::size_t bytes() const { return rowBytes() * height(); }

    // Writes rowBytes() bytes, samples of two bytes in the order of the processor.
    void copyRow(std::uint32_t y, std::uint8_t* target);

    // Writes a header and all lines, some at a time, which stay in the cache meanwhile.
    void write(std::string_view header, bool highByteFirst, ByteSink const& sink);

private:
    void convertRow(std::uint32_t y, std::uint8_t* target);
    std::uint16_t codeOf(float value) const;

    DecodedFrame const& m_frame;
    std::uint32_t m_channels;
    std::uint32_t m_maxValue;
    bool m_videoRange;
    ColorMatrix m_matrix;
    StudioRange m_range;
    std::vector<std::uint16_t> m_samples;       // of one line, as decoded
    std::vector<std::uint16_t> m_y, m_cb, m_cr; // of one line, chroma in all columns
    std::vector<std::uint16_t> m_codes;         // of one line, converted
};
