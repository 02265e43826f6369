#include "Limits.h"

#include "CommandError.h"

void checkNumPixels(std::string const& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels) {
    if (width == 0 || height == 0)
        throw failure("{} has no pixels: its size is {} x {}", name, width, height);
    if (maxPixels != 0 && width * height > maxPixels)
        throw limitExceeded("{} is {} x {} pixels; the limit is {} pixels (--max-pixels changes it)", name, width,
                            height, maxPixels);
}
