#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

// Whole files. Both throw std::runtime_error with the file's name in the text.
std::vector<std::uint8_t> readFile(std::filesystem::path const& file);
void writeFile(std::filesystem::path const& file, std::span<const std::uint8_t> bytes);
