#include "Checksum.h"

#include <array>

namespace {

std::array<std::uint32_t, 256> makeCrcTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320u : 0u);
        table[byte] = crc;
    }
    return table;
}

} // namespace

std::uint32_t crc32Of(const std::uint8_t* bytes, std::size_t numBytes) {
    static const std::array<std::uint32_t, 256> table = makeCrcTable();
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < numBytes; ++i)
        crc = (crc >> 8) ^ table[(crc ^ bytes[i]) & 0xFF];
    return ~crc;
}
