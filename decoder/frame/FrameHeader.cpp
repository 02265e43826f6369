#include "FrameHeader.h"

#include "Frame.h"

namespace {

// When the data runs out, the cursor stops one past the last byte and the rest of the matrix repeats the byte there,
// which counts as zero.
void readMatrix(Bitstream& bits, std::uint8_t (&matrix)[FrameHeader::kMatrixBytes]) {
    for (std::uint8_t& entry : matrix) {
        entry = static_cast<std::uint8_t>(bits.byteAt(0));
        bits.advance(1);
    }
}

void copyMatrix(const std::uint8_t* source, std::uint8_t (&quant)[FrameHeader::kMatrixBytes]) {
    for (std::uint32_t i = 0; i < FrameHeader::kMatrixBytes; ++i)
        quant[i] = source[i];
}

void readMatrices(Bitstream bits, FrameHeader& header) {
    if (header.load_luma_matrix == 1)
        readMatrix(bits, header.raw_luma_matrix);
    if (header.load_chroma_matrix == 1)
        readMatrix(bits, header.raw_chroma_matrix);

    // A frame without a chroma matrix uses its luma matrix for chroma too, whichever that is.
    copyMatrix(header.load_luma_matrix == 1 ? header.raw_luma_matrix : Frame::s_defaultQuantizationMatrix,
               header.luma_quant);
    copyMatrix(header.load_chroma_matrix == 1 ? header.raw_chroma_matrix : header.luma_quant, header.chroma_quant);
}

} // namespace

// Defined here because only the parser uses it, and programs link the parser without the rest of a frame.
const std::uint8_t Frame::s_defaultQuantizationMatrix[64] = {
    4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4,
    4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4,
};

FrameHeader FrameHeader::frame_header(Bitstream const& frameBits) {
    Bitstream bits = frameBits;
    bits.advance(kOuterWordBytes);
    FrameHeader header;
    header.outer_word_0 = frameBits.word32At(0);
    header.outer_word_1 = frameBits.word32At(4);
    header.header_size = bits.word16At(0);
    header.header_byte_3 = bits.byteAt(3);
    header.header_word_4 = bits.word32At(4);
    header.horizontal_size = bits.word16At(8);
    header.vertical_size = bits.word16At(10);
    header.chroma_format = bits.byteAt(12) >> 6;
    header.interlace_mode = bits.byteAt(12) >> 2 & 3;
    header.header_nibble_13_high = bits.byteAt(13) >> 4;
    header.header_nibble_13_low = bits.byteAt(13) & 15;
    header.color_primaries = bits.byteAt(14);
    header.transfer_characteristic = bits.byteAt(15);
    header.matrix_coefficients = bits.byteAt(16);
    header.alpha_channel_type = bits.byteAt(17) & 15;
    header.load_luma_matrix = bits.byteAt(19) >> 1 & 1;
    header.load_chroma_matrix = bits.byteAt(19) & 1;
    bits.advance(kFixedHeaderBytes);
    readMatrices(bits, header);
    return header;
}

std::uint32_t FrameHeader::linesOfPicture(TemporalOrder order) const {
    if (interlace_mode == 0)
        return vertical_size;
    // The even lines of an odd number belong to the field with one line more, whichever is coded first. A single field
    // has the lesser number although it takes the even lines.
    const bool takesOddLines = interlace_mode == 3 || firstLineOfPicture(order) == 1;
    return takesOddLines ? vertical_size / 2 : (vertical_size + 1) / 2;
}

std::uint32_t FrameHeader::firstLineOfPicture(TemporalOrder order) const {
    return interlace_mode == (order == TemporalOrder::First ? 2u : 1u) ? 1 : 0;
}
