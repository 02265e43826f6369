#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

// Takes the bytes of a file one part after the other.
using ByteSink = std::function<void(std::span<const std::uint8_t> bytes)>;

// Gathers bytes of a file and hands them on in parts that are large for the system and small for the cache: a picture
// that is made as a whole before it is written passes through memory twice more.
class FilePart {
public:
    explicit FilePart(ByteSink const& sink) : m_sink(sink), m_memory(kBytes) {}

    // Memory for the next bytes of the file, which the caller fills before the next call.
    std::span<std::uint8_t> room(std::size_t bytes) {
        if (m_used + bytes > m_memory.size())
            flush();
        if (bytes > m_memory.size())
            m_memory.resize(bytes);
        m_used += bytes;
        return std::span(m_memory).subspan(m_used - bytes, bytes);
    }

    void append(std::span<const std::uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), room(bytes.size()).begin());
    }

    // Hands on what is left. Without it the last part is lost.
    void flush() {
        if (m_used != 0)
            m_sink(std::span(m_memory).first(m_used));
        m_used = 0;
    }

private:
    static constexpr std::size_t kBytes = std::size_t{1} << 17;

    ByteSink const& m_sink;
    std::vector<std::uint8_t> m_memory;
    std::size_t m_used = 0;
};
