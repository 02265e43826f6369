#include "TemporaryFile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <random>

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <fmt/format.h>

namespace {

// Short, so that it is valid wherever the final name is.
constexpr std::size_t kNameBytes = 24;
constexpr int kMaxAttempts = 100;

// The existing temporary files, for a signal handler: static memory, of which each place belongs to one file at a time.
struct Place {
    static constexpr int kFree = -1;
    static constexpr int kTaken = -2; // by a file whose name is not stored yet

    std::atomic<int> folder = kFree;
    std::array<char, kNameBytes> name = {};
};

// More than the outputs that a command can write at once. A file without a place is not removed after a signal.
constexpr std::size_t kMaxFiles = 2048;
std::array<Place, kMaxFiles> s_places;

std::size_t takePlace(int folder, std::string const& name) {
    for (std::size_t i = 0; i < kMaxFiles; ++i) {
        int expected = Place::kFree;
        if (!s_places[i].folder.compare_exchange_strong(expected, Place::kTaken))
            continue;
        std::copy_n(name.c_str(), name.size() + 1, s_places[i].name.begin());
        s_places[i].folder.store(folder);
        return i;
    }
    return kMaxFiles;
}

} // namespace

TemporaryFile::TemporaryFile(int folder) : m_folder(folder) {
    std::random_device random;
    for (int attempt = 0; m_descriptor < 0 && attempt < kMaxAttempts; ++attempt) {
        m_name = fmt::format(".ravelo.{:08x}.part", random());
        m_descriptor = ::openat(folder, m_name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (m_descriptor < 0 && errno != EEXIST)
            break;
    }
    m_place = m_descriptor < 0 ? kMaxFiles : takePlace(folder, m_name);
    if (m_descriptor < 0)
        m_name.clear();
}

TemporaryFile::~TemporaryFile() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    if (!m_name.empty())
        ::unlinkat(m_folder, m_name.c_str(), 0);
    if (m_place < kMaxFiles)
        s_places[m_place].folder.store(Place::kFree);
}

bool TemporaryFile::close() {
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    return ::close(descriptor) == 0;
}

bool TemporaryFile::rename(std::string const& name, bool overwrite) {
    const unsigned flags = overwrite ? 0 : RENAME_NOREPLACE;
    bool isDone = ::renameat2(m_folder, m_name.c_str(), m_folder, name.c_str(), flags) == 0;
    // File systems without this form of renaming get the plain one.
    if (!isDone && !overwrite && (errno == EINVAL || errno == ENOSYS))
        isDone = ::renameat(m_folder, m_name.c_str(), m_folder, name.c_str()) == 0;
    if (isDone)
        m_name.clear();
    return isDone;
}

void removeTemporaryFiles() {
    for (Place const& place : s_places) {
        const int folder = place.folder.load();
        if (folder >= 0)
            ::unlinkat(folder, place.name.data(), 0);
    }
}
