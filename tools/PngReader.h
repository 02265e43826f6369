#pragma once

#include "PictureReader.h"

class PngReader : public PictureReader {
public:
    explicit PngReader(InputFile& file) : m_file(file) {}

    std::optional<InputPicture> next() override;

private:
    InputFile& m_file;
    bool m_done = false;
};
