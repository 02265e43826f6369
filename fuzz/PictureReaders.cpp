// The readers of picture files of the command: any bytes as a PNG, PGM, PPM, PAM or Y4M file. A reader delivers
// pictures whose planes have the size that they declare, or says that the file is damaged.

#include "PictureReader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "CommandError.h"
#include "FuzzSupport.h"

namespace {

// Pictures may be large where the file says so; the memory for one is bounded here as a host would bound it.
constexpr std::size_t kMaxPictures = 4;

std::uint64_t planeSize(InputPicture const& picture, int plane) {
    if (picture.model == ColorModel::YCbCr && plane > 0)
        return std::uint64_t{picture.chromaWidth()} * picture.chromaHeight();
    return picture.numPixels();
}

void requireSound(InputPicture const& picture) {
    require(picture.width >= 1 && picture.width <= kMaxSide, "width");
    require(picture.height >= 1 && picture.height <= kMaxSide, "height");
    require(picture.maxValue >= 1 && picture.maxValue <= 65535, "maxValue");
    const int numPlanes = picture.model == ColorModel::Gray ? 1 : 3;
    for (int plane = 0; plane < numPlanes; ++plane) {
        require(picture.planes[plane].size() == planeSize(picture, plane), "the size of a plane");
        for (const std::uint16_t sample : picture.planes[plane])
            require(sample <= picture.maxValue, "samples stay within the largest code");
    }
    if (picture.hasAlpha())
        require(picture.alpha.size() == picture.numPixels(), "the size of the alpha plane");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputFile file("input", std::vector<std::uint8_t>(data, data + size));
    try {
        const std::unique_ptr<PictureReader> reader = makePictureReader(file);
        for (std::size_t i = 0; i < kMaxPictures; ++i) {
            const std::optional<InputPicture> picture = reader->next();
            if (!picture)
                break;
            requireSound(*picture);
        }
    } catch (CommandError const&) {
        // The file is damaged, or of no known kind.
    }
    return 0;
}
