#include "FrameFile.h"

#include <algorithm>

#include "FrameHeader.h"

std::vector<std::uint8_t> readFrame(InputFile& file, std::uint64_t maxPixels) {
    std::vector<std::uint8_t> frame;
    if (file.readOn(frame, kMinFrameBytes))
        file.readOn(frame, declaredHeaderBytes(frame));
    checkFrame(file.name(), frame, maxPixels);
    // Each part that is read declares the next: the header the place of the first picture, its header the table of
    // slices, the table the slices, and again for a second picture.
    std::uint64_t wanted = 0;
    do
        wanted = std::min(declaredFrameBytes(frame) + kBytesAfterFrame, kMaxFrameBytes);
    while (frame.size() < wanted && file.readOn(frame, wanted));
    return frame;
}

std::vector<std::uint8_t> readFrame(std::string const& path, std::uint64_t maxPixels) {
    InputFile file(path);
    return readFrame(file, maxPixels);
}
