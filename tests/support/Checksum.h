#pragma once

#include <cstddef>
#include <cstdint>

// The common CRC-32 (reflected polynomial 0xEDB88320, start and final XOR of all ones).
std::uint32_t crc32Of(const std::uint8_t* bytes, std::size_t numBytes);
