#include "InputSet.h"

#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include "CommandError.h"
#include "Interrupt.h"

namespace {

using Identity = std::pair<std::uint64_t, std::uint64_t>;

// Nothing for anything but a regular file: a terminal may be input and output.
std::optional<Identity> identityOf(std::string const& path, int standardStream) {
    struct stat status;
    const int result = path == "-" ? ::fstat(standardStream, &status) : ::stat(path.c_str(), &status);
    if (result != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

} // namespace

InputSet::InputSet(std::vector<SequenceItem> const& items) {
    for (SequenceItem const& item : items) {
        throwIfInterrupted();
        if (!item.exists)
            continue;
        if (const std::optional<Identity> identity = identityOf(item.path, STDIN_FILENO))
            m_identities.insert(*identity);
    }
}

void InputSet::refuse(std::string const& outputPath) const {
    const std::optional<Identity> identity = identityOf(outputPath, STDOUT_FILENO);
    if (identity && m_identities.contains(*identity))
        throw usageError("{} is also an input of this command, and inputs are never overwritten",
                         outputPath == "-" ? "standard output" : outputPath);
}
