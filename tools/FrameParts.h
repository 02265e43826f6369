#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "FrameHeader.h"
#include "PictureHeader.h"
#include "PictureOutput.h"
#include "ravelo.h"

// The header of one coded picture and how it is cut into slices.
struct CodedPicture : PictureHeader {
    std::uint64_t offset = 0;        // bytes from the start of the frame
    std::uint32_t vertical_size = 0; // lines of this picture at full size
    std::uint32_t width_in_mb = 0;
    std::uint32_t height_in_mb = 0;
    std::vector<std::uint32_t> slice_size_in_mb; // of one macroblock row

    std::size_t numSlices() const { return slice_size_in_mb.size() * height_in_mb; }
};

// What the header of a slice and the table of slices say of it. Nothing is checked, and sizes that contradict each
// other stay as they are.
struct CodedSlice {
    std::uint32_t row = 0;        // of macroblocks
    std::uint32_t column = 0;     // slice of the row
    std::uint32_t firstMb = 0;    // macroblock of the row
    std::uint32_t numMbs = 0;     // 1, 2, 4 or 8
    std::uint64_t offset = 0;     // bytes from the start of the frame
    std::uint32_t coded_size = 0; // bytes, by the table
    std::uint32_t slice_header_size = 0;
    std::uint32_t quantization_index = 0;
    std::uint32_t coded_size_y = 0;
    std::uint32_t coded_size_cb = 0;
    std::uint32_t coded_size_cr = 0; // without alpha, what is left of the slice; 0 if nothing is
    std::uint32_t alphaBytes = 0;    // with alpha, what is left of the slice; 0 if nothing is
};

// Bytes that a frame must have for its header to be read: the two outer words and the fixed fields.
inline constexpr std::size_t kMinFrameBytes = FrameHeader::kOuterWordBytes + FrameHeader::kFixedHeaderBytes;

// Bytes beyond the end of the frame count as zero.
FrameHeader parseFrameHeader(std::span<const std::uint8_t> frame);

// One picture, or two for a frame of two fields.
std::vector<CodedPicture> parsePictureHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header);

// The table of slices: bytes of each, row by row. Entries beyond the end of the frame are 0.
std::vector<std::uint32_t> parseSliceTable(std::span<const std::uint8_t> frame, CodedPicture const& picture);

// Sum of the table of slices. A frame of few bytes may declare a million slices: only entries that it contains take
// time.
std::uint64_t declaredSliceBytes(std::span<const std::uint8_t> frame, CodedPicture const& picture);

// The slices of one picture, row by row.
std::vector<CodedSlice> parseSliceHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header,
                                          CodedPicture const& picture);

// Bytes from the start of the frame to the end of its header. `frame` has at least kMinFrameBytes.
std::uint64_t declaredHeaderBytes(std::span<const std::uint8_t> frame);

// Bytes from the start of the frame to the end of the last slice, by the header and the tables of slices as far as
// `frame` contains them: more of the frame may declare more.
std::uint64_t declaredFrameBytes(std::span<const std::uint8_t> frame);

// The memory for a decode without limits. The frame has passed checkFrame; throws ravelo::Error if the library refuses
// it all the same.
ravelo_buffer_requirements bufferRequirements(std::span<const std::uint8_t> frame, std::uint32_t bitDepth,
                                              std::uint32_t downSampleFactor);

// Throws CommandError if the bytes cannot be a frame (another kind of file, too short, no pixels), or with
// ExitCode::Limit if the frame has more than `maxPixels` pixels; 0 means no limit.
void checkFrame(std::string const& name, std::span<const std::uint8_t> frame, std::uint64_t maxPixels);

// Throws CommandError with ExitCode::Limit if the slices of the frame read more than `maxReadFactor` times its bytes,
// as in frames that are made to cost time, whose slices share their bytes; 0 means no limit.
void checkReads(std::string const& name, std::span<const std::uint8_t> frame, std::uint32_t maxReadFactor);
