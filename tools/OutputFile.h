#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "TemporaryFile.h"

// One output. A file grows under a temporary name in its folder and takes its final name in commit(), so that nobody
// ever sees half of it; without commit() it disappears. Standard output ("-"), devices and pipes are written directly.
//
// A file that is overwritten keeps its permissions and its owner. Where the system lets nobody but the owner make such
// a file, the content is copied into the one that is there. A symbolic link stays, and the file that it names is
// overwritten, unless the link belongs to another user in a folder that all may write, such as /tmp.
class OutputFile {
public:
    // Throws CommandError when the place is not writable, or when the file exists and `overwrite` is false.
    OutputFile(std::string const& path, bool overwrite);
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    // Throws CommandError, with ExitCode::ClosedPipe when nobody reads standard output any more.
    void write(std::span<const std::uint8_t> bytes);
    void write(std::string_view text);

    // Gives the file its final name. Nothing may be written afterwards.
    void commit();

private:
    void openRegular(std::string const& path);
    void openSpecial(std::string const& path, bool isPipe);
    void preparePipe();
    bool keepOwnerAndMode();
    void copyIntoExisting();
    [[noreturn]] void fail() const; // with the text of errno

    std::string m_displayName;
    std::string m_name;            // of a regular file, in its folder
    int m_folder = -1;             // of a regular file
    int m_descriptor = -1;         // what is written to
    bool m_ownsDescriptor = false; // false for standard output and for temporary files
    bool m_isStandardOutput = false;
    bool m_isPipe = false;             // or a device: what may have to be waited for
    std::size_t m_maxPiece = SIZE_MAX; // bytes of one write
    bool m_overwrite = false;
    std::unique_ptr<TemporaryFile> m_temporary; // where a regular file grows
};

// Throws the error of the OutputFile constructor for a file that exists and may not be overwritten, so that a long job
// finds out before it starts.
void refuseExisting(std::string const& path, bool overwrite);

// Writes a whole output.
void writeFile(std::string const& path, bool overwrite, std::span<const std::uint8_t> bytes);
