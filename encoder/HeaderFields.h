#pragma once

#include <cstdint>

#include "FrameAssembler.h"
#include "FrameEncoder.h"
#include "FrameShape.h"

// Converts settings to the fields of headers. All of these throw std::invalid_argument, with the field and its value in
// the text, for values that a frame cannot have.

// Refuses shapes and settings that are out of range, but does not check quantization_indices.
void checkShapeAndSettings(FrameShape const& shape, EncoderSettings const& settings);

// A frame with all its headers and as many pictures as it has, still without slices.
FrameFields headerFields(FrameShape const& shape, EncoderSettings const& settings);

// A slice with its header padded as the settings say, still without data.
SliceFields sliceHeaderFields(FrameShape const& shape, EncoderSettings const& settings,
                              std::uint32_t quantization_index);

// Throws std::invalid_argument unless `holds`; the text is "<name> is <value>; <rule>".
void require(bool holds, const char* name, std::uint64_t value, const char* rule);
