#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The fields of a frame's header under their stream names.
struct FrameHeader {
    std::uint32_t outer_word_0 = 0;
    std::uint32_t outer_word_1 = 0;
    std::uint32_t header_size = 0;
    std::uint32_t header_byte_3 = 0;
    std::uint32_t header_word_4 = 0;
    std::uint32_t horizontal_size = 0;
    std::uint32_t vertical_size = 0;
    std::uint32_t chroma_format = 0;
    std::uint32_t interlace_mode = 0;
    std::uint32_t header_nibble_13_high = 0;
    std::uint32_t header_nibble_13_low = 0;
    std::uint32_t color_primaries = 0;
    std::uint32_t transfer_characteristic = 0;
    std::uint32_t matrix_coefficients = 0;
    std::uint32_t alpha_channel_type = 0;
    std::uint32_t load_luma_matrix = 0;
    std::uint32_t load_chroma_matrix = 0;
    std::array<std::uint8_t, 64> lumaMatrix = {};   // as the decoder uses it
    std::array<std::uint8_t, 64> chromaMatrix = {}; // as the decoder uses it

    bool is444() const { return chroma_format == 3; }
    // 4:2:2 frames may carry an alpha plane too, but it does not reach the output.
    bool hasAlphaOutput() const { return is444() && alpha_channel_type != 0; }
    std::uint64_t numPixels() const { return std::uint64_t{horizontal_size} * vertical_size; }
};

// The header of one coded picture and the table of its slices.
struct PictureHeader {
    std::uint64_t offset = 0; // bytes from the start of the frame
    std::uint32_t picture_header_size = 0;
    std::uint32_t picture_size = 0;
    std::uint32_t log2_slice_size_in_mb = 0;
    std::uint32_t vertical_size = 0; // lines of this picture at full size
    std::uint32_t width_in_mb = 0;
    std::uint32_t height_in_mb = 0;
    std::vector<std::uint32_t> slice_size_in_mb;    // of one macroblock row
    std::vector<std::uint32_t> coded_size_of_slice; // bytes, row by row
};

// What the header of a slice and the table of slices say of it. Nothing is checked, and sizes that contradict each
// other stay as they are.
struct SliceHeader {
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
inline constexpr std::size_t kMinFrameBytes = 28;

// Bytes beyond the end of the frame count as zero.
FrameHeader parseFrameHeader(std::span<const std::uint8_t> frame);

// One picture, or two for a frame of two fields.
std::vector<PictureHeader> parsePictureHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header);

// The slices of one picture, row by row.
std::vector<SliceHeader> parseSliceHeaders(std::span<const std::uint8_t> frame, FrameHeader const& header,
                                           PictureHeader const& picture);

// Bytes from the start of the frame to the end of its header. `frame` has at least kMinFrameBytes.
std::uint64_t declaredHeaderBytes(std::span<const std::uint8_t> frame);

// Bytes from the start of the frame to the end of the last slice, by the header and the tables of slices as far as
// `frame` holds them: more of the frame may declare more.
std::uint64_t declaredFrameBytes(std::span<const std::uint8_t> frame);

// Throws CommandError when the bytes cannot be a frame (too short, no pixels), or with ExitCode::Limit when the frame
// has more than `maxPixels` pixels; 0 lifts the limit. Nothing else in a frame tells it from other data.
void checkFrame(std::string const& name, std::span<const std::uint8_t> frame, std::uint64_t maxPixels);

// Throws CommandError with ExitCode::Limit when the slices of the frame read more than `maxReadFactor` times its bytes,
// as those do that share their bytes to cost time; 0 lifts the limit.
void checkReads(std::string const& name, std::span<const std::uint8_t> frame, std::uint32_t maxReadFactor);
