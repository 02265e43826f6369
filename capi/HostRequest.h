#pragma once

#include <cstddef>
#include <cstdint>

#include "HostFrameHeader.h"
#include "ravelo.h"

// A request of a host, checked: nothing behind this point can be refused.

// The usual choices stand in place of the zeros. Null options are all usual.
ravelo_decode_options checkedOptions(const ravelo_decode_options* options);

// Refuses options that do not go with this frame.
void checkFrame(HostFrameHeader const& header, ravelo_decode_options const& options);

// Refuses a frame whose slices share so many bytes that they read more than the options allow.
void checkReads(const void* data, std::size_t size, ravelo_decode_options const& options);

ravelo_buffer_requirements requirementsOf(const void* data, std::size_t size, ravelo_decode_options const& options);

// Where the pixels go.
struct HostPixels {
    std::uint8_t* firstLine = nullptr;
    std::int64_t stride = 0;
};

// Refuses memory in which a decode with these requirements would not stay.
HostPixels checkedOutput(const ravelo_output* output, ravelo_buffer_requirements const& requirements);
