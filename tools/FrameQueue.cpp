#include "FrameQueue.h"

#include <algorithm>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "CommandError.h"
#include "FrameParts.h"
#include "Interrupt.h"
#include "ravelo.hpp"

namespace {

// Whether the bytes after a frame are another one: whole, or so large that only its start is here, or as broken as
// frames of the same form may be.
bool isNextFrame(std::span<const std::uint8_t> bytes, FrameHeader const& before) {
    // The largest header of which the sizes are believed without those of the slices.
    constexpr std::uint32_t kMaxHeaderBytes = 1024;
    if (bytes.size() < kMinFrameBytes)
        return false;
    const ravelo_frame_check check = ravelo::checkFrame({bytes.data(), bytes.size()});
    const FrameHeader header = parseFrameHeader(bytes);
    const bool isAlike = header.header_size == before.header_size && header.chroma_format == before.chroma_format &&
                         header.horizontal_size == before.horizontal_size &&
                         header.vertical_size == before.vertical_size;
    switch (check.verdict) {
    case RAVELO_FRAME_WHOLE:
    case RAVELO_FRAME_FOLLOWED:
        return true;
    case RAVELO_FRAME_CUT_OFF:
        return isAlike ||
               ((header.chroma_format == 2 || header.chroma_format == 3) && header.numPixels() != 0 &&
                header.header_size >= FrameHeader::kFixedHeaderBytes && header.header_size <= kMaxHeaderBytes);
    case RAVELO_FRAME_BROKEN:
        return isAlike;
    default:
        return false;
    }
}

} // namespace

FrameInMemory& QueuedFrame::load(std::string const& path, FrameLimits const& limits) {
    if (error)
        std::rethrow_exception(error);
    if (!loaded) {
        loaded.emplace();
        loaded->bytes = readFrame(path, limits, &loaded->structure);
    }
    return *loaded;
}

FrameQueue::FrameQueue(std::vector<std::string> paths, FrameLimits const& limits,
                       std::unique_ptr<InputFile> standardInput)
    : m_paths(std::move(paths)), m_limits(limits), m_standardInput(std::move(standardInput)) {}

FrameQueue::~FrameQueue() = default;

std::optional<std::size_t> FrameQueue::total() const {
    if (std::find(m_paths.begin(), m_paths.end(), "-") != m_paths.end())
        return std::nullopt;
    return m_paths.size();
}

void FrameQueue::readStandardInput(QueuedFrame& frame) {
    if (!m_standardInput)
        m_standardInput = std::make_unique<InputFile>("-");
    InputFile& file = *m_standardInput;
    FrameInMemory loaded;
    loaded.bytes = readFrame(file, m_limits, &loaded.structure);
    ravelo_frame_check const& check = loaded.structure.check;
    const std::uint64_t surplus = loaded.bytes.size() - std::min(check.declared_bytes, check.present_bytes);
    const std::span<const std::uint8_t> rest = std::span(loaded.bytes).last(surplus);
    if (check.verdict == RAVELO_FRAME_FOLLOWED && isNextFrame(rest, parseFrameHeader(loaded.bytes))) {
        file.unread(rest);
        loaded.bytes.resize(loaded.bytes.size() - surplus);
        loaded.structure.check = ravelo::checkFrame({loaded.bytes.data(), loaded.bytes.size()});
        loaded.structure.note.clear();
        checkReads(file.name(), loaded.bytes, m_limits.maxReadFactor);
        frame.hasNext = true;
    } else if (check.verdict == RAVELO_FRAME_BROKEN && surplus != 0) {
        loaded.structure.note += fmt::format("; {} byte{} after it {} not read", surplus, surplus == 1 ? "" : "s",
                                             surplus == 1 ? "is" : "are");
    }
    frame.loaded = std::move(loaded);
}

std::optional<QueuedFrame> FrameQueue::next() {
    if (m_item == m_paths.size())
        return std::nullopt;
    QueuedFrame frame;
    frame.item = m_item;
    frame.name = displayName(m_paths[m_item]);
    frame.extra = m_extra;
    if (m_paths[m_item] != "-") {
        ++m_item;
        return frame;
    }
    frame.isFirst = m_framesRead == 0;
    m_extra += frame.isFirst ? 0 : 1;
    frame.extra = m_extra;
    if (!frame.isFirst)
        frame.name += fmt::format(", frame {}", m_framesRead + 1);
    try {
        readStandardInput(frame);
    } catch (CommandError const& error) {
        if (error.exitCode() == ExitCode::Interrupted)
            throw;
        frame.error = std::current_exception();
    }
    ++m_framesRead;
    if (!frame.hasNext) {
        ++m_item;
        m_framesRead = 0;
    }
    return frame;
}
