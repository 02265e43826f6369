#pragma once

#include <cstddef>
#include <cstdint>

#include "ravelo.h"

// The fields of a frame's header that a host may want to know.
struct HostFrameHeader {
    std::uint32_t horizontal_size = 0; // pixels
    std::uint32_t vertical_size = 0;   // lines
    std::uint32_t header_size = 0;     // bytes
    std::uint32_t chroma_format = 0;
    std::uint32_t interlace_mode = 0;
    std::uint32_t alpha_channel_type = 0;
    std::uint32_t color_primaries = 0;
    std::uint32_t transfer_characteristic = 0;
    std::uint32_t matrix_coefficients = 0;
    bool load_luma_matrix = false;
    bool load_chroma_matrix = false;

    bool is444() const { return chroma_format == 3; }
    std::uint64_t pixels() const { return std::uint64_t{horizontal_size} * vertical_size; }
};

// Refuses a frame that is null or shorter than its header: than the fields, the matrices that they announce, or the
// size that the header declares.
HostFrameHeader readFrameHeader(const void* data, std::size_t size);

ravelo_frame_info frameInfo(HostFrameHeader const& header);
