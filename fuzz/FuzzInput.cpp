#include "FuzzInput.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "property violated: %s\n", property);
    std::abort();
}

std::uint8_t FuzzInput::byte() {
    if (m_rest.empty())
        return 0;
    const std::uint8_t value = m_rest.front();
    m_rest = m_rest.subspan(1);
    return value;
}

std::uint16_t FuzzInput::word() {
    const std::uint32_t high = byte();
    return static_cast<std::uint16_t>(high << 8 | byte());
}

std::uint32_t FuzzInput::below(std::uint32_t bound) {
    return (bound <= 256 ? byte() : word()) % bound;
}

std::span<const std::uint8_t> FuzzInput::bytes(std::size_t count) {
    const std::size_t taken = count < m_rest.size() ? count : m_rest.size();
    const auto front = m_rest.first(taken);
    m_rest = m_rest.subspan(taken);
    return front;
}

ExactCopy::ExactCopy(std::span<const std::uint8_t> bytes)
    : m_bytes(std::make_unique_for_overwrite<std::uint8_t[]>(bytes.size())), m_size(bytes.size()) {
    if (!bytes.empty())
        std::memcpy(m_bytes.get(), bytes.data(), bytes.size());
}
