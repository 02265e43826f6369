#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "HostError.h"

// Structures that begin with their size, as the host knows it. They are copied in and out byte by byte as far as both
// sides know them, so that host and library may be of different versions.

// A size beyond this is memory that was never set.
constexpr std::size_t kLargestStructure = 4096;

// A structure that does not exist, is smaller than that of the first version, or has no sensible size.
template <typename Structure>
void checkStructure(const Structure* structure, const char* name) {
    if (structure == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "no pointer to %s", name);
    if (structure->struct_size < sizeof(Structure) || structure->struct_size > kLargestStructure)
        refuse(RAVELO_ERROR_STRUCTURE, "struct_size of %s is %zu; set it to the sizeof of the structure, here %zu",
               name, structure->struct_size, sizeof(Structure));
}

// What a host hands in. Members that this version does not know must be zero, for they ask for something it cannot do.
template <typename Structure>
Structure copiedIn(const Structure* structure, const char* name) {
    checkStructure(structure, name);
    const char* bytes = reinterpret_cast<const char*>(structure);
    for (std::size_t i = sizeof(Structure); i < structure->struct_size; ++i) {
        if (bytes[i] != 0)
            refuse(RAVELO_ERROR_STRUCTURE, "%s asks for something that this version, %s, does not know (byte %zu)",
                   name, RAVELO_VERSION_TEXT, i);
    }
    return *structure;
}

// What a host gets back. Members that this version does not know become zero.
template <typename Structure>
void copyOut(Structure values, Structure* structure) {
    values.struct_size = structure->struct_size;
    std::memcpy(structure, &values, sizeof values);
    std::memset(reinterpret_cast<char*>(structure) + sizeof values, 0, values.struct_size - sizeof values);
}
