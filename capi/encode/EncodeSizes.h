#pragma once

#include "StructureSizes.h"
#include "ravelo_encode.h"

// The sizes of version 1.0, as in StructureSizes.h.
template <>
inline constexpr std::size_t kFirstSize<ravelo_source_picture> = 160;
template <>
inline constexpr std::size_t kFirstSize<ravelo_encode_options> = 80;
template <>
inline constexpr std::size_t kFirstSize<ravelo_encoded_frame> = 40;
