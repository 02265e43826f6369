#pragma once

#include <cstdint>
#include <optional>

#include "PictureReader.h"

class PngReader : public PictureReader {
public:
    PngReader(InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels) {}

    std::optional<InputPicture> next() override;

private:
    InputFile& m_file;
    std::uint64_t m_maxPixels;
    bool m_done = false;
};
