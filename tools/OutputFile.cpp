#include "OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CommandError.h"
#include "Interrupt.h"

namespace {

// Where the bytes of `path` really belong: a symbolic link stays, and the file that it names is replaced.
std::string resolvedPath(std::string const& path) {
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error))
        return path;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    return error ? path : resolved.string();
}

// The mask can only be read by setting it, which concerns all threads; so it is read once.
mode_t permissionsOfNewFiles() {
    static const mode_t s_permissions = [] {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        return 0666 & ~mask;
    }();
    return s_permissions;
}

} // namespace

void refuseExisting(std::string const& path, bool overwrite) {
    struct stat status;
    if (path == "-" || overwrite || ::stat(path.c_str(), &status) != 0)
        return;
    if (S_ISREG(status.st_mode))
        throw failure("{} exists; -f overwrites it", path);
}

OutputFile::OutputFile(std::string const& path, bool overwrite)
    : m_path(resolvedPath(path)), m_displayName(path == "-" ? "standard output" : path), m_overwrite(overwrite) {
    if (path == "-") {
        m_descriptor = STDOUT_FILENO;
        m_ownsDescriptor = false;
        preparePipe();
        return;
    }
    refuseExisting(m_path, overwrite);
    struct stat status;
    if (::stat(m_path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        openSpecial(S_ISFIFO(status.st_mode));
    else
        openTemporary();
}

// A named pipe waits for its reader, but not deaf to signals.
void OutputFile::openSpecial(bool isPipe) {
    while ((m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK)) < 0) {
        throwIfInterrupted();
        if (errno != EINTR && !(isPipe && errno == ENXIO))
            throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
        ::poll(nullptr, 0, kPauseMilliseconds);
    }
    m_isPipe = true;
}

// A write to a full pipe would wait deaf to signals. A descriptor of our own can be told not to wait, which would
// concern others on the one that was handed down. Where there is no other one, a pipe that is ready takes PIPE_BUF
// bytes at once.
void OutputFile::preparePipe() {
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0 || !S_ISFIFO(status.st_mode))
        return;
    m_isPipe = true;
    const std::string path = fmt::format("/proc/self/fd/{}", m_descriptor);
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        m_maxPiece = PIPE_BUF;
        return;
    }
    m_descriptor = descriptor;
    m_ownsDescriptor = true;
}

void OutputFile::openTemporary() {
    const std::filesystem::path path(m_path);
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    m_temporaryPath = (folder / fmt::format(".{}.XXXXXX.part", path.filename().string())).string();
    m_descriptor = ::mkostemps(m_temporaryPath.data(), 5, O_CLOEXEC);
    if (m_descriptor < 0) {
        m_temporaryPath.clear();
        throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
    }
}

OutputFile::~OutputFile() {
    if (m_descriptor >= 0 && m_ownsDescriptor)
        ::close(m_descriptor);
    if (!m_temporaryPath.empty())
        ::unlink(m_temporaryPath.c_str());
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        throwIfInterrupted();
        struct pollfd wait = {m_descriptor, POLLOUT, 0};
        if (m_isPipe && ::poll(&wait, 1, kPauseMilliseconds) <= 0)
            continue;
        const ssize_t written = ::write(m_descriptor, bytes.data(), std::min(bytes.size(), m_maxPiece));
        if (written >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        else if (errno != EINTR && errno != EAGAIN)
            throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
    }
}

void OutputFile::write(std::string_view text) {
    write(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

void OutputFile::takeFinalName() {
    // Without leave to overwrite the last step refuses too, so that a file made meanwhile survives. File systems that
    // do not know this form of renaming get the plain one.
    if (!m_overwrite) {
        if (::renameat2(AT_FDCWD, m_temporaryPath.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE) == 0)
            return;
        if (errno == EEXIST)
            throw failure("{} exists; -f overwrites it", m_displayName);
        if (errno != EINVAL && errno != ENOSYS)
            throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
    }
    if (::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0)
        throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
}

void OutputFile::commit() {
    if (!m_ownsDescriptor)
        return;
    if (!m_temporaryPath.empty())
        ::fchmod(m_descriptor, permissionsOfNewFiles());
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    // Network file systems report a full disk as late as here.
    if (::close(descriptor) != 0)
        throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
    if (m_temporaryPath.empty())
        return;
    takeFinalName();
    m_temporaryPath.clear();
}

void writeFile(std::string const& path, bool overwrite, std::span<const std::uint8_t> bytes) {
    OutputFile file(path, overwrite);
    file.write(bytes);
    file.commit();
}
