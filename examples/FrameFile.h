#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

// The bytes of a file.
inline std::vector<unsigned char> readFrame(std::string const& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw std::runtime_error(name + ": cannot be read");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
