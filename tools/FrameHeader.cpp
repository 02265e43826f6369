#include "FrameHeader.h"

#include <algorithm>
#include <numeric>

#include "Bitstream.h"
#include "CommandError.h"
#include "Frame.h"
#include "Limits.h"
#include "SliceReads.h"

namespace {

constexpr std::uint64_t kHeaderOffset = 8;
constexpr std::uint64_t kFixedHeaderBytes = 20;
constexpr std::uint64_t kLargestHeaderBytes = kFixedHeaderBytes + 2 * 64; // with both matrices
constexpr std::uint32_t kFixedPictureHeaderBytes = 8;

Bitstream cursorAt(std::span<const std::uint8_t> frame, std::uint64_t offset) {
    Bitstream cursor{frame.data(), frame.size()};
    cursor.advance(offset);
    return cursor;
}

std::array<std::uint8_t, 64> matrixAt(Bitstream const& header, std::uint64_t offset) {
    std::array<std::uint8_t, 64> matrix;
    for (std::size_t i = 0; i < matrix.size(); ++i)
        matrix[i] = static_cast<std::uint8_t>(header.byteAt(offset + i));
    return matrix;
}

void parseMatrices(Bitstream const& bits, FrameHeader& header) {
    std::copy_n(Frame::s_defaultQuantizationMatrix, header.lumaMatrix.size(), header.lumaMatrix.begin());
    if (header.load_luma_matrix)
        header.lumaMatrix = matrixAt(bits, kFixedHeaderBytes);
    header.chromaMatrix = header.lumaMatrix;
    if (header.load_chroma_matrix)
        header.chromaMatrix = matrixAt(bits, kFixedHeaderBytes + (header.load_luma_matrix ? 64 : 0));
}

// The lines of a picture. The even lines of an odd height make one line more than the odd ones.
std::uint32_t linesOfPicture(FrameHeader const& header, bool isFirst) {
    const std::uint32_t lines = header.vertical_size;
    if (header.interlace_mode == 0)
        return lines;
    const bool evenLines = isFirst == (header.interlace_mode == 1);
    return header.interlace_mode != 3 && evenLines ? (lines + 1) / 2 : lines / 2;
}

// A row of macroblocks is cut into as many of the largest slices as fit, then at most one of each smaller power of two.
std::vector<std::uint32_t> slicesOfRow(std::uint32_t widthInMb, std::uint32_t largest) {
    std::vector<std::uint32_t> sizes;
    for (std::uint32_t left = widthInMb; left != 0; largest /= 2) {
        sizes.insert(sizes.end(), left / largest, largest);
        left %= largest;
    }
    return sizes;
}

PictureHeader parsePictureHeader(std::span<const std::uint8_t> frame, std::uint64_t offset, FrameHeader const& header,
                                 bool isFirst) {
    const Bitstream bits = cursorAt(frame, offset);
    PictureHeader picture;
    picture.offset = std::min<std::uint64_t>(offset, frame.size());
    picture.picture_header_size = bits.byteAt(0) >> 3;
    picture.picture_size = bits.word32At(1);
    picture.log2_slice_size_in_mb = (bits.byteAt(7) >> 4) & 3;
    picture.vertical_size = linesOfPicture(header, isFirst);
    picture.width_in_mb = (header.horizontal_size + 15) / 16;
    picture.height_in_mb = (picture.vertical_size + 15) / 16;
    picture.slice_size_in_mb = slicesOfRow(picture.width_in_mb, 1u << picture.log2_slice_size_in_mb);

    const std::size_t numSlices = picture.slice_size_in_mb.size() * picture.height_in_mb;
    // Entries past the end of the frame are 0, and a frame of few bytes may declare a million.
    picture.coded_size_of_slice.assign(numSlices, 0);
    const std::size_t numPresent = std::min<std::size_t>(numSlices, (frame.size() - picture.offset + 1) / 2);
    for (std::size_t i = 0; i < numPresent; ++i)
        picture.coded_size_of_slice[i] = bits.word16At(picture.picture_header_size + 2 * i);
    return picture;
}

} // namespace

FrameHeader parseFrameHeader(std::span<const std::uint8_t> frame) {
    const Bitstream outer = cursorAt(frame, 0);
    const Bitstream bits = cursorAt(frame, kHeaderOffset);
    FrameHeader header;
    header.outer_word_0 = outer.word32At(0);
    header.outer_word_1 = outer.word32At(4);
    header.header_size = bits.word16At(0);
    header.header_byte_3 = bits.byteAt(3);
    header.header_word_4 = bits.word32At(4);
    header.horizontal_size = bits.word16At(8);
    header.vertical_size = bits.word16At(10);
    header.chroma_format = bits.byteAt(12) >> 6;
    header.interlace_mode = (bits.byteAt(12) >> 2) & 3;
    header.header_nibble_13_high = bits.byteAt(13) >> 4;
    header.header_nibble_13_low = bits.byteAt(13) & 15;
    header.color_primaries = bits.byteAt(14);
    header.transfer_characteristic = bits.byteAt(15);
    header.matrix_coefficients = bits.byteAt(16);
    header.alpha_channel_type = bits.byteAt(17) & 15;
    header.load_luma_matrix = (bits.byteAt(19) >> 1) & 1;
    header.load_chroma_matrix = bits.byteAt(19) & 1;
    parseMatrices(bits, header);
    return header;
}

std::vector<PictureHeader> parsePictureHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header) {
    const std::uint64_t firstOffset = kHeaderOffset + header.header_size;
    std::vector<PictureHeader> pictures = {parsePictureHeader(frame, firstOffset, header, true)};
    if (header.interlace_mode == 1 || header.interlace_mode == 2)
        pictures.push_back(parsePictureHeader(frame, firstOffset + pictures[0].picture_size, header, false));
    return pictures;
}

namespace {

std::uint32_t leftOf(std::uint32_t whole, std::uint64_t parts) {
    return parts < whole ? static_cast<std::uint32_t>(whole - parts) : 0;
}

void parseSizes(Bitstream const& bits, bool withAlpha, SliceHeader& slice) {
    slice.slice_header_size = bits.byteAt(0) >> 3;
    slice.quantization_index = bits.byteAt(1);
    slice.coded_size_y = bits.word16At(2);
    slice.coded_size_cb = bits.word16At(4);
    const std::uint64_t parts = std::uint64_t{slice.slice_header_size} + slice.coded_size_y + slice.coded_size_cb;
    slice.coded_size_cr = withAlpha ? bits.word16At(6) : leftOf(slice.coded_size, parts);
    slice.alphaBytes = withAlpha ? leftOf(slice.coded_size, parts + slice.coded_size_cr) : 0;
}

} // namespace

std::vector<SliceHeader> parseSliceHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header,
                                           PictureHeader const& picture) {
    std::vector<SliceHeader> slices(picture.coded_size_of_slice.size());
    const std::size_t numColumns = picture.slice_size_in_mb.size();
    std::uint64_t offset = picture.offset + picture.picture_header_size + 2 * slices.size();
    std::uint32_t firstMb = 0;
    for (std::size_t i = 0; i < slices.size(); ++i) {
        SliceHeader& slice = slices[i];
        slice.row = static_cast<std::uint32_t>(i / numColumns);
        slice.column = static_cast<std::uint32_t>(i % numColumns);
        firstMb = slice.column == 0 ? 0 : firstMb;
        slice.firstMb = firstMb;
        slice.numMbs = picture.slice_size_in_mb[slice.column];
        firstMb += slice.numMbs;
        slice.offset = std::min<std::uint64_t>(offset, frame.size());
        slice.coded_size = picture.coded_size_of_slice[i];
        parseSizes(cursorAt(frame, slice.offset), header.alpha_channel_type != 0, slice);
        offset += slice.coded_size;
    }
    return slices;
}

std::uint64_t declaredHeaderBytes(std::span<const std::uint8_t> frame) {
    return kHeaderOffset + parseFrameHeader(frame).header_size;
}

std::uint64_t declaredFrameBytes(std::span<const std::uint8_t> frame) {
    const FrameHeader header = parseFrameHeader(frame);
    std::uint64_t pictureStart = kHeaderOffset + header.header_size;
    // The fields and the matrices are read even where the header says that it is shorter.
    std::uint64_t declared = kHeaderOffset + std::max<std::uint64_t>(header.header_size, kLargestHeaderBytes);
    for (PictureHeader const& picture : parsePictureHeaders(frame, header)) {
        const std::uint64_t headerBytes = std::max(picture.picture_header_size, kFixedPictureHeaderBytes);
        const std::uint64_t sliceBytes =
            std::accumulate(picture.coded_size_of_slice.begin(), picture.coded_size_of_slice.end(), std::uint64_t{0});
        declared = std::max(declared, pictureStart + headerBytes + 2 * picture.coded_size_of_slice.size() + sliceBytes);
        pictureStart += picture.picture_size;
    }
    return declared;
}

void checkFrame(std::string const& name, std::span<const std::uint8_t> frame, std::uint64_t maxPixels) {
    if (frame.size() < kMinFrameBytes)
        throw failure("{} is no frame: it has {} bytes, and a header alone takes {}", name, frame.size(),
                      kMinFrameBytes);
    const FrameHeader header = parseFrameHeader(frame);
    if (frame.size() < kHeaderOffset + header.header_size)
        throw failure("{} is no frame, or cut off: it has {} bytes, and its header says that it takes {} alone", name,
                      frame.size(), kHeaderOffset + header.header_size);
    checkNumPixels(name, header.horizontal_size, header.vertical_size, maxPixels);
}

void checkReads(std::string const& name, std::span<const std::uint8_t> frame, std::uint32_t maxReadFactor) {
    const std::uint64_t allowed = maxReadFactor * std::uint64_t{frame.size()};
    if (maxReadFactor != 0 && bytesReadBySlices({frame.data(), frame.size()}, allowed) > allowed)
        throw limitExceeded(
            "{}: its slices read more than {} bytes, {} times its size of {} (--max-read-factor 0 lifts "
            "the limit)",
            name, allowed, maxReadFactor, frame.size());
}
