#include "HostFrameHeader.h"

#include <cstdint>

#include "HostError.h"
#include "PictureHeader.h"

namespace {

constexpr std::uint64_t kFixedBytes = FrameHeader::kOuterWordBytes + FrameHeader::kFixedHeaderBytes;

void requireBytes(std::uint64_t size, std::uint64_t needed, const char* what) {
    if (size < needed)
        refuse(RAVELO_ERROR_FRAME, "the frame has %llu bytes; its header %s and has %llu",
               static_cast<unsigned long long>(size), what, static_cast<unsigned long long>(needed));
}

} // namespace

void checkData(const void* data, std::size_t size) {
    // An empty container has no address: most often the file was not found.
    if (data == nullptr && size == 0)
        refuse(RAVELO_ERROR_ARGUMENT, "the frame is empty: null pointer, size 0 (was its file opened and read?)");
    if (data == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "the pointer to the frame is null, although its size is %zu", size);
}

FrameHeader readFrameHeader(const void* data, std::size_t size) {
    checkData(data, size);
    requireBytes(size, kFixedBytes, "has fields of fixed size");
    const FrameHeader header = FrameHeader::frame_header({static_cast<const std::uint8_t*>(data), size});
    const std::uint64_t matrices = header.load_luma_matrix + header.load_chroma_matrix;
    requireBytes(size, kFixedBytes + matrices * FrameHeader::kMatrixBytes, "contains matrices");
    requireBytes(size, header.firstPictureOffset(), "declares its size");
    if (header.numPixels() == 0)
        refuse(RAVELO_ERROR_FRAME, "the frame has no pixels: its size is %u x %u", header.horizontal_size,
               header.vertical_size);
    return header;
}

ravelo_frame_info frameInfo(FrameHeader const& header, Bitstream const& frame) {
    ravelo_frame_info info{};
    info.width = header.horizontal_size;
    info.height = header.vertical_size;
    info.samples_per_pixel = header.samplesPerPixel();
    info.chroma_format = header.chroma_format;
    info.interlace_mode = header.interlace_mode;
    info.pictures = header.hasSecondPicture() ? 2 : 1;
    info.alpha_channel_type = header.alpha_channel_type;
    info.color_primaries = header.color_primaries;
    info.transfer_characteristic = header.transfer_characteristic;
    info.matrix_coefficients = header.matrix_coefficients;
    info.header_bytes = header.firstPictureOffset();
    info.has_luma_matrix = header.load_luma_matrix;
    info.has_chroma_matrix = header.load_chroma_matrix;
    Bitstream bits = frame;
    bits.advance(header.firstPictureOffset());
    for (std::uint32_t i = 0; i < info.pictures; ++i) {
        const PictureHeader picture = PictureHeader::picture_header(bits);
        info.slice_rows[i] = header.heightInMb(static_cast<TemporalOrder>(i));
        info.slice_columns[i] = RowDivision(header.widthInMb(), picture.log2_slice_size_in_mb).slicesPerRow();
        bits.advance(picture.picture_size);
    }
    return info;
}
