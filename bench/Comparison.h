#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Contest.h"
#include "FrameDecode.h"
#include "MarkdownTable.h"

// What the parts of compare_peer share.

struct ComparisonOptions {
    std::filesystem::path folder;
    ContestRules rules;
};

// The name without ending of every picture in this chroma format that the folder has, at one rate or at all of them; at
// low detail the highest JPEG quality may leave one rate only.
std::vector<std::string> pictureNames(ComparisonOptions const& options, std::string const& chromaFormat,
                                      std::string const& rate = "");

std::vector<std::uint8_t> frameNamed(ComparisonOptions const& options, std::string const& name);

void print(std::string const& title, MarkdownTable const& table);

// What decodes for this target now, for titles: "kernel variant l9" or "Baseline with kernel variant y8".
std::string decoderName(OptimizationTarget target);
