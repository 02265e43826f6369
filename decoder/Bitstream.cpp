#include "Bitstream.h"

void Bitstream::advance(std::uint64_t numBytes) {
    const std::uint64_t distance = numBytes < size ? numBytes : size;
    data += distance;
    size -= distance;
}

std::uint32_t Bitstream::byteAt(std::uint64_t offset) const {
    return offset < size ? data[offset] : 0u;
}

std::uint32_t Bitstream::word16At(std::uint64_t offset) const {
    if (size >= 2 && offset <= size - 2)
        return std::uint32_t{data[offset]} << 8 | data[offset + 1];
    return byteAt(offset) << 8;
}

std::uint32_t Bitstream::word32At(std::uint64_t offset) const {
    return word16At(offset) << 16 | word16At(offset + 2);
}
