#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "DecodeRequest.h"

// The header of a frame as the slow model reads it. Fields beyond the end of the data read as zero.
struct SlowFrameHeader {
    std::uint32_t header_size = 0;
    std::uint32_t horizontal_size = 0;
    std::uint32_t vertical_size = 0;
    std::uint32_t chroma_format = 0;
    std::uint32_t interlace_mode = 0;
    std::uint32_t matrix_coefficients = 0;
    std::uint32_t alpha_channel_type = 0;
    std::array<std::uint8_t, 64> luma_quant{};   // in the order of the stream, which is raster order
    std::array<std::uint8_t, 64> chroma_quant{}; // the same

    bool is444() const { return chroma_format == 3; }
    std::uint32_t samplesPerPixel() const { return is444() ? 4 : 2; }
};

// One slice, decoded as far as its numbers: where it lies and what its ranges hold.
struct SlowSlice {
    std::uint32_t pictureIndex = 0;
    std::uint32_t mbRow = 0;
    std::uint32_t sliceColumn = 0;
    std::uint32_t sliceMbs = 0;
    std::uint32_t width = 0;     // columns, as passed to the writer; wrong by design at reduced sizes
    std::uint32_t height = 0;    // lines of the output
    std::int64_t origin = 0;     // bytes from the caller's first line to the slice's first sample
    std::int64_t lineStride = 0; // bytes; that of a field is doubled
    std::uint32_t quantization_index = 0;
    bool ok = false; // all three components decoded; otherwise nothing is written
    bool open =
        false; // a read wrapped where no failure need follow: the format leaves open what is written, if anything
    std::vector<std::int16_t> y;
    std::vector<std::int16_t> cb;
    std::vector<std::int16_t> cr;
    std::vector<std::uint16_t> alpha;
};

struct SlowFrame {
    SlowFrameHeader header;
    std::vector<SlowSlice> slices; // in stream order, the second picture after the first
};

SlowFrameHeader slowParseHeader(std::span<const std::uint8_t> frame);

// The bytes of one line of the reduced picture, which is also the least magnitude of the stride.
std::uint64_t slowLineBytes(SlowFrameHeader const& header, DecodeRequest const& request);

// Parses a frame down to the coefficients of every slice, as `request` wants them. Checks nothing of the request.
SlowFrame slowParseFrame(std::span<const std::uint8_t> frame, DecodeRequest const& request);

// True for the requests whose samples go through the float transform.
bool slowUsesFloatPath(DecodeRequest const& request);
