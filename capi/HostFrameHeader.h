#pragma once

#include <cstddef>

#include "Bitstream.h"
#include "FrameHeader.h"
#include "ravelo.h"

// Refuses a null pointer.
void checkData(const void* data, std::size_t size);

// The header of a frame. Refuses a frame that is null, has no pixels, or is shorter than its header: than the fields,
// the matrices that they announce, or the size that the header declares.
FrameHeader readFrameHeader(const void* data, std::size_t size);

// The header and the grid of slices. The headers of pictures may be missing.
ravelo_frame_info frameInfo(FrameHeader const& header, Bitstream const& frame);
