#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PictureReader.h"

// YUV4MPEG2, the stream of uncompressed pictures that video tools exchange through pipes.
class Y4mReader : public PictureReader {
public:
    // Reads the stream's header.
    Y4mReader(InputFile& file, std::uint64_t maxPixels);

    std::optional<InputPicture> next() override;

private:
    std::string takeLine();
    void readStreamHeader();
    void readColorSpace(std::string const& name);
    void readParameter(std::string const& parameter);
    std::vector<std::uint16_t> readPlane(std::uint32_t width, std::uint32_t height);

    InputFile& m_file;
    std::uint64_t m_maxPixels;
    InputPicture m_form; // a picture without its samples
};
