#include "InputPicture.h"

#include "CommandError.h"
#include "Limits.h"

void checkPictureSize(std::string const& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels) {
    if (width > kMaxSide || height > kMaxSide)
        throw limitExceeded("{} is {} x {} pixels; a frame has at most {} in each direction", name, width, height,
                            kMaxSide);
    checkNumPixels(name, width, height, maxPixels);
}
