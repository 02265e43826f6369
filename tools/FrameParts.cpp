#include "FrameParts.h"

#include <algorithm>

#include "Bitstream.h"
#include "CommandError.h"
#include "Limits.h"
#include "ravelo.hpp"

namespace {

constexpr std::uint64_t kLargestHeaderBytes = FrameHeader::kFixedHeaderBytes + 2 * FrameHeader::kMatrixBytes;
constexpr std::uint32_t kFixedPictureHeaderBytes = 8;

Bitstream cursorAt(std::span<const std::uint8_t> frame, std::uint64_t offset) {
    Bitstream cursor{frame.data(), frame.size()};
    cursor.advance(offset);
    return cursor;
}

std::vector<std::uint32_t> slicesOfRow(RowDivision const& division) {
    std::vector<std::uint32_t> sizes(division.slicesPerRow());
    for (std::uint32_t column = 0; column < sizes.size(); ++column)
        sizes[column] = division.sliceSizeInMb(column);
    return sizes;
}

CodedPicture parsePicture(std::span<const std::uint8_t> frame, std::uint64_t offset, FrameHeader const& header,
                          TemporalOrder order) {
    const Bitstream bits = cursorAt(frame, offset);
    CodedPicture picture;
    static_cast<PictureHeader&>(picture) = PictureHeader::picture_header(bits);
    picture.offset = std::min<std::uint64_t>(offset, frame.size());
    picture.vertical_size = header.linesOfPicture(order);
    picture.width_in_mb = header.widthInMb();
    picture.height_in_mb = header.heightInMb(order);
    picture.slice_size_in_mb = slicesOfRow(RowDivision(picture.width_in_mb, picture.log2_slice_size_in_mb));
    return picture;
}

// Calls `take` with the number and the bytes of each slice whose entry of the table begins within the frame.
template <class Take>
void forEachEntry(std::span<const std::uint8_t> frame, CodedPicture const& picture, Take const& take) {
    const Bitstream bits = cursorAt(frame, picture.offset);
    const std::size_t numPresent = std::min<std::size_t>(picture.numSlices(), (frame.size() - picture.offset + 1) / 2);
    for (std::size_t i = 0; i < numPresent; ++i)
        take(i, bits.word16At(picture.picture_header_size + 2 * i));
}

} // namespace

FrameHeader parseFrameHeader(std::span<const std::uint8_t> frame) {
    return FrameHeader::frame_header(cursorAt(frame, 0));
}

std::vector<CodedPicture> parsePictureHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header) {
    const std::uint64_t firstOffset = header.firstPictureOffset();
    std::vector<CodedPicture> pictures = {parsePicture(frame, firstOffset, header, TemporalOrder::First)};
    if (header.hasSecondPicture())
        pictures.push_back(parsePicture(frame, firstOffset + pictures[0].picture_size, header, TemporalOrder::Second));
    return pictures;
}

std::vector<std::uint32_t> parseSliceTable(std::span<const std::uint8_t> frame, CodedPicture const& picture) {
    std::vector<std::uint32_t> table(picture.numSlices());
    forEachEntry(frame, picture, [&](std::size_t slice, std::uint32_t numBytes) { table[slice] = numBytes; });
    return table;
}

std::uint64_t declaredSliceBytes(std::span<const std::uint8_t> frame, CodedPicture const& picture) {
    std::uint64_t sum = 0;
    forEachEntry(frame, picture, [&](std::size_t, std::uint32_t numBytes) { sum += numBytes; });
    return sum;
}

namespace {

std::uint32_t leftOf(std::uint32_t whole, std::uint64_t parts) {
    return parts < whole ? static_cast<std::uint32_t>(whole - parts) : 0;
}

void parseSizes(Bitstream const& bits, bool withAlpha, CodedSlice& slice) {
    slice.slice_header_size = bits.byteAt(0) >> 3;
    slice.quantization_index = bits.byteAt(1);
    slice.coded_size_y = bits.word16At(2);
    slice.coded_size_cb = bits.word16At(4);
    const std::uint64_t parts = std::uint64_t{slice.slice_header_size} + slice.coded_size_y + slice.coded_size_cb;
    slice.coded_size_cr = withAlpha ? bits.word16At(6) : leftOf(slice.coded_size, parts);
    slice.alphaBytes = withAlpha ? leftOf(slice.coded_size, parts + slice.coded_size_cr) : 0;
}

} // namespace

std::vector<CodedSlice> parseSliceHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header,
                                          CodedPicture const& picture) {
    const std::vector<std::uint32_t> table = parseSliceTable(frame, picture);
    std::vector<CodedSlice> slices(table.size());
    const std::size_t numColumns = picture.slice_size_in_mb.size();
    std::uint64_t offset = picture.offset + picture.picture_header_size + 2 * slices.size();
    std::uint32_t firstMb = 0;
    for (std::size_t i = 0; i < slices.size(); ++i) {
        CodedSlice& slice = slices[i];
        slice.row = static_cast<std::uint32_t>(i / numColumns);
        slice.column = static_cast<std::uint32_t>(i % numColumns);
        firstMb = slice.column == 0 ? 0 : firstMb;
        slice.firstMb = firstMb;
        slice.numMbs = picture.slice_size_in_mb[slice.column];
        firstMb += slice.numMbs;
        slice.offset = std::min<std::uint64_t>(offset, frame.size());
        slice.coded_size = table[i];
        parseSizes(cursorAt(frame, slice.offset), header.alpha_channel_type != 0, slice);
        offset += slice.coded_size;
    }
    return slices;
}

std::uint64_t declaredHeaderBytes(std::span<const std::uint8_t> frame) {
    return parseFrameHeader(frame).firstPictureOffset();
}

std::uint64_t declaredFrameBytes(std::span<const std::uint8_t> frame) {
    const FrameHeader header = parseFrameHeader(frame);
    std::uint64_t pictureStart = header.firstPictureOffset();
    // The fields and the matrices are read even where the header says that it is shorter.
    std::uint64_t declared =
        FrameHeader::kOuterWordBytes + std::max<std::uint64_t>(header.header_size, kLargestHeaderBytes);
    for (CodedPicture const& picture : parsePictureHeaders(frame, header)) {
        const std::uint64_t headerBytes = std::max(picture.picture_header_size, kFixedPictureHeaderBytes);
        declared = std::max(declared,
                            pictureStart + headerBytes + 2 * picture.numSlices() + declaredSliceBytes(frame, picture));
        pictureStart += picture.picture_size;
    }
    return declared;
}

void checkFrame(std::string const& name, std::span<const std::uint8_t> frame, std::uint64_t maxPixels) {
    // An empty file has no address.
    const std::uint8_t nothing = 0;
    const ravelo_frame_check check = ravelo::checkFrame({frame.empty() ? &nothing : frame.data(), frame.size()});
    if (check.verdict == RAVELO_FRAME_FOREIGN || frame.size() < kMinFrameBytes)
        throw failure("{}: {}", name, check.text);
    const FrameHeader header = parseFrameHeader(frame);
    if (frame.size() < header.firstPictureOffset())
        throw failure("{}: cut off at byte {} of {}", name, frame.size(), header.firstPictureOffset());
    checkNumPixels(name, header.horizontal_size, header.vertical_size, maxPixels);
}

ravelo_buffer_requirements bufferRequirements(std::span<const std::uint8_t> frame, std::uint32_t bitDepth,
                                              std::uint32_t downSampleFactor) {
    ravelo::Options options;
    options.bitDepth = bitDepth;
    options.reduction = downSampleFactor;
    options.maxPixels = RAVELO_NO_PIXEL_LIMIT;
    options.maxReadFactor = RAVELO_NO_READ_LIMIT;
    return ravelo::bufferRequirements({frame.data(), frame.size()}, options);
}

void checkReads(std::string const& name, std::span<const std::uint8_t> frame, std::uint32_t maxReadFactor) {
    if (maxReadFactor == 0)
        return;
    ravelo::Options options;
    options.maxPixels = RAVELO_NO_PIXEL_LIMIT;
    options.maxReadFactor = maxReadFactor;
    try {
        ravelo::bufferRequirements({frame.data(), frame.size()}, options);
    } catch (ravelo::Error const& error) {
        if (error.status() != RAVELO_ERROR_LIMIT)
            throw failure("{}: {}", name, error.what());
        throw limitExceeded(
            "{}: its slices read more than {} bytes, {} times its size of {} (--max-read-factor changes "
            "the limit)",
            name, maxReadFactor * std::uint64_t{frame.size()}, maxReadFactor, frame.size());
    }
}
