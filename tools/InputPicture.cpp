#include "InputPicture.h"

#include "CommandError.h"

void checkPictureSize(std::string const& name, std::uint64_t width, std::uint64_t height) {
    if (width == 0 || height == 0)
        throw failure("{} has no pixels: its size is {} x {}", name, width, height);
    if (width > kMaxSide || height > kMaxSide)
        throw limitExceeded("{} is {} x {} pixels; a frame has at most {} in each direction", name, width, height,
                            kMaxSide);
    if (width * height > kMaxInputPixels)
        throw limitExceeded("{} is {} x {} pixels; the limit is {} pixels", name, width, height, kMaxInputPixels);
}
