#pragma once

#include "PictureReader.h"

// YUV4MPEG2, the stream of uncompressed pictures that video tools exchange through pipes.
class Y4mReader : public PictureReader {
public:
    // Reads the stream's header.
    explicit Y4mReader(InputFile& file);

    std::optional<InputPicture> next() override;

private:
    std::string takeLine();
    void readStreamHeader();
    void readColorSpace(std::string const& name);
    void readParameter(std::string const& parameter);
    std::vector<std::uint16_t> readPlane(std::uint32_t width, std::uint32_t height);

    InputFile& m_file;
    InputPicture m_form; // everything of a picture but its samples
};
