#pragma once

#include <cstdint>
#include <span>
#include <vector>

// The code of one component of one slice, from its coefficients.
//
// A component is coded frequency by frequency: first the DC of every block, then scan index 1 of every block, and so
// on. This is called stream order: scan index s of block b is at s * numBlocks + b. Block order, as decoders keep
// coefficients, has it at b * 64 + s.

// Both arrays hold 64 coefficients per block; `numBlocks` is a power of two.
std::vector<std::int16_t> streamOrderOf(std::span<const std::int16_t> blockOrder);

// The coded bytes of a component. The tail of the last byte is filled with zero bits, which is also the mark of the
// end: a range ends where at most 64 bits remain and all of them are zero.
std::vector<std::uint8_t> codedComponent(std::span<const std::int16_t> streamOrder, std::uint32_t numBlocks);

// The size in bytes of what codedComponent() returns.
std::uint32_t codedComponentSize(std::span<const std::int16_t> streamOrder, std::uint32_t numBlocks);
