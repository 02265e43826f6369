#include "SliceHeader.h"

SliceHeader SliceHeader::slice_header(Bitstream const& bits, bool hasAlpha, std::uint32_t coded_size) {
    SliceHeader header;
    header.slice_header_size = bits.byteAt(0) >> 3;
    header.quantization_index = bits.byteAt(1);
    header.coded_size_y = bits.word16At(2);
    header.coded_size_cb = bits.word16At(4);
    if (hasAlpha) {
        header.coded_size_cr = bits.word16At(6);
        return header;
    }
    // Sizes that contradict each other wrap to a very large range, which ends with the data.
    const std::uint32_t afterHeader = coded_size - header.slice_header_size;
    header.coded_size_cr = std::uint64_t{afterHeader} - header.coded_size_y - header.coded_size_cb;
    return header;
}
