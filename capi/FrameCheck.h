#pragma once

#include <cstddef>

#include "ravelo.h"

// What the structure of a frame says: its header, the headers of its pictures and their tables of slices. Slices are
// not looked at.
ravelo_frame_check checkedStructure(const void* data, std::size_t size);
