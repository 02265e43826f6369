#include "HostFrameHeader.h"

#include <algorithm>

#include "Bitstream.h"
#include "HostError.h"

namespace {

constexpr std::uint64_t kOuterWordBytes = 8;
constexpr std::uint64_t kFixedHeaderBytes = 20;
constexpr std::uint64_t kMatrixBytes = 64;

void requireBytes(std::uint64_t size, std::uint64_t needed, const char* what) {
    if (size < needed)
        refuse(RAVELO_ERROR_FRAME, "the frame has %llu bytes; its header %s and has %llu",
               static_cast<unsigned long long>(size), what, static_cast<unsigned long long>(needed));
}

} // namespace

HostFrameHeader readFrameHeader(const void* data, std::size_t size) {
    if (data == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "the pointer to the frame is null (size %zu)", size);
    requireBytes(size, kOuterWordBytes + kFixedHeaderBytes, "has fields of fixed size");

    Bitstream bits{static_cast<const std::uint8_t*>(data), size};
    bits.advance(kOuterWordBytes);
    HostFrameHeader header;
    header.header_size = bits.word16At(0);
    header.horizontal_size = bits.word16At(8);
    header.vertical_size = bits.word16At(10);
    header.chroma_format = bits.byteAt(12) >> 6;
    header.interlace_mode = bits.byteAt(12) >> 2 & 3;
    header.color_primaries = bits.byteAt(14);
    header.transfer_characteristic = bits.byteAt(15);
    header.matrix_coefficients = bits.byteAt(16);
    header.alpha_channel_type = bits.byteAt(17) & 15;
    header.load_luma_matrix = (bits.byteAt(19) & 2) != 0;
    header.load_chroma_matrix = (bits.byteAt(19) & 1) != 0;

    const std::uint64_t matrices = (header.load_luma_matrix ? 1u : 0u) + (header.load_chroma_matrix ? 1u : 0u);
    requireBytes(size, kOuterWordBytes + kFixedHeaderBytes + matrices * kMatrixBytes, "contains matrices");
    requireBytes(size, kOuterWordBytes + header.header_size, "declares its size");
    return header;
}

ravelo_frame_info frameInfo(HostFrameHeader const& header) {
    ravelo_frame_info info{};
    info.width = header.horizontal_size;
    info.height = header.vertical_size;
    info.samples_per_pixel = header.is444() ? 4 : 2;
    info.chroma_format = header.chroma_format;
    info.interlace_mode = header.interlace_mode;
    info.pictures = header.interlace_mode == 1 || header.interlace_mode == 2 ? 2 : 1;
    info.alpha_channel_type = header.alpha_channel_type;
    info.color_primaries = header.color_primaries;
    info.transfer_characteristic = header.transfer_characteristic;
    info.matrix_coefficients = header.matrix_coefficients;
    info.header_bytes = static_cast<std::uint32_t>(kOuterWordBytes + header.header_size);
    info.has_luma_matrix = header.load_luma_matrix ? 1 : 0;
    info.has_chroma_matrix = header.load_chroma_matrix ? 1 : 0;
    return info;
}
