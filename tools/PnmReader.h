#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "PictureReader.h"

// Binary PGM, PPM and PAM.
class PnmReader : public PictureReader {
public:
    PnmReader(InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels) {}

    std::optional<InputPicture> next() override;

private:
    struct Header {
        std::uint64_t width = 0;
        std::uint64_t height = 0;
        std::uint64_t depth = 0; // samples of a pixel, 1 to 4
        std::uint64_t maxValue = 0;
    };

    std::uint8_t takeByte();
    std::uint64_t takeNumber();
    std::string takeLine();
    Header pnmHeader(std::uint64_t depth);
    Header pamHeader();
    InputPicture readSamples(Header const& header);

    InputFile& m_file;
    std::uint64_t m_maxPixels;
};
