#include "Files.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

std::vector<std::uint8_t> readFile(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    return bytes;
}

void writeFile(std::filesystem::path const& file, std::span<const std::uint8_t> bytes) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + file.string());
}
