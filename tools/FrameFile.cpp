#include "FrameFile.h"

#include <algorithm>

#include "FrameParts.h"

std::vector<std::uint8_t> readFrame(InputFile& file, FrameLimits const& limits) {
    std::vector<std::uint8_t> frame;
    if (file.readOn(frame, kMinFrameBytes))
        file.readOn(frame, declaredHeaderBytes(frame));
    checkFrame(file.name(), frame, limits.maxPixels);
    // Each part declares the next: the header the position of the first picture, the picture header the table of
    // slices, the table the slices, and so on for a second picture.
    std::uint64_t wanted = 0;
    do
        wanted = std::min(declaredFrameBytes(frame) + kBytesAfterFrame, kMaxFrameBytes);
    while (frame.size() < wanted && file.readOn(frame, wanted));
    checkReads(file.name(), frame, limits.maxReadFactor);
    return frame;
}

std::vector<std::uint8_t> readFrame(std::string const& path, FrameLimits const& limits) {
    InputFile file(path);
    return readFrame(file, limits);
}
