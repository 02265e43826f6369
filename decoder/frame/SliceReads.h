#pragma once

#include <cstdint>

#include "Bitstream.h"

/// Returns how many bytes the slices of a frame may read, summed over all slices. The decode call sets no limit to it.
///
/// In a frame that an encoder made, every slice has bytes of its own, so the sum does not exceed the size of the frame.
/// But nothing stops a frame from letting all of its slices begin at the same byte, or reach into those that follow: a
/// file of a few hundred kilobytes then makes a decode read gigabytes. A host that decodes untrusted files compares the
/// sum with the size of the frame.
///
/// A slice counts with its header and with the ranges of Y, Cb and Cr from its header, as far as the data reach and as
/// far as so many blocks can read. An alpha plane counts with what the slice table leaves to it or, where that is
/// nothing, with the most that it can read. A plane whose own bytes end before its samples reads on in what follows.
/// That does not count, since only its codes could tell; it is bounded by the samples that the slice writes, 33 bits
/// for each.
///
/// Counting ends as soon as the sum exceeds `enough`, and examines the first bytes of each slice only.
std::uint64_t bytesReadBySlices(Bitstream const& frameBits, std::uint64_t enough);
