#include "InputFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CommandError.h"
#include "Interrupt.h"

std::string displayName(std::string const& path) {
    return path == "-" ? "standard input" : path;
}

InputFile::InputFile(std::string const& path) : m_name(displayName(path)), m_ownsDescriptor(path != "-") {
    // Opening a named pipe without a writer would block and ignore signals.
    m_descriptor = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (m_descriptor < 0)
        throw failure("cannot open {}: {}", path, std::strerror(errno));
    struct stat status;
    if (::fstat(m_descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        if (m_ownsDescriptor)
            ::close(m_descriptor);
        throw failure("cannot read {}: it is a folder", path);
    }
}

InputFile::InputFile(std::string const& name, std::vector<std::uint8_t> bytes)
    : m_name(name), m_pending(std::move(bytes)) {}

InputFile::~InputFile() {
    if (m_descriptor >= 0 && m_ownsDescriptor)
        ::close(m_descriptor);
}

std::size_t InputFile::readSome(std::uint8_t* target, std::size_t numBytes) {
    while (m_descriptor >= 0) {
        struct pollfd wait = {m_descriptor, POLLIN, 0};
        const int ready = ::poll(&wait, 1, kPauseMilliseconds);
        throwIfInterrupted();
        if (ready == 0 || (ready < 0 && errno == EINTR))
            continue;
        const ssize_t got = ::read(m_descriptor, target, numBytes);
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (errno != EINTR && errno != EAGAIN)
            throw failure("cannot read {}: {}", m_name, std::strerror(errno));
    }
    return 0;
}

std::span<const std::uint8_t> InputFile::peek(std::size_t numBytes) {
    m_pending.erase(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(m_pendingStart));
    m_pendingStart = 0;
    while (m_pending.size() < numBytes) {
        const std::size_t before = m_pending.size();
        m_pending.resize(numBytes);
        const std::size_t got = readSome(m_pending.data() + before, numBytes - before);
        m_pending.resize(before + got);
        if (got == 0)
            break;
    }
    return std::span(m_pending).first(std::min(numBytes, m_pending.size()));
}

std::size_t InputFile::takePending(std::span<std::uint8_t> target) {
    const std::size_t taken = std::min(target.size(), m_pending.size() - m_pendingStart);
    std::copy_n(m_pending.begin() + static_cast<std::ptrdiff_t>(m_pendingStart), taken, target.begin());
    m_pendingStart += taken;
    return taken;
}

bool InputFile::read(std::span<std::uint8_t> target) {
    std::size_t filled = takePending(target);
    while (filled < target.size()) {
        const std::size_t got = readSome(target.data() + filled, target.size() - filled);
        if (got == 0)
            return false;
        filled += got;
    }
    return true;
}

bool InputFile::readLine(std::string& line, std::size_t maxBytes) {
    constexpr std::size_t kStep = 1 << 16;
    line.clear();
    while (m_pendingStart != m_pending.size() || !peek(kStep).empty()) {
        const auto start = m_pending.begin() + static_cast<std::ptrdiff_t>(m_pendingStart);
        const auto end = std::find(start, m_pending.end(), '\n');
        const bool isWhole = end != m_pending.end();
        line.append(start, end);
        m_pendingStart += static_cast<std::size_t>(end - start) + (isWhole ? 1 : 0);
        if (line.size() > maxBytes)
            throw failure("{} has a line of more than {} bytes, the maximum", m_name, maxBytes);
        if (isWhole)
            return true;
    }
    return !line.empty();
}

// Reserves the memory in one piece, which is not touched before it is filled. A vector that grows by itself would
// temporarily hold its content twice.
void InputFile::reserve(std::vector<std::uint8_t>& bytes, std::uint64_t wantedBytes) const {
    struct stat status = {};
    std::uint64_t room = wantedBytes;
    if (m_descriptor >= 0 && ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode))
        room = std::min(room, bytes.size() + (m_pending.size() - m_pendingStart) +
                                  static_cast<std::uint64_t>(status.st_size));
    try {
        bytes.reserve(room);
    } catch (std::bad_alloc const&) {
        // The bytes that the file really has may still fit.
    }
}

bool InputFile::readOn(std::vector<std::uint8_t>& bytes, std::uint64_t wantedBytes) {
    constexpr std::uint64_t kStep = 1 << 18;
    reserve(bytes, wantedBytes);
    while (bytes.size() < wantedBytes) {
        const std::size_t before = bytes.size();
        const auto step = static_cast<std::size_t>(std::min(wantedBytes - before, kStep));
        bytes.resize(before + step);
        const std::size_t got = takePending(std::span(bytes).subspan(before));
        const std::size_t total = got != 0 ? got : readSome(bytes.data() + before, step);
        bytes.resize(before + total);
        if (total == 0)
            return false;
    }
    return true;
}

void InputFile::unread(std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> pending(bytes.begin(), bytes.end());
    pending.insert(pending.end(), m_pending.begin() + static_cast<std::ptrdiff_t>(m_pendingStart), m_pending.end());
    m_pending = std::move(pending);
    m_pendingStart = 0;
}

std::optional<std::uint64_t> InputFile::remainingBytes() const {
    const std::uint64_t pending = m_pending.size() - m_pendingStart;
    if (m_descriptor < 0)
        return pending;
    struct stat status = {};
    const off_t position = ::lseek(m_descriptor, 0, SEEK_CUR);
    if (position < 0 || ::fstat(m_descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return pending + static_cast<std::uint64_t>(std::max<off_t>(status.st_size - position, 0));
}

std::vector<std::uint8_t> InputFile::readAll(std::uint64_t limitBytes) {
    std::vector<std::uint8_t> bytes;
    if (readOn(bytes, limitBytes + 1))
        throw limitExceeded("{} is larger than the limit of {} bytes", m_name, limitBytes);
    return bytes;
}

std::vector<std::uint8_t> readFile(std::string const& path, std::uint64_t limitBytes) {
    return InputFile(path).readAll(limitBytes);
}
