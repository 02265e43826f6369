#pragma once

#include <cstddef>

#include "ravelo.h"

// The sizes that structures had first. A member that is added later makes a structure larger and leaves its number here
// alone, so that the library continues to accept the hosts that were built before it.
template <typename Structure>
inline constexpr std::size_t kFirstSize = 0;

// Without the grid of slices.
template <>
inline constexpr std::size_t kFirstSize<ravelo_frame_info> = 64;
template <>
inline constexpr std::size_t kFirstSize<ravelo_frame_check> = 128;
template <>
inline constexpr std::size_t kFirstSize<ravelo_damage> = 48;
template <>
inline constexpr std::size_t kFirstSize<ravelo_damage_report> = 48;
template <>
inline constexpr std::size_t kFirstSize<ravelo_decode_options> = 88;
template <>
inline constexpr std::size_t kFirstSize<ravelo_buffer_requirements> = 152;
template <>
inline constexpr std::size_t kFirstSize<ravelo_output> = 168;
