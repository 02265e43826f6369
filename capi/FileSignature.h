#pragma once

#include <cstddef>

// The kind of file that begins with these bytes, such as "a PNG picture", or null where they are not the signature of a
// common kind. Reads at most the first 16 bytes.
const char* fileKindOf(const void* data, std::size_t size);
