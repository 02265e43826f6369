#pragma once

#include <cstdint>

#include "Bitstream.h"

// The fields at the start of a slice.
struct SliceHeader {
    std::uint32_t slice_header_size = 0; // bytes
    std::uint32_t quantization_index = 0;
    std::uint32_t coded_size_y = 0; // bytes
    std::uint32_t coded_size_cb = 0;
    std::uint64_t coded_size_cr = 0; // very large where the sizes of the stream contradict each other

    // Reads the header at `bits`. Only frames with alpha have coded_size_cr in it; otherwise it is what the others
    // leave of `coded_size`, the bytes of the slice by the slice table.
    static SliceHeader slice_header(Bitstream const& bits, bool hasAlpha, std::uint32_t coded_size);
};
