#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "InputFile.h"
#include "InputPicture.h"
#include "Limits.h"

// Reads the pictures of one file. The first bytes identify the kind of file, not its name:
//
//   PNG            gray, RGB or palette, with or without alpha, 1 to 16 bits
//   PGM, PPM, PAM  binary, 1 to 16 bits (P5, P6, P7)
//   Y4M            4:2:0, 4:2:2, 4:4:4, 4:4:4 with alpha and mono, 8 to 16 bits
//
// PGM, PPM, PAM and Y4M files may contain any number of pictures, one after the other.
class PictureReader {
public:
    virtual ~PictureReader() = default;

    // The next picture, or nothing at the end. Throws CommandError for a file that is damaged.
    virtual std::optional<InputPicture> next() = 0;
};

// Whether the file starts like one of these kinds.
bool isPicture(InputFile& file);

// Whether it starts like one of those that contain a single picture.
bool isSinglePicture(InputFile& file);

// Throws CommandError if the file is of none of these kinds. The reader refuses pictures of more than `maxPixels`; 0
// means no limit. Its memory grows with the data that the file has, not with the size that it declares. The file must
// outlive the reader.
std::unique_ptr<PictureReader> makePictureReader(InputFile& file, std::uint64_t maxPixels = kDefaultMaxPixels);

// The only or first picture of a file.
InputPicture readPicture(std::string const& path);
