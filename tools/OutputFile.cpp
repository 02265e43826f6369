#include "OutputFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CommandError.h"
#include "Interrupt.h"

namespace {

std::string folderOf(std::string const& path) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

// Another user who may write the folder could have placed the link there to have a different file overwritten.
bool isForeignLink(std::string const& path, struct stat const& link) {
    struct stat folder;
    if (::stat(folderOf(path).c_str(), &folder) != 0)
        return false;
    const bool isShared = (folder.st_mode & S_ISVTX) != 0 && (folder.st_mode & S_IWOTH) != 0;
    return isShared && link.st_uid != ::geteuid() && link.st_uid != folder.st_uid;
}

// The file that is really written for `path`: a symbolic link is kept, and its target is written.
std::string resolvedPath(std::string const& path) {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode))
        return path;
    if (isForeignLink(path, status))
        throw failure("cannot write {}: it is a symbolic link of another user in a folder that all users may write",
                      path);
    if (::stat(path.c_str(), &status) != 0 && errno != ENOENT)
        throw failure("cannot write {}: {}", path, std::strerror(errno));
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    if (error)
        throw failure("cannot write {}: {}", path, error.message());
    return resolved.string();
}

// The mask can only be read by setting it, which affects all threads; so it is read once.
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

bool isFinished(std::string const& path) {
    struct stat status;
    return path != "-" && ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size != 0;
}

OutputFile::OutputFile(std::string const& path, bool overwrite)
    : m_displayName(path == "-" ? "standard output" : path), m_overwrite(overwrite) {
    if (path == "-") {
        m_descriptor = STDOUT_FILENO;
        m_isStandardOutput = true;
        preparePipe();
        return;
    }
    refuseExisting(path, overwrite);
    struct stat status;
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode))
        openSpecial(path, S_ISFIFO(status.st_mode));
    else
        openRegular(resolvedPath(path));
}

void OutputFile::fail() const {
    throw failure("cannot write {}: {}", m_displayName, std::strerror(errno));
}

// A named pipe waits for its reader, but must not block signals meanwhile.
void OutputFile::openSpecial(std::string const& path, bool isPipe) {
    while ((m_descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK)) < 0) {
        throwIfInterrupted();
        if (errno != EINTR && !(isPipe && errno == ENXIO))
            fail();
        ::poll(nullptr, 0, kPauseMilliseconds);
    }
    m_ownsDescriptor = true;
    m_isPipe = true;
}

// A write to a full pipe would block and ignore signals. A descriptor of our own can be set to non-blocking, while on
// the inherited one that would affect other processes. If none can be opened, a pipe that is ready accepts PIPE_BUF
// bytes without blocking.
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

void OutputFile::openRegular(std::string const& path) {
    m_name = std::filesystem::path(path).filename().string();
    m_folder = ::open(folderOf(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (m_folder < 0)
        fail();
    // An invalid name is detected now and not after the content has been computed.
    struct stat status;
    if (::fstatat(m_folder, m_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || errno == ENOENT)
        m_temporary = std::make_unique<TemporaryFile>(m_folder);
    if (!m_temporary || m_temporary->descriptor() < 0) {
        const int error = errno;
        m_temporary.reset();
        ::close(m_folder);
        errno = error;
        fail();
    }
    m_descriptor = m_temporary->descriptor();
}

OutputFile::~OutputFile() {
    m_temporary.reset();
    if (m_descriptor >= 0 && m_ownsDescriptor)
        ::close(m_descriptor);
    if (m_folder >= 0)
        ::close(m_folder);
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
        else if (errno == EPIPE && m_isStandardOutput)
            throw CommandError(ExitCode::ClosedPipe, "");
        else if (errno != EINTR && errno != EAGAIN)
            fail();
    }
}

void OutputFile::write(std::string_view text) {
    write(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

// False if only the owner of the existing file could create such a file.
bool OutputFile::keepOwnerAndMode() {
    struct stat existing;
    struct stat own;
    if (!m_overwrite || ::fstatat(m_folder, m_name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(existing.st_mode)) {
        ::fchmod(m_descriptor, permissionsOfNewFiles());
        return true;
    }
    if (::fstat(m_descriptor, &own) != 0)
        fail();
    const bool isSameOwner = own.st_uid == existing.st_uid && own.st_gid == existing.st_gid;
    if (!isSameOwner && ::fchown(m_descriptor, existing.st_uid, existing.st_gid) != 0)
        return false;
    // Not the bits by which a program runs as its owner: the content is another one.
    return ::fchmod(m_descriptor, existing.st_mode & 0777) == 0;
}

void OutputFile::copyIntoExisting() {
    const int target = ::openat(m_folder, m_name.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
    if (target < 0)
        fail();
    const int source = m_descriptor;
    std::array<std::uint8_t, 1 << 16> piece;
    ssize_t got = 0;
    m_descriptor = target;
    m_ownsDescriptor = true;
    ::lseek(source, 0, SEEK_SET);
    while ((got = ::read(source, piece.data(), piece.size())) > 0)
        write(std::span(piece).first(static_cast<std::size_t>(got)));
    if (got < 0 || ::ftruncate(target, ::lseek(target, 0, SEEK_CUR)) != 0)
        fail();
}

void OutputFile::commit() {
    if (m_temporary && keepOwnerAndMode()) {
        // Network file systems may report a full disk only here.
        if (!m_temporary->close())
            fail();
        if (m_temporary->rename(m_name, m_overwrite))
            return;
        if (errno == EEXIST)
            throw failure("{} exists; -f overwrites it", m_displayName);
        fail();
    }
    if (m_temporary)
        copyIntoExisting();
    if (!m_ownsDescriptor)
        return;
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    if (::close(descriptor) != 0)
        fail();
}

void writeFile(std::string const& path, bool overwrite, std::span<const std::uint8_t> bytes) {
    OutputFile file(path, overwrite);
    file.write(bytes);
    file.commit();
}
