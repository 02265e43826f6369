#include "SliceHeader.h"

#include "BigEndian.h"

SliceHeader SliceHeader::slice_header(Bitstream const& bits, bool hasAlpha, std::uint32_t coded_size) {
    // Zeros where the data end.
    const std::uint64_t word = loadLeadingBytes(bits.data, bits.size);
    SliceHeader header;
    header.slice_header_size = static_cast<std::uint32_t>(word >> 59);
    header.quantization_index = static_cast<std::uint32_t>(word >> 48 & 0xFF);
    header.coded_size_y = static_cast<std::uint32_t>(word >> 32 & 0xFFFF);
    header.coded_size_cb = static_cast<std::uint32_t>(word >> 16 & 0xFFFF);
    if (hasAlpha) {
        header.coded_size_cr = word & 0xFFFF;
        return header;
    }
    // Sizes that contradict each other wrap to a very large range, which ends with the data.
    const std::uint32_t afterHeader = coded_size - header.slice_header_size;
    header.coded_size_cr = std::uint64_t{afterHeader} - header.coded_size_y - header.coded_size_cb;
    return header;
}
