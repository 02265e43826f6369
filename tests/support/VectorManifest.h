#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DecodeRequest.h"

// One line of tests/data/vectors/manifest.jsonl: a decode call and the checksums of the lines that it leaves.
struct VectorRequest {
    std::string frame;
    DecodeRequest request;
    std::uint32_t rows = 0;
    std::vector<std::uint32_t> crc32; // one for each row
    std::string describe() const;
};

// The byte that every output buffer of the manifest holds before the call.
constexpr std::uint8_t kVectorFill = 0xA5;

// Throws std::runtime_error when the manifest cannot be read.
std::vector<VectorRequest> readVectorManifest();

// The bytes of a file below tests/data. Throws std::runtime_error when it cannot be read.
std::vector<std::uint8_t> readTestData(std::string const& relativePath);
