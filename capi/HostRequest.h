#pragma once

#include <cstddef>
#include <cstdint>

#include "FrameHeader.h"
#include "PictureOutput.h"
#include "ravelo.h"

// Checks the request of a host: nothing can be refused after these checks.

// The options with defaults in place of zeros. Null options are all defaults.
ravelo_decode_options checkedOptions(const ravelo_decode_options* options);

// Refuses options that this frame does not support.
void checkFrame(FrameHeader const& header, ravelo_decode_options const& options);

// Refuses a frame whose slices share so many bytes that they read more than the options allow.
void checkReads(const void* data, std::size_t size, ravelo_decode_options const& options);

ravelo_buffer_requirements requirementsOf(const void* data, std::size_t size, ravelo_decode_options const& options);

// Whether the options ask for a region or for another form than the coded one: such a decode writes exactly its region.
bool isFormed(ravelo_decode_options const& options);

// The region of the options, or the whole picture.
PixelRectangle regionOf(FrameHeader const& header, ravelo_decode_options const& options);

// The destination of the pixels: one plane, or those of a planar form.
struct HostPixels {
    OutputPlane planes[RAVELO_MAX_PLANES];
};

// Refuses memory that is too small for a decode with these requirements.
HostPixels checkedOutput(const ravelo_output* output, ravelo_buffer_requirements const& requirements);
