#include "FrameFile.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "FrameParts.h"
#include "ravelo.hpp"

namespace {

// Only the start of what follows a frame is read, so its size comes from the file.
std::string noteOf(ravelo_frame_check const& check, InputFile const& file) {
    if (check.verdict == RAVELO_FRAME_WHOLE)
        return "";
    if (check.verdict != RAVELO_FRAME_FOLLOWED)
        return check.text;
    const std::uint64_t read = check.present_bytes - check.declared_bytes;
    const std::optional<std::uint64_t> unread = file.remainingBytes();
    if (!unread && read >= kBytesAfterFrame)
        return fmt::format("followed by at least {} bytes: another frame?", read);
    const std::uint64_t following = read + unread.value_or(0);
    return fmt::format("followed by {} byte{}: another frame?", following, following == 1 ? "" : "s");
}

} // namespace

std::vector<std::uint8_t> readFrame(InputFile& file, FrameLimits const& limits, FrameStructure* structure) {
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
    if (structure != nullptr) {
        structure->check = ravelo::checkFrame(frame);
        structure->note = noteOf(structure->check, file);
    }
    return frame;
}

std::vector<std::uint8_t> readFrame(std::string const& path, FrameLimits const& limits, FrameStructure* structure) {
    InputFile file(path);
    return readFrame(file, limits, structure);
}
