#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DecodeRequest.h"

// The record of the golden frames' output.

// Every form of output that has one result, for the targets that this processor runs: reduced pictures have 8 bits, and
// only 4:4:4 frames have RGB forms. The strides are left at 0.
std::vector<DecodeRequest> goldenForms(std::vector<std::uint8_t> const& frame);

// Decodes every frame in `folder` in every form, with the plain float transform, in the order of names and forms. Each
// line holds frame, reduction, coding, depth, target and the hash of the output buffer, separated by spaces.
std::vector<std::string> goldenManifest(std::string const& folder);
