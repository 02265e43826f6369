#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// The bytes of a file.
inline std::vector<unsigned char> readFrame(std::string const& name) {
    std::ostringstream read;
    if (!(read << std::ifstream(name, std::ios::binary).rdbuf()))
        throw std::runtime_error(name + ": cannot be read");
    const std::string bytes = read.str();
    return {bytes.begin(), bytes.end()};
}
