#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "FrameMaker.h"
#include "ravelo.h"

// Calls of the C interface with everything in place, for tests that change one thing.

ravelo_decode_options usualOptions();

struct HostDecode {
    ravelo_status status = RAVELO_OK;
    std::string text;
    ravelo_buffer_requirements needs{};
    std::vector<std::uint8_t> pixels;
};

// The byte that the memory of a decode holds before the call.
constexpr std::uint8_t kHostFill = 0xA5;

// Asks for the requirements, decodes into memory of just that size, and returns both. A refusal of the first call is
// returned with no memory.
HostDecode hostDecode(std::span<const std::uint8_t> frame, ravelo_decode_options const& options);

// Frames of several kinds, small enough to decode thousands of them.
FrameSpec smallSpec(std::uint32_t chroma_format, std::uint32_t interlace_mode, std::uint32_t alpha_channel_type);
MadeFrame smallFrame(FrameSpec const& spec, std::uint32_t seed);
