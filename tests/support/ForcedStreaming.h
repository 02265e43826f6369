#pragma once

#include <cstdint>
#include <optional>

#include "OutputForm.h"

// Writes coded pictures of 16-bit samples from a number of bytes on past the caches for its lifetime.
class ForcedStreaming {
public:
    explicit ForcedStreaming(std::uint64_t leastBytes) : m_before(forceLeastStreamedBytes(leastBytes)) {}
    ~ForcedStreaming() { forceLeastStreamedBytes(m_before); }
    ForcedStreaming(ForcedStreaming const&) = delete;
    ForcedStreaming& operator=(ForcedStreaming const&) = delete;

private:
    std::optional<std::uint64_t> m_before;
};
