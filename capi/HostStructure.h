#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "HostError.h"
#include "StructureSizes.h"

// Structures that begin with their size as the host knows it. The bytes that both sides know are copied in and out, so
// that host and library may have different versions.

// A larger size comes from memory that was never set.
constexpr std::size_t kLargestStructure = 4096;

// Refuses a structure that is null, is smaller than that of the first version, or has an impossible size.
template <typename Structure>
void checkStructure(const Structure* structure, const char* name) {
    static_assert(kFirstSize<Structure> != 0 && kFirstSize<Structure> <= sizeof(Structure));
    if (structure == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "the pointer to %s is null", name);
    if (structure->struct_size < kFirstSize<Structure> || structure->struct_size > kLargestStructure)
        refuse(RAVELO_ERROR_STRUCTURE, "struct_size of %s is %zu; it must be the sizeof of the structure, here %zu",
               name, structure->struct_size, sizeof(Structure));
}

// A structure from the host. Members that the host does not know are zero. Members that this version does not know must
// be zero, since it cannot do what they request.
template <typename Structure>
Structure copiedIn(const Structure* structure, const char* name) {
    checkStructure(structure, name);
    const char* bytes = reinterpret_cast<const char*>(structure);
    for (std::size_t i = sizeof(Structure); i < structure->struct_size; ++i) {
        if (bytes[i] != 0)
            refuse(RAVELO_ERROR_STRUCTURE,
                   "byte %zu of %s has a value that this version, %s, does not know; it must be 0", i, name,
                   RAVELO_VERSION_TEXT);
    }
    Structure copy{};
    std::memcpy(&copy, bytes, std::min<std::size_t>(structure->struct_size, sizeof copy));
    return copy;
}

// A structure for the host, as far as the host knows it. Members that this version does not know become zero.
template <typename Structure>
void copyOut(Structure values, Structure* structure) {
    values.struct_size = structure->struct_size;
    const std::size_t known = std::min<std::size_t>(values.struct_size, sizeof values);
    std::memcpy(static_cast<void*>(structure), &values, known);
    std::memset(reinterpret_cast<char*>(structure) + known, 0, values.struct_size - known);
}
